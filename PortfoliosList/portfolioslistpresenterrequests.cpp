// Portfolio requests of the presenter: every change is made on the back end first; only
// an answer of success lets the caller change the store and the table.

#include "portfolioslistpresenterclass.h"

#include "businessdatainterface.h"
#include "cbusinessdatabase.h"
#include "ceventmessagecommon.h"
#include "cmessagecommon.h"
#include "cpackmessagecommon.h"
#include "cunpackmessagecommon.h"
#include "fieldkeys.h"
#include "msgtypes.h"
#include "portfoliolistbasicinfo.h"

#include <QDateTime>
#include <QDebug>
#include <QJsonDocument>
#include <cmath>

namespace {

const QString kCreate = QStringLiteral("c");
const QString kUpdate = QStringLiteral("u");
const QString kTimeout = QStringLiteral("请求超时");

// The exchange a line is sent with: the line's own market when the security trades
// there, else the security's first market; empty when the symbol is unknown.
QString exchangeOf(const PortfolioItem &item)
{
    const QStringList markets = CBusinessDataBase::GetInstance()->GetSecurityExchangeBySymbol(item.Symbol());
    if (markets.contains(item.SymbolExchange()))
        return item.SymbolExchange();
    return markets.value(0);
}

// Whether JSON can carry the value as it is: null, booleans, finite numbers, texts, and
// lists and maps of these. Anything else (a point, a NaN, a widget pointer) would be
// written as null and lose the trader's data.
bool jsonCarries(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::UnknownType:
    case QMetaType::Nullptr:
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::QString:
    case QMetaType::QStringList:
        return true;
    case QMetaType::Double:
    case QMetaType::Float:
        return std::isfinite(value.toDouble());
    case QMetaType::QVariantList:
        for (const QVariant &v : value.toList()) {
            if (!jsonCarries(v))
                return false;
        }
        return true;
    case QMetaType::QVariantMap:
        for (const QVariant &v : value.toMap()) {
            if (!jsonCarries(v))
                return false;
        }
        return true;
    default:
        return false;
    }
}

// The extension map as a JSON document; a null document when a value cannot be carried.
QJsonDocument extensionDocument(const QVariantMap &extension)
{
    if (!jsonCarries(extension))
        return QJsonDocument();
    return QJsonDocument::fromVariant(extension);
}

} // namespace

QString PortfoliosListPresenterClass::request(const QString &type, const CPackMessageCommon &body,
                                              const QString &logLabel, const QString &logKey,
                                              CUnPackMessageCommon &answer,
                                              const QString &sendFailurePrefix)
{
    if (type != MsgType::alterPortfolioRequest)  // that one logs with its own tag
        qDebug().noquote() << logLabel << logKey << body.GetPackedMsg(true).toString();
    CMessageCommon message;
    message.SetSrcid(pluginPid());
    message.SetType(type);
    message.SetMsg(body.GetPackedMsg(false));
    QVariant reply;
    const int rc = sendRequest_Sync(&message, reply);
    if (rc != 0 && !sendFailurePrefix.isEmpty())
        return sendFailurePrefix + QString::number(rc);
    if (rc == 1)
        return kTimeout;
    answer.SetUnPackMsg(reply);
    if (rc != 0)
        return answer.GetValue(RequestField::textDescription).toString();
    if (answer.GetValue(RequestField::requestExeStatus).toString() != RequestExeStatus::success) {
        const QString text = answer.GetValue(RequestField::textDescription).toString();
        qInfo().noquote() << logLabel << logKey << ". error msg:" << text;
        return text;
    }
    return QStringLiteral("0");
}

QString PortfoliosListPresenterClass::AlterPortfolio(PortfolioDetailBasicInfo &detail, bool bCreate)
{
    const QJsonDocument extension = extensionDocument(detail.ExtensionDescription());
    if (extension.isNull())
        return QStringLiteral("扩展参数错误，无法转换成指定格式。");

    CPackMessageCommon body;
    body.AddVaule(RequestField::alterType, bCreate ? kCreate : kUpdate);
    body.AddVaule(RequestField::userID, CBusinessDataBase::GetInstance()->GetLoginAccount());
    body.AddVaule(RequestField::strategyNo, detail.StrategyID());
    body.AddVaule(RequestField::portfolioNo, detail.PortfolioNo());
    body.AddVaule(RequestField::portfolioName, detail.Name());
    body.AddVaule(RequestField::defaultBasketSize, detail.DefaultNum());
    body.AddVaule(RequestField::msgType, MsgType::alterPortfolioRequest);
    body.AddVaule(RequestField::portfolioExtensionDescription,
                  QString::fromUtf8(extension.toJson(QJsonDocument::Compact)));
    qDebug().noquote() << "qrx's Tag:XXXXX31 AlterPortfolio" << body.GetPackedMsg(true).toString();
    CUnPackMessageCommon answer;
    const QString rc = request(MsgType::alterPortfolioRequest, body, QStringLiteral("AlterPortfolio:"),
                               detail.PortfolioNo(), answer);
    if (rc != QLatin1String("0"))
        return rc;
    if (bCreate)
        detail.setPortfolioNo(answer.GetValue(RequestField::portfolioNo).toString());
    return QStringLiteral("0");
}

