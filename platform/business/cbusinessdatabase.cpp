#include "cbusinessdatabase.h"

#include <algorithm>

#include "busquery.h"
#include "cunpackmessagecommon.h"
#include "exchange.h"
#include "msgtypes.h"
#include "securitycatalog.h"

namespace {
const QStringList &marketOrder()
{
    static const QStringList order{Exchange::sh, Exchange::sz, Exchange::bj, Exchange::hhk, Exchange::szhk};
    return order;
}
} // namespace

bool AccountDetails::isCredit() const
{
    return fundProperty == FundProperty::credit;
}

QStringList AccountDetails::markets() const
{
    QStringList result;
    for (const QString &market : marketOrder()) {
        if (securityAccounts.contains(market))
            result.append(market);
    }
    return result;
}

QString AccountDetails::displayText() const
{
    return name.isEmpty() ? fundAccount : fundAccount + QLatin1Char(' ') + name;
}

CBusinessDataBase *CBusinessDataBase::GetInstance()
{
    static CBusinessDataBase instance;
    return &instance;
}

QString CBusinessDataBase::GetLoginAccount() const
{
    QMutexLocker lock(&m_mutex);
    return m_loginAccount;
}

void CBusinessDataBase::SetLoginAccount(const QString &account)
{
    QMutexLocker lock(&m_mutex);
    m_loginAccount = account;
}

QString CBusinessDataBase::getSecurityIDBySymbol(const QString &symbol, const QString &,
                                                 const QString &source) const
{
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    if (!s)
        return QString();
    return source == SecurityIDSource::symbol ? s->symbol : s->code;
}

QStringList CBusinessDataBase::GetSecurityExchangeBySymbol(const QString &symbol, bool bTradable) const
{
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    if (!s || (bTradable && s->delisted))
        return QStringList();
    return s->markets;
}

QString CBusinessDataBase::GetSecurityChineseName(const QString &symbol) const
{
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    return s ? s->name : QString();
}

QString CBusinessDataBase::GetSecurityType(const QString &symbol) const
{
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    return s ? s->type : QString();
}

QStringList CBusinessDataBase::GetAllSymbolByType(const QStringList &types) const
{
    QStringList result;
    for (const SecurityInfo &s : SecurityCatalog::instance().all()) {
        if (!s.delisted && (types.isEmpty() || types.contains(s.type)))
            result.append(s.symbol);
    }
    return result;
}

qint64 CBusinessDataBase::GetMaxOrderQty(const QString &symbol) const
{
    const SecurityInfo *s = SecurityCatalog::instance().bySymbol(symbol);
    if (!s)
        return 0;
    if (s->type == SecurityType::star)
        return 100000;
    if (s->type == SecurityType::chinext)
        return 300000;
    if (s->type == SecurityType::convertible)
        return 100000;
    if (s->type == SecurityType::hkConnect)
        return 10000000;
    return 1000000;
}

QString CBusinessDataBase::LoadAccountList(const QString &sourceId)
{
    CUnPackMessageCommon answer;
    QString error;
    if (!BusQuery(sourceId, MsgType::queryAccountRequest, answer, error))
        return QStringLiteral("账号查询失败：") + error;
    // One row per account and market; the rows of one account come together.
    QList<AccountDetails> accounts;
    for (const QVariantMap &row : answer.rows()) {
        const QString fund = row.value(AccountField::fundAccount).toString();
        if (fund.isEmpty())
            continue;
        if (accounts.isEmpty() || accounts.last().fundAccount != fund) {
            AccountDetails account;
            account.fundAccount = fund;
            account.tradingAccount = row.value(AccountField::tradingAccount).toString();
            account.fundProperty = row.value(AccountField::fundProperty).toString();
            account.name = row.value(AccountField::accountName).toString();
            accounts.append(account);
        }
        const QString market = row.value(RequestField::securityExchange).toString();
        const QString securityAccount = row.value(AccountField::securityAccount).toString();
        if (!market.isEmpty() && !securityAccount.isEmpty())
            accounts.last().securityAccounts.insert(market, securityAccount);
    }
    SetAccountList(accounts);
    return QStringLiteral("0");
}

void CBusinessDataBase::SetAccountList(const QList<AccountDetails> &accounts)
{
    QMutexLocker lock(&m_mutex);
    m_accounts = accounts;
    const bool currentKept = std::any_of(accounts.cbegin(), accounts.cend(), [this](const AccountDetails &a) {
        return a.fundAccount == m_currentFundAccount;
    });
    if (!currentKept)
        m_currentFundAccount = accounts.isEmpty() ? QString() : accounts.first().fundAccount;
}

QList<AccountDetails> CBusinessDataBase::GetAccountList() const
{
    QMutexLocker lock(&m_mutex);
    return m_accounts;
}

AccountDetails CBusinessDataBase::GetAccountDetailsByTradinngAccount(const QString &account) const
{
    QMutexLocker lock(&m_mutex);
    for (const AccountDetails &details : m_accounts) {
        if (!account.isEmpty() && (details.tradingAccount == account || details.fundAccount == account))
            return details;
    }
    return AccountDetails();
}

QString CBusinessDataBase::GetCurrentFundAccount() const
{
    QMutexLocker lock(&m_mutex);
    return m_currentFundAccount;
}

void CBusinessDataBase::SetCurrentFundAccount(const QString &fundAccount)
{
    QMutexLocker lock(&m_mutex);
    m_currentFundAccount = fundAccount;
}

QVariant CBusinessDataBase::GetCacheData(const QString &name) const
{
    QMutexLocker lock(&m_mutex);
    return m_cache.value(name);
}

void CBusinessDataBase::SetCacheData(const QString &name, const QVariant &value)
{
    QMutexLocker lock(&m_mutex);
    m_cache.insert(name, value);
}
