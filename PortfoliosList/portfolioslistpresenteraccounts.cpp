// The presenter's account queries: positions, securities to borrow, lending contracts.
#include "portfolioslistpresenterclass.h"

#include "accountrows.h"
#include "busquery.h"
#include "cbusinessdatabase.h"
#include "exchange.h"
#include "fieldkeys.h"
#include "margindc.h"
#include "messagebus.h"
#include "msgtypes.h"
#include "veltrabusinessdatainterface.h"
#include "veltrautils.h"

#include <QDebug>
#include <QElapsedTimer>
#include <QCursor>
#include <QGuiApplication>
#include <QThread>

namespace {

const QString kWarningTitle = QStringLiteral("提示");
const int kContractPageSize = 100;

void reportFailure(PortfoliosListPresenterClass *presenter, const QString &text)
{
    VeltraUtils::PutBusiMsg(BusiMsgLevel::Warning, BusiMsgType::TradeMsg, BusiMsgItem::TagSystem, text);
    emit presenter->signalShowWarningMsg(kWarningTitle, text);
}

} // namespace

void PortfoliosListPresenterClass::slotQueryPositionInfoAndFundInfo(QString tradingAccount, int iPosTarType,
                                                                    int iPosType)
{
    m_positionMarketRange = iPosTarType;
    queryPositionInfo(tradingAccount, iPosType);
}

void PortfoliosListPresenterClass::queryPositionInfo(const QString &tradingAccount, const int &iPosType)
{
    QList<QMap<int, QVariantMap> > records;
    const AccountDetails account = CBusinessDataBase::GetInstance()->GetAccountDetailsByTradinngAccount(tradingAccount);
    if (!account.isValid()) {
        reportFailure(this, QStringLiteral("持仓查询失败：账号%1不存在").arg(tradingAccount));
        emit signalPositionListUpdate(records);
        return;
    }
    QList<QVariantMap> positions;
    const QString rc = AccountRows::positionsInRange(account.tradingAccount, m_positionMarketRange, positions,
                                                     pluginPid());
    if (rc != QLatin1String("0")) {
        reportFailure(this, rc);
        emit signalPositionListUpdate(records);
        return;
    }
    int skipped = 0;
    for (const QVariantMap &position : qAsConst(positions)) {
        const QString refusal = AccountRows::positionRefusal(position);
        const qint64 quantity = AccountRows::positionQuantity(position, iPosType);
        if (!refusal.isEmpty() || quantity <= 0) {
            qDebug().noquote() << "PortfoliosListPresenterClass::queryPositionInfo skip"
                               << position.value(Security::symbol).toString()
                               << (refusal.isEmpty() ? QStringLiteral("数量为0") : refusal);
            ++skipped;
            continue;
        }
        RowRecord row = AccountRows::positionRow(position, quantity, m_showType);
        if (!row.isEmpty())
            records.append(row);
    }
    qInfo().noquote() << "PortfoliosListPresenterClass::queryPositionInfo" << account.fundAccount << "positions"
                      << positions.size() << "kept" << records.size() << "skipped" << skipped;
    emit signalPositionListUpdate(records);
}

void PortfoliosListPresenterClass::slotQurMarginInfoData(QString tradingAccount)
{
    QList<QMap<int, QVariantMap> > records;
    const AccountDetails account = CBusinessDataBase::GetInstance()->GetAccountDetailsByTradinngAccount(tradingAccount);
    if (!account.isValid() || !account.isCredit()) {
        reportFailure(this, account.isValid() ? QStringLiteral("账号%1不是信用账户，不能融券").arg(account.fundAccount)
                                              : QStringLiteral("可融券查询失败：账号%1不存在").arg(tradingAccount));
        emit signalSecurityLoanInfoUpdated(records);
        return;
    }
    MarginDC *margin = MarginDC::GetInstance();
    margin->RequestMarginSecurity(account.fundAccount, pluginPid());
    // The margin library loads on a worker; wait for it here, a little longer than one
    // request may take.
    QElapsedTimer clock;
    clock.start();
    const qint64 bound = qint64(MessageBus::defaultTimeoutMs()) + 1000;
    QString error;
    MarginDC::LoadState state = margin->GetLoadState(account.fundAccount, &error);
    if (state == MarginDC::Loading) {
        // The window waits on purpose; the cursor says so.
        QGuiApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
        while (state == MarginDC::Loading && clock.elapsed() < bound) {
            QThread::msleep(5);
            state = margin->GetLoadState(account.fundAccount, &error);
        }
        QGuiApplication::restoreOverrideCursor();
    }
    if (state != MarginDC::Loaded) {
        reportFailure(this, state == MarginDC::Loading ? QStringLiteral("可融券查询超时")
                                                       : QStringLiteral("可融券查询失败：") + error);
        emit signalSecurityLoanInfoUpdated(records);
        return;
    }
    const QList<TzMarginSecurityInfo> securities = margin->GetMarginSecurityInfoByFilter(
        {Exchange::sh, Exchange::sz, Exchange::bj}, 1, account.fundAccount);
    for (const TzMarginSecurityInfo &info : securities) {
        QVariantMap position{{Security::symbol, info.symbol}};
        if (!AccountRows::positionRefusal(position).isEmpty())
            continue;  // restricted or unknown: never offered for a portfolio
        RowRecord row = AccountRows::shortSaleRow(info, m_showType);
        if (!row.isEmpty())
            records.append(row);
    }
    qInfo().noquote() << "PortfoliosListPresenterClass::slotQurMarginInfoData" << account.fundAccount
                      << "lendable" << securities.size() << "offered" << records.size();
    emit signalSecurityLoanInfoUpdated(records);
}

void PortfoliosListPresenterClass::slotQueryCouponInfo(QString tradingAccount, QString strTime)
{
    const AccountDetails account = CBusinessDataBase::GetInstance()->GetAccountDetailsByTradinngAccount(tradingAccount);
    const QVariantMap fields{{AccountField::fundAccount, account.isValid() ? account.fundAccount : tradingAccount},
                             {AccountField::returnDate, strTime}};
    QList<QVariantMap> contracts;
    QString error;
    if (!BusQueryAllPages(pluginPid(), MsgType::QuerySecurityCashcompactRequest, fields, kContractPageSize,
                          contracts, error)) {
        reportFailure(this, error == QLatin1String("请求超时") ? QStringLiteral("融券通查询头寸合约超时")
                                                              : QStringLiteral("融券通查询头寸合约失败：") + error);
        emit signalCouponInfoInfoUpdated(QList<QVariantMap>());
        return;
    }
    // The page reads the security and market under the order-field keys.
    for (QVariantMap &contract : contracts) {
        contract.insert(Security::securityID, contract.value(RequestField::securityID));
        contract.insert(UserAccount::securityExchange, contract.value(RequestField::securityExchange));
    }
    qInfo().noquote() << "PortfoliosListPresenterClass::slotQueryCouponInfo" << tradingAccount << strTime
                      << "contracts" << contracts.size();
    emit signalCouponInfoInfoUpdated(contracts);
}
