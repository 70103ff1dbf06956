#pragma once

#include <QString>

class SqlPortfolioStore;

// Demo data for a fresh back end: the user "demo", the strategy label "默认" and five
// portfolios of real securities from the reference data (index constituents, Shenwan
// industries, Stock Connect), one of them with an order batch still working.
class DemoSeed
{
public:
    static QString userName();
    static QString strategyName();

    // Writes the demo data inside the caller's transaction. Reads the reference data of
    // TzCore::dataDir() through the security catalogue and the index and industry files.
    static bool write(SqlPortfolioStore &store, QString *error);
};
