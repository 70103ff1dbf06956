#pragma once

#include "tzplatform_global.h"

#include <QList>
#include <QString>
#include <QStringList>

// Static look-ups of the business data service.
class TZPLATFORM_EXPORT VeltraBusinessDataInterface
{
public:
    // ("600519", "SH") -> "600519.SH"; ("00700", "HHK") -> "00700.HK". Empty when the
    // code does not trade on that market.
    static QString GetSymbolBySecurityIDAndExchange(const QString &securityID, const QString &exchange);

    // Numeric id of a named client event ("ALL_ETFLIST_LOADED", ...). Known names have
    // fixed ids; any other name gets a new id on first use, the same for the whole run.
    static int GetKorvoEventMsgIdByStr(const QString &eventName);

    // Trading accounts of the login user: one per account and market.
    struct TradingAccount
    {
        QString fundAccount;     // asset (fund) account
        QString tradingAccount;  // shareholder account on the market
        QString market;          // Exchange:: key
        QString name;
    };
    static QList<TradingAccount> GetTradingAccountList();
};
