#include "businessdatainterface.h"

#include "busquery.h"
#include "cmessagecommon.h"
#include "cpackmessagecommon.h"
#include "fieldkeys.h"
#include "messagebus.h"
#include "msgtypes.h"
#include "securitycatalog.h"
#include "tzpresenterclass.h"
#include "veltrabusinessdatainterface.h"

#include <QDebug>

namespace {

QStringList toSymbols(const QVariant &symbols)
{
    if (symbols.type() == QVariant::String)
        return QStringList{symbols.toString()};
    return symbols.toStringList();
}

QString send(const QString &type, TzPresenterClass *receiver, const QVariant &symbols)
{
    QStringList unknown;
    CPackMessageCommon body;
    int rows = 0;
    for (const QString &symbol : toSymbols(symbols)) {
        if (symbol.isEmpty())
            continue;
        if (!SecurityCatalog::instance().bySymbol(symbol)) {
            unknown << symbol;
            continue;
        }
        body.AddRow();
        body.AddRowVaule(Security::symbol, symbol);
        ++rows;
    }
    if (rows > 0) {
        body.AddVaule(RequestField::subGroupNumber, rows);
        CMessageCommon message;
        message.SetSrcid(receiver ? receiver->pluginPid() : QString());
        message.SetType(type);
        message.SetMsg(body.GetPackedMsg(false));
        if (!MessageBus::instance()->post(message))
            return QStringLiteral("行情订阅发送失败：后台未连接");
    }
    if (!unknown.isEmpty()) {
        qInfo() << "BusinessDataInterface" << type << "unknown symbols" << unknown;
        return QStringLiteral("未知证券代码：%1").arg(unknown.join(QLatin1Char(',')));
    }
    return QStringLiteral("0");
}

} // namespace

QString BusinessDataInterface::SubscribeSecurityQuotation(TzPresenterClass *receiver, const QVariant &symbols,
                                                          int, int)
{
    return send(MsgType::subscribeQuoteRequest, receiver, symbols);
}

QString BusinessDataInterface::UnSubscribeSecurityQuotation(TzPresenterClass *receiver, const QVariant &symbols,
                                                            int, int)
{
    return send(MsgType::unsubscribeQuoteRequest, receiver, symbols);
}

QString BusinessDataInterface::GetPositionListByAccount(const QString &tradingAccount, const QString &securityAccount,
                                                        const QString &market, QList<QVariantMap> &positions,
                                                        const QString &sourceId)
{
    QVariantMap fields{{AccountField::tradingAccount, tradingAccount}};
    if (!securityAccount.isEmpty())
        fields.insert(AccountField::securityAccount, securityAccount);
    if (!market.isEmpty())
        fields.insert(RequestField::securityExchange, market);
    QList<QVariantMap> rows;
    QString error;
    if (!BusQueryAllPages(sourceId, MsgType::queryPositionRequest, fields, 1000, rows, error))
        return QStringLiteral("持仓查询失败：") + error;
    for (QVariantMap &row : rows) {
        row.insert(Security::symbol, VeltraBusinessDataInterface::GetSymbolBySecurityIDAndExchange(
                                         row.value(RequestField::securityID).toString(),
                                         row.value(RequestField::securityExchange).toString()));
    }
    positions.append(rows);
    return QStringLiteral("0");
}
