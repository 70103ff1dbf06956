#pragma once

#include "tzplatform_global.h"
#include "cbusinessdatabase.h"

#include <QList>
#include <QString>
#include <QStringList>

// What to do with a quantity that is not a whole number of lots.
namespace OddLotType {
enum : int {
    RoundDown = 0,   // down to a quantity the exchange accepts in one order (may become 0)
    RoundUp = 1,     // up to such a quantity
    KeepOddLot = 2,  // as it is: selling a whole holding may end in an odd lot
};
}

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
        QString fundAccount;      // asset (fund) account
        QString tradingAccount;
        QString securityAccount;  // shareholder account on the market
        QString market;           // Exchange:: key
        QString name;
    };
    static QList<TradingAccount> GetTradingAccountList();

    // The security (shareholder) account of a trading account on a market; the fund
    // account is accepted in place of the trading account. Empty when the account does
    // not trade on that market.
    static QString GetCurrentSecurityAccountByTradingAndExchange(const QString &tradingAccount,
                                                                 const QString &exchange);
    // Makes the account the client's current one and tells every page with the
    // TRADING_ACCOUNT_CHANGED event (fields "assetAccount" and "tradingAccount"). False
    // when the user has no such account.
    static bool SwitchCurrentAccount(const QString &fundAccount);

    // The login user's accounts of these fund properties (FundProperty::); all accounts
    // for an empty list.
    static QList<AccountDetails> GetFundAccountListByFundProp(const QStringList &fundProps);

    // Factor from the quantity unit the back end keeps a holding in to the unit orders
    // use. Shanghai bonds are held in lots of ten (手) and ordered in pieces (张): 10. Every
    // other security: 1. 0 for an unknown symbol.
    static double GetDispFactorBySymbol(const QString &symbol);

    // A quantity made fit for an order of the security, by the exchange's rules:
    //   SH/SZ main board, ChiNext, ETFs: multiples of 100;
    //   STAR (688/689): at least 200, then any quantity (steps of 1);
    //   Beijing: at least 100, then steps of 1;
    //   convertible and other bonds: multiples of 10;
    //   Stock Connect: multiples of the stock's board lot (from the reference data).
    // oddLotType is one of OddLotType. With bTradable the minimum of one order applies too
    // (rounding down below it gives 0, rounding up gives the minimum); without it only the
    // step. A negative quantity is treated as its size. 0 for an unknown symbol.
    static qint64 GetQtyByOddLotType(const QString &symbol, int oddLotType, qint64 qty, bool bTradable);
    // The step and the one-order minimum that GetQtyByOddLotType applies (0, 0 when unknown).
    static void GetLotRule(const QString &symbol, qint64 *step, qint64 *minimum);
};
