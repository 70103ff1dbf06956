#pragma once

#include "tzplatform_global.h"
#include "fieldkeys.h"

#include <QList>
#include <QMap>
#include <QMutex>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

// One account of the login user: a fund (asset) account with its trading account and one
// security (shareholder) account per market it may trade.
struct TZPLATFORM_EXPORT AccountDetails
{
    QString fundAccount;
    QString tradingAccount;
    QString fundProperty;  // FundProperty::
    QString name;
    QMap<QString, QString> securityAccounts;  // market key -> security account

    bool isValid() const { return !fundAccount.isEmpty(); }
    bool isCredit() const;
    // The markets the account may trade, in the order SH, SZ, BJ, HHK, SZHK.
    QStringList markets() const;
    bool supportsMarket(const QString &market) const { return securityAccounts.contains(market); }
    // "880010001 演示普通账户", as account pickers show it.
    QString displayText() const;
};

// Business data of the logged-in user: security look-ups over the reference data, the
// login account, and a small cache where pages leave data for each other.
class TZPLATFORM_EXPORT CBusinessDataBase
{
public:
    static CBusinessDataBase *GetInstance();

    QString GetLoginAccount() const;
    void SetLoginAccount(const QString &account);

    // "600519.SH" -> "600519". Empty for an unknown symbol. With source
    // SecurityIDSource::symbol the symbol itself is returned when known.
    QString getSecurityIDBySymbol(const QString &symbol, const QString &exchange = QString(),
                                  const QString &source = SecurityIDSource::securityID) const;
    // Markets a symbol trades on: one for an A share, HHK and SZHK for a Stock Connect
    // stock, empty for an unknown symbol. bTradable leaves out delisted securities.
    QStringList GetSecurityExchangeBySymbol(const QString &symbol, bool bTradable = false) const;
    QString GetSecurityChineseName(const QString &symbol) const;
    // One of SecurityType::, empty for an unknown symbol.
    QString GetSecurityType(const QString &symbol) const;
    QStringList GetAllSymbolByType(const QStringList &types) const;
    // Largest quantity one line may carry when sent as one order, by the exchange's cap
    // on a single limit order of the security's board: STAR 100,000 shares, ChiNext
    // 300,000, other A shares, ETFs and Beijing 1,000,000, convertible bonds 100,000,
    // Hong Kong connect stocks 10,000,000 (no exchange cap; a sanity bound). 0 for an
    // unknown symbol.
    qint64 GetMaxOrderQty(const QString &symbol) const;

    // The login user's accounts, as the back end answered the account query. LoadAccountList
    // asks again (a blocking request; "0" or the text to show) and replaces the list.
    QString LoadAccountList(const QString &sourceId = QStringLiteral("platform"));
    void SetAccountList(const QList<AccountDetails> &accounts);
    QList<AccountDetails> GetAccountList() const;
    // The account whose trading account, or fund account, this is; invalid when the user
    // has no such account.
    AccountDetails GetAccountDetailsByTradinngAccount(const QString &account) const;
    // The account the trader works with now (a fund account); the first account until the
    // trader picks one.
    QString GetCurrentFundAccount() const;
    void SetCurrentFundAccount(const QString &fundAccount);

    QVariant GetCacheData(const QString &name) const;
    void SetCacheData(const QString &name, const QVariant &value);

private:
    mutable QMutex m_mutex;
    QString m_loginAccount = QStringLiteral("demo");
    QVariantMap m_cache;
    QList<AccountDetails> m_accounts;
    QString m_currentFundAccount;
};