QString PortfoliosListPresenterClass::AlterStrategy(PortfolioStrategyInfo &strategy, bool bCreate)
{
    CPackMessageCommon body;
    body.AddVaule(RequestField::alterType, bCreate ? kCreate : kUpdate);
    body.AddVaule(RequestField::userID, CBusinessDataBase::GetInstance()->GetLoginAccount());
    body.AddVaule(RequestField::strategyNo, strategy.StrategyNo());
    body.AddVaule(RequestField::strategyName, strategy.StrategyName());
    body.AddVaule(RequestField::strategyType, strategy.StrategyType());
    body.AddVaule(RequestField::StrategyManaStatus, strategy.StrategyManaStatus());
    body.AddVaule(RequestField::msgType, MsgType::alterStrategyRequest);
    CUnPackMessageCommon answer;
    const QString rc = request(MsgType::alterStrategyRequest, body, QStringLiteral("AlterStrategy:"),
                               strategy.StrategyName(), answer);
    if (rc != QLatin1String("0"))
        return rc;
    if (bCreate)
        strategy.setStrategyNo(answer.GetValue(RequestField::strategyNo).toString());
    return QStringLiteral("0");
}

QString PortfoliosListPresenterClass::AlterPortfolioDetail(PortfolioDetailBasicInfo &detail, bool bCreate)
{
    CPackMessageCommon body;
    body.AddVaule(RequestField::alterType, bCreate ? kCreate : kUpdate);
    body.AddVaule(RequestField::portfolioNo, detail.PortfolioNo());
    body.AddVaule(RequestField::msgType, MsgType::alterPortfolioDetailRequest);
    const QList<PortfolioItem> items = detail.SymbolList();
    CBusinessDataBase *business = CBusinessDataBase::GetInstance();
    QVariantList symbols;
    for (const PortfolioItem &item : items) {
        const QString exchange = exchangeOf(item);
        if (exchange.isEmpty())
            return QStringLiteral("组合详情插入错误，组合号%1，代码%2找不到市场").arg(detail.PortfolioNo(), item.Symbol());
        body.AddRow();
        body.AddRowVaule({{RequestField::securityID,
                           business->getSecurityIDBySymbol(item.Symbol(), exchange, SecurityIDSource::securityID)},
                          {RequestField::securityExchange, exchange},
                          {RequestField::side, item.Side()},
                          {RequestField::tradeQty, item.Quantity()},
                          {RequestField::positionWeight, item.RelWeight()},
                          {RequestField::entrustType, item.PortEntrustType()},
                          {RequestField::batchEntrustProp, item.PortEntrustProp()},
                          {RequestField::customerPrice, item.CustomerOrderPrice()},
                          {RequestField::limitPrice, item.AlgoLimitPrice()}});
        symbols.append(item.Symbol());
    }
    body.AddVaule(RequestField::subGroupNumber, items.size());
    CUnPackMessageCommon answer;
    const QString rc = request(MsgType::alterPortfolioDetailRequest, body,
                               QStringLiteral("AlterPortfolioDetail:"), detail.PortfolioNo(), answer);
    if (rc != QLatin1String("0"))
        return rc;
    if (!symbols.isEmpty())
        BusinessDataInterface::SubscribeSecurityQuotation(this, symbols, 1, 1);
    return QStringLiteral("0");
}

QString PortfoliosListPresenterClass::ClearPortfolioDetail(const PortfolioDetailBasicInfo &detail)
{
    CPackMessageCommon body;
    body.AddVaule(RequestField::portfolioNo, detail.PortfolioNo());
    body.AddVaule(RequestField::msgType, MsgType::deletePortfolioDetailRequest);
    CUnPackMessageCommon answer;
    return request(MsgType::deletePortfolioDetailRequest, body, QStringLiteral("ClearPortfolioDetail:"),
                   detail.PortfolioNo(), answer, QStringLiteral("清除组合明细信息发送失败。错误代码："));
}

