#pragma once

#include "tzcommon_global.h"

#include <QHash>
#include <QString>
#include <QStringList>
#include <vector>

// Static data of one security, as the reference data and the simulation derive it.
struct SecurityInfo
{
    QString symbol;       // code with the suffix of its listing place: "600519.SH"
    QString code;         // "600519"
    QString listing;      // SH, SZ, BJ or HK
    QStringList markets;  // markets it trades on: one, or HHK and SZHK for Stock Connect
    QString name;
    QString type;         // one of SecurityType::
    int lotSize = 100;
    double preClosePx = 0.0;
    double limitRatio = 0.0;  // daily price limit as a fraction; 0 = no limit (Hong Kong)
    bool suspended = false;
    bool delisted = false;
};

// Every security the client knows, indexed by symbol and by code + market. Loaded once
// from the data folder; read-only afterwards, so any thread may use it.
class TZCOMMON_EXPORT SecurityCatalog
{
public:
    static const SecurityCatalog &instance();

    // Loads from a data folder (a_shares.csv, etfs.csv, hk_connect.csv, bonds.csv).
    // Returns false with a reason when a file is missing.
    bool load(const QString &dataDir, QString *error = nullptr);

    const SecurityInfo *bySymbol(const QString &symbol) const;
    const SecurityInfo *byCodeAndMarket(const QString &code, const QString &market) const;
    // All securities whose code is this one (a code may exist on SH and SZ both).
    QList<const SecurityInfo *> byCode(const QString &code) const;
    const std::vector<SecurityInfo> &all() const { return m_securities; }

    static QString symbolFor(const QString &code, const QString &market);
    // Deterministic simulated pre-close price of a code, by security class.
    static double simulatedPreClose(const QString &code, const QString &type);

private:
    void add(SecurityInfo info);

    std::vector<SecurityInfo> m_securities;
    QHash<QString, int> m_bySymbol;
    QHash<QString, int> m_byCodeMarket;
    QMultiHash<QString, int> m_byCode;
};
