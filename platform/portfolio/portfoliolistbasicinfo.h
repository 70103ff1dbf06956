#pragma once

#include "tzplatform_global.h"

#include "portfoliodetailbasicinfo.h"

#include <QHash>
#include <QReadWriteLock>
#include <QStringList>
#include <QVector>
#include <memory>
#include <vector>

class TzPresenterClass;

// The user's portfolios and strategy labels as the back end answered them, not yet in
// the store. Loading one takes no store state, so it may run on any thread.
struct TZPLATFORM_EXPORT PortfolioSnapshot
{
    QVector<PortfolioDetailBasicInfo> portfolios;
    QVector<PortfolioStrategyInfo> strategies;
    // Filled by DiffSnapshot: per portfolio, the change stamp of the stored portfolio it
    // equals (0: it differs or is new), and the store's list version when the snapshot
    // lists the stored portfolios in the stored order (0 otherwise).
    QVector<quint64> sameAsStamp;
    quint64 sameOrderVersion = 0;
};

// The store of every portfolio of the logged-in user, in back-end order, and of the
// user's strategy labels. It owns the records; pointers it hands out stay valid until
// the portfolio is removed. Every operation may be called from the GUI thread and the
// auto-import worker at the same time (one read/write lock).
class TZPLATFORM_EXPORT PortfolioListBasicInfo
{
public:
    enum Result { Ok = 0, NoNumber = -1, NameTaken = -2, NotFound = -3, RequestFailed = -4 };

    static PortfolioListBasicInfo *GetInstance();

    // Loads all portfolios and strategy labels of the login user from the back end through
    // the presenter's sendRequest_Sync. Loads once; bReload = true loads again and, only
    // when the back end answered, brings the store to its state: kept portfolios keep
    // their objects, updated in place. Returns 0, or RequestFailed with the store unchanged.
    int tryLockAndInit(TzPresenterClass *presenter, bool bReload = false);
    bool isInitialized() const;
    QString lastError() const;

    // The two halves of a reload, for callers that must not block the GUI thread: load
    // on a worker (the requests carry sourceId as their source), then apply on the
    // thread that uses the store's pointers. Apply brings the store to the snapshot's
    // state as tryLockAndInit does.
    static bool LoadSnapshot(const QString &sourceId, PortfolioSnapshot *out, QString *error);
    // Compares a loaded snapshot with the store (on the worker, under the read lock), so
    // that applying it touches only what changed: a book of thousands of portfolios is
    // mostly unchanged, and comparing it costs the GUI thread more than the change.
    void DiffSnapshot(PortfolioSnapshot *snapshot) const;
    // Takes from the snapshot what the store needs; the rest stays in it, so that the
    // caller may free a large snapshot away from the GUI thread. Returns the numbers of
    // the portfolios that changed or came.
    QStringList ApplySnapshot(PortfolioSnapshot &snapshot);
    // Every stored portfolio's change stamp at once (a cheap shared copy).
    QHash<QString, quint64> changeStamps() const;

    // The back end's current state of some portfolios (any thread; several requests when
    // there are many numbers). Numbers the back end no longer has are absent from `out`.
    static bool FetchPortfolios(const QString &sourceId, const QStringList &numbers,
                                QVector<PortfolioDetailBasicInfo> *out, QString *error);

    // Every change of a stored portfolio (add, replace, remove, reload) gives its number
    // a new stamp. A caller that fetched a portfolio notes its stamp first and hands it
    // to SyncPortfolioDetails, which then leaves alone what changed meanwhile.
    quint64 changeStamp(const QString &portfolioNo) const;

    struct SyncResult
    {
        QStringList updated;   // stored or replaced, in the order given
        QStringList removed;   // were stored, now gone
        QStringList refused;   // the store could not take them (a name held by another portfolio)
        QStringList skipped;   // changed here since the fetch: fetch again
    };
    // Brings the given portfolios to the back end's state in one step: `fresh` are
    // stored or replaced in place, `gone` removed. Names are checked on the end state,
    // so two portfolios that swapped names arrive together. The strategy labels the
    // fresh portfolios carry become known.
    SyncResult SyncPortfolioDetails(const QVector<PortfolioDetailBasicInfo> &fresh, const QStringList &gone,
                                    const QHash<QString, quint64> &stampsAtFetch);
    // Numbers of the stored portfolios called `name`.
    QStringList numbersNamed(const QString &name) const;

    QStringList getAllPortfolioName() const;

    // Free-name rule: a name is free when no stored portfolio carries it. When `name` is
    // taken, the free name is `name` followed by the smallest number from 1 up that gives
    // a free name ("新建组合" -> "新建组合1" -> "新建组合2" ...). Returns true when `name`
    // is taken; freeName always receives a free name (name itself when free). name and
    // freeName may be the same variable.
    bool CheckPortfolioName(const QString &name, QString &freeName) const;

    // True when the security is restricted for portfolios and must not be held in one:
    // it is unknown, delisted, under delisting arrangement (its short name starts with
    // "退" or carries "退" at the end), or on the firm's restricted list (static
    // configuration PortfolioSysCfg/RestrictedSymbols). Callers keep a security only
    // when this is false.
    bool checkPortfolioSecurity(const QString &symbol) const;
    // True when the security type can be traded in portfolios: A shares of every board
    // except B shares, ETFs, convertible bonds and Hong-Kong connect stocks.
    bool IsSupportSecurity(const QString &symbol) const;

    int AddStrategyInfo(const PortfolioStrategyInfo &info);
    PortfolioStrategyInfo *GetStrategyInfoByName(const QString &name);
    // The number of the strategy label called name, empty when none: a copy taken under
    // the lock, for threads other than the GUI thread (the pointer above may go with a
    // reload there).
    QString strategyNoByName(const QString &name) const;

    PortfolioDetailBasicInfo *GetPortfolioDetail(const QString &portfolioNo);
    QList<PortfolioDetailBasicInfo *> GetPortfolioDetails();
    // Stores a portfolio the back end accepted. A known number replaces the stored record
    // in place (its pointer stays valid); a new number is appended. Refuses a record
    // without number (NoNumber) and a name another stored portfolio carries (NameTaken).
    int AddPortfolioDetail(const PortfolioDetailBasicInfo &info);
    int RemovePortfolioDetail(const QString &portfolioNo);

    QList<PortfolioItem> GetPortItemListFromFile(const QString &path, QString &error,
                                                 QVariantMap &extension);

    // Empties the store (tests, log-out).
    void clear();

private:
    PortfolioListBasicInfo() = default;
    bool nameTakenLocked(const QString &name, const QString &exceptNo) const;
    void stampLocked(const QString &portfolioNo) { m_stamps.insert(portfolioNo, ++m_clock); }
    void knowStrategyLocked(const PortfolioDetailBasicInfo &detail);

    mutable QReadWriteLock m_lock;
    std::vector<std::unique_ptr<PortfolioDetailBasicInfo>> m_portfolios;
    QHash<QString, PortfolioDetailBasicInfo *> m_byNumber;
    QHash<QString, int> m_nameCount;  // names of stored portfolios
    std::vector<std::unique_ptr<PortfolioStrategyInfo>> m_strategies;
    QHash<QString, quint64> m_stamps;  // also of removed numbers
    quint64 m_clock = 0;
    quint64 m_listVersion = 1;  // changes when portfolios are added, removed or reordered
    bool m_initialized = false;
    QString m_lastError;
};