QString PortfoliosListPresenterClass::ensureStrategy(PortfolioDetailBasicInfo &detail)
{
    // Called from the auto-import worker as well: the label's number is copied under the
    // store's lock.
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    const QString knownNo = store->strategyNoByName(detail.StrategyName());
    if (!knownNo.isEmpty()) {
        detail.setStrategyID(knownNo);
        return QStringLiteral("0");
    }
    PortfolioStrategyInfo strategy;
    strategy.setStrategyName(detail.StrategyName());
    const QString rc = AlterStrategy(strategy, true);
    if (rc != QLatin1String("0"))
        return rc;
    store->AddStrategyInfo(strategy);
    detail.setStrategyID(strategy.StrategyNo());
    return rc;
}

QString PortfoliosListPresenterClass::AddPortfolio(PortfolioDetailBasicInfo &detail)
{
    const QString strategy = ensureStrategy(detail);
    if (strategy != QLatin1String("0")) {
        const QString text = QStringLiteral("创建组合关联策略标签失败。错误代码：") + strategy;
        qInfo().noquote() << text;
        return text;
    }
    PortfolioDetailBasicInfo copy = detail;

    const QString header = AlterPortfolio(copy, true);
    if (header != QLatin1String("0"))
        return QStringLiteral("创建组合信息失败1，错误原因：") + header;

    detail.setPortfolioNo(copy.PortfolioNo());
    const QString lines = AlterPortfolioDetail(copy, true);
    if (lines == QLatin1String("0"))
        return lines;

    const QString text = QStringLiteral("创建组合明细失败2，错误原因：") + lines;
    qInfo().noquote() << text;
    DelPortfolio(copy);  // roll back the header; its own result does not change the answer
    return text;
}

QString PortfoliosListPresenterClass::AddPortfolioAndStore(PortfolioDetailBasicInfo &detail)
{
    const QString status = AddPortfolio(detail);
    if (status != QLatin1String("0"))
        return status;
    detail.CalculateWeight();
    detail.setCreateDate(QDateTime::currentDateTime());
    storeAccepted(detail);
    return status;
}

bool PortfoliosListPresenterClass::storeAccepted(const PortfolioDetailBasicInfo &detail)
{
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    const int rc = store->AddPortfolioDetail(detail);
    if (rc == PortfolioListBasicInfo::Ok)
        return true;
    const QStringList concerned = QStringList{detail.PortfolioNo()} + store->numbersNamed(detail.Name());
    qWarning().noquote() << "PortfoliosListPresenterClass: the store refused portfolio" << detail.PortfolioNo()
                         << "named" << detail.Name() << "(code" << rc << ") which the back end accepted; fetching"
                         << concerned.join(QLatin1Char(',')) << "again";
    // Queued when called from the worker; a presenter being destroyed stops its worker
    // first, so nothing is posted to it afterwards.
    QMetaObject::invokeMethod(this, [this, concerned] { refreshPortfolios(concerned); });
    return false;
}

QString PortfoliosListPresenterClass::DelPortfolio(const PortfolioDetailBasicInfo &detail)
{
    const QString rc = DelPortfolioList({detail.PortfolioNo()});
    if (rc != QLatin1String("0")) {
        const QString text = QStringLiteral("删除组合失败。错误代码：") + rc;
        qInfo().noquote() << text;
        return text;
    }
    putEvent(PORTFOLIO_DELETED, {{RequestField::portfolioNo, detail.PortfolioNo()}});
    return rc;
}

QString PortfoliosListPresenterClass::DelPortfolioList(QStringList portfolioNos)
{
    CPackMessageCommon body;
    body.AddVaule(RequestField::userID, CBusinessDataBase::GetInstance()->GetLoginAccount());
    body.AddVaule(RequestField::msgType, MsgType::deletePortfolioRequest);
    body.AddVaule(RequestField::subGroupNumber, portfolioNos.size());
    for (const QString &no : qAsConst(portfolioNos)) {
        body.AddRow();
        body.AddRowVaule(RequestField::portfolioNo, no);
    }
    CUnPackMessageCommon answer;
    return request(MsgType::deletePortfolioRequest, body, QStringLiteral("DelPortfolioList:"),
                   portfolioNos.join(QLatin1Char(',')), answer,
                   QStringLiteral("删除组合列表发送失败。错误代码："));
}
