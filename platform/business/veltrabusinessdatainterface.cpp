#include "veltrabusinessdatainterface.h"

#include "cbusinessdatabase.h"
#include "ceventmessagecommon.h"
#include "cpackmessagecommon.h"
#include "messagebus.h"
#include "exchange.h"
#include "msgtypes.h"
#include "securitycatalog.h"

#include <QHash>
#include <QMutex>

QString VeltraBusinessDataInterface::GetSymbolBySecurityIDAndExchange(const QString &securityID,
                                                                      const QString &exchange)
{
    const SecurityInfo *s = SecurityCatalog::instance().byCodeAndMarket(securityID, exchange);
    return s ? s->symbol : QString();
}

int VeltraBusinessDataInterface::GetKorvoEventMsgIdByStr(const QString &eventName)
{
    static QMutex mutex;
    static QHash<QString, int> ids{{EventName::ALL_ETFLIST_LOADED, 300001},
                                   {EventName::PORT_LIST_INIT, 300002},
                                   {EventName::PORTFOLIOS_SETTING_CHANGED, 300003},
                                   {EventName::TRADING_ACCOUNT_CHANGED, 300004}};
    QMutexLocker lock(&mutex);
    auto it = ids.find(eventName);
    if (it == ids.end())
        it = ids.insert(eventName, 310000 + ids.size());
    return *it;
}

QList<VeltraBusinessDataInterface::TradingAccount> VeltraBusinessDataInterface::GetTradingAccountList()
{
    QList<TradingAccount> result;
    for (const AccountDetails &account : CBusinessDataBase::GetInstance()->GetAccountList()) {
        for (const QString &market : account.markets())
            result.append({account.fundAccount, account.tradingAccount, account.securityAccounts.value(market),
                           market, account.name});
    }
    return result;
}

QString VeltraBusinessDataInterface::GetCurrentSecurityAccountByTradingAndExchange(const QString &tradingAccount,
                                                                                   const QString &exchange)
{
    return CBusinessDataBase::GetInstance()->GetAccountDetailsByTradinngAccount(tradingAccount)
        .securityAccounts.value(exchange);
}

QList<AccountDetails> VeltraBusinessDataInterface::GetFundAccountListByFundProp(const QStringList &fundProps)
{
    QList<AccountDetails> result;
    for (const AccountDetails &account : CBusinessDataBase::GetInstance()->GetAccountList()) {
        if (fundProps.isEmpty() || fundProps.contains(account.fundProperty))
            result.append(account);
    }
    return result;
}

bool VeltraBusinessDataInterface::SwitchCurrentAccount(const QString &fundAccount)
{
    CBusinessDataBase *data = CBusinessDataBase::GetInstance();
    const AccountDetails account = data->GetAccountDetailsByTradinngAccount(fundAccount);
    if (!account.isValid())
        return false;
    data->SetCurrentFundAccount(account.fundAccount);
    CPackMessageCommon body;
    body.AddVaule(QStringLiteral("assetAccount"), account.fundAccount);
    body.AddVaule(QStringLiteral("tradingAccount"), account.tradingAccount);
    CEventMessageCommon event(QStringLiteral("host"), GetKorvoEventMsgIdByStr(EventName::TRADING_ACCOUNT_CHANGED),
                              body.GetPackedMsg(false));
    MessageBus::instance()->putEvent(event);
    return true;
}

double VeltraBusinessDataInterface::GetDispFactorBySymbol(const QString &symbol)
{
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    if (!s)
        return 0.0;
    return s->type == SecurityType::convertible && s->listing == Exchange::sh ? 10.0 : 1.0;
}

void VeltraBusinessDataInterface::GetLotRule(const QString &symbol, qint64 *step, qint64 *minimum)
{
    *step = 0;
    *minimum = 0;
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    if (!s)
        return;
    if (s->type == SecurityType::star) {
        *step = 1;
        *minimum = 200;
    } else if (s->type == SecurityType::bse) {
        *step = 1;
        *minimum = 100;
    } else if (s->type == SecurityType::convertible) {
        *step = *minimum = 10;
    } else if (s->type == SecurityType::hkConnect) {
        *step = *minimum = qMax(1, s->lotSize);
    } else {
        *step = *minimum = 100;
    }
}

qint64 VeltraBusinessDataInterface::GetQtyByOddLotType(const QString &symbol, int oddLotType, qint64 qty,
                                                        bool bTradable)
{
    qint64 step = 0;
    qint64 minimum = 0;
    GetLotRule(symbol, &step, &minimum);
    if (step <= 0)
        return 0;
    qty = qAbs(qty);
    if (qty == 0 || oddLotType == OddLotType::KeepOddLot)
        return qty;
    if (!bTradable)
        minimum = step;
    if (oddLotType == OddLotType::RoundUp) {
        if (qty <= minimum)
            return minimum;
        return (qty + step - 1) / step * step;
    }
    if (qty < minimum)
        return 0;
    return qty / step * step;
}
