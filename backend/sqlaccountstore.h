#pragma once

#include "accountrecords.h"

#include <QList>
#include <QString>
#include <QStringList>

class SqlPortfolioStore;

// Every statement about accounts, shareholder accounts, positions, lendable securities
// and lending contracts. Works on the database connection of the portfolio store, inside
// the transaction the caller opened there, and on that store's thread. Methods return
// false with a reason in *error. The SQL sticks to what SQLite and PostgreSQL both
// understand.
class SqlAccountStore
{
public:
    explicit SqlAccountStore(SqlPortfolioStore &store);

    // Market keys an account can hold a shareholder account on, in display order.
    static const QStringList &markets();
    // Position of a market in that order (1 for SH); 0 for a market not in it.
    static int marketRank(const QString &market);

    // Assigns account->id. Refused when either number is in use already.
    bool createAccount(AccountRecord *account, QString *error);
    bool addSecurityAccount(qint64 accountId, const SecurityAccountRecord &securityAccount,
                            QString *error);
    bool countAccounts(qint64 userId, qint64 *count, QString *error);
    // Each account of the user once per market it has a shareholder account on, by fund
    // account and then market order.
    bool accountMarkets(qint64 userId, QList<AccountMarketRecord> *out, QString *error);
    // The user's account whose fund or trading account is `number` (userId -1: any
    // user's). Should one account's fund account be another's trading account, the
    // preferred kind of number wins. out->id is -1 when there is none.
    enum class Prefer { FundAccount, TradingAccount };
    bool findAccount(qint64 userId, const QString &number, Prefer prefer, AccountRecord *out,
                     QString *error);
    bool securityAccounts(qint64 accountId, QList<SecurityAccountRecord> *out,
                          QString *error);

    // One page of an account's positions ordered by market and security code: those
    // after the position `after` (empty: from the start), at most `limit`. nextAfter
    // receives the position of the page's last row, or an empty text when no row
    // follows. A non-empty market or securityAccount narrows the rows to it.
    bool positionPage(qint64 accountId, const QString &market, const QString &securityAccount,
                      const QString &after, int limit, QList<PositionRecord> *out,
                      QString *nextAfter, QString *error);
    // Writes a position on the account's shareholder account of position.market,
    // replacing the one of the same security there. *added tells whether it was new.
    bool writePosition(qint64 accountId, const PositionRecord &position, bool *added,
                       QString *error);
    bool clearPositions(qint64 accountId, qint64 *removed, QString *error);

    bool setLendable(qint64 accountId, const LendableRecord &lendable, QString *error);
    // By market order and security code.
    bool lendable(qint64 accountId, QList<LendableRecord> *out, QString *error);

    bool addContract(qint64 accountId, const LendingContractRecord &contract, QString *error);
    // One page of an account's lending contracts by return date and contract number;
    // with a valid dueBy only those to be returned on or before it. Paging as for
    // positionPage.
    bool contractPage(qint64 accountId, const QDate &dueBy, const QString &after, int limit,
                      QList<LendingContractRecord> *out, QString *nextAfter, QString *error);

private:
    SqlPortfolioStore &m_store;
};
