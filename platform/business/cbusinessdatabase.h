#pragma once

#include "tzplatform_global.h"
#include "fieldkeys.h"

#include <QMutex>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

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

    QVariant GetCacheData(const QString &name) const;
    void SetCacheData(const QString &name, const QVariant &value);

private:
    mutable QMutex m_mutex;
    QString m_loginAccount = QStringLiteral("demo");
    QVariantMap m_cache;
};
