#pragma once

#include <QDate>
#include <QString>

class SqlPortfolioStore;

// Demo data for a fresh back end: the user "demo", the strategy label "默认" and five
// portfolios of real securities from the reference data (index constituents, Shenwan
// industries, Stock Connect), one of them with an order batch still working; and two
// accounts of that user, a cash account holding about forty positions across every
// market and a credit account with collateral, lendable securities and lending
// contracts.
class DemoSeed
{
public:
    static QString userName();
    static QString strategyName();

    // Writes what the opened database lacks, in one transaction of its own: everything
    // into a database without users; only the demo accounts into one that an older back
    // end wrote and whose demo user has no accounts yet. *written says what was written
    // (empty: nothing). Run right after SqlPortfolioStore::open.
    static bool seedIfDue(SqlPortfolioStore &store, QString *written, QString *error);

    // Writes the demo data inside the caller's transaction. Reads the reference data of
    // TzCore::dataDir() through the security catalogue and the index and industry files.
    static bool write(SqlPortfolioStore &store, QString *error);

    // Writes the demo user's two accounts inside the caller's transaction. The lending
    // contracts are dated around `today`: opened in the past months, due in the coming
    // ones.
    static bool writeAccounts(SqlPortfolioStore &store, qint64 userId, const QDate &today,
                              QString *error);

    // The demo accounts' numbers.
    static QString cashFundAccount() { return QStringLiteral("880010001"); }
    static QString creditFundAccount() { return QStringLiteral("880020002"); }
};
