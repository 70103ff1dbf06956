#pragma once

#include "etftypes.h"
#include "tzplatform_global.h"

#include <QHash>
#include <QList>
#include <QMap>
#include <QMutex>
#include <QReadWriteLock>
#include <QString>
#include <QVariantMap>
#include <QWaitCondition>

// The ETFs the client knows and the creation basket of each. The first call of
// instance() starts loading in the background; when the list is there the client event
// ALL_ETFLIST_LOADED is put once. A page that subscribes late checks isLoaded() first.
//
// The reference data hold listed stock ETFs only, so EtfCodeType::bond gives nothing;
// EtfStatus follows the suspension flag of the security catalogue.
//
// The basket of an ETF is the constituent list of the index it tracks. Quantities are
// derived for a creation unit worth 1,000,000 CNY at the pre-close price: the index
// weight's share of that value, in whole lots, at least one lot. Constituents that are
// unknown to the catalogue or delisted are left out. Every member is thread-safe.
class TZPLATFORM_EXPORT ETFLogicHandler
{
public:
    static ETFLogicHandler &instance();

    bool isLoaded() const;
    // Blocks until the list is loaded or the time-out passes; a negative time-out waits
    // without limit. True when loaded.
    bool waitUntilLoaded(int timeoutMs) const;

    // ETFs by symbol ("510300.SH"). Empty until loaded.
    QMap<QString, EtfInfo> getEtfInfoList(EtfCodeType codeType = EtfCodeType::all,
                                          EtfStatus status = EtfStatus::all) const;

    // The creation basket of an ETF given by code ("510300") or symbol ("510300.SH"),
    // one row per component with Security::symbol, Security::securityID,
    // UserAccount::securityExchange, Security::symbolName, Security::nominalQty (shares
    // per creation unit) and Security::weight (index weight in percent). Waits for the
    // list to load, so call it off the GUI thread. Empty for an unknown ETF.
    QList<QVariantMap> getEtfComponentList(const QString &etfCodeOrSymbol) const;

    // Value of one creation unit, in CNY, that the basket quantities are derived from.
    static constexpr double creationUnitValue = 1000000.0;

private:
    ETFLogicHandler();
    ETFLogicHandler(const ETFLogicHandler &) = delete;
    ETFLogicHandler &operator=(const ETFLogicHandler &) = delete;

    struct Entry
    {
        EtfInfo info;
        bool crossMarket = false;
        bool suspended = false;
        QList<QVariantMap> components;
    };

    void load(const QString &dataDir);
    QString symbolOf(const QString &etfCodeOrSymbol) const;

    mutable QReadWriteLock m_lock;  // guards the two containers below
    QMap<QString, Entry> m_etfs;    // by symbol
    QHash<QString, QString> m_symbolByCode;

    mutable QMutex m_stateMutex;  // guards m_loaded together with m_loadedCondition
    mutable QWaitCondition m_loadedCondition;
    bool m_loaded = false;
};
