#include "portfoliosyncqueue.h"

#include <QDebug>
#include <QtConcurrent>

namespace {
constexpr int kFirstRetryMs = 1000;
constexpr int kLongestRetryMs = 30000;
}

PortfolioSyncQueue::PortfolioSyncQueue(const QString &sourceId, QObject *parent)
    : QObject(parent)
    , m_sourceId(sourceId)
{
    m_mergeTimer.setSingleShot(true);
    m_mergeTimer.setInterval(kMergeMs);
    connect(&m_mergeTimer, &QTimer::timeout, this, &PortfolioSyncQueue::startFetch);
    m_retryTimer.setSingleShot(true);
    connect(&m_retryTimer, &QTimer::timeout, this, &PortfolioSyncQueue::startFetch);
    connect(&m_watcher, &QFutureWatcher<Fetch>::finished, this, &PortfolioSyncQueue::fetched);
}

// A fetch still running keeps only copies of what it needs; its answer is dropped.
PortfolioSyncQueue::~PortfolioSyncQueue() = default;

bool PortfolioSyncQueue::idle() const
{
    return m_pending.isEmpty() && m_inFlight.isEmpty() && !m_retryTimer.isActive();
}

void PortfolioSyncQueue::noteChanged(const QStringList &portfolioNos)
{
    for (const QString &no : portfolioNos) {
        if (!no.isEmpty())
            m_pending.insert(no);
    }
    // While a fetch runs or a retry waits, what arrives joins the next fetch.
    if (!m_pending.isEmpty() && m_inFlight.isEmpty() && !m_retryTimer.isActive() && !m_mergeTimer.isActive())
        m_mergeTimer.start();
}

void PortfolioSyncQueue::noteDeleted(const QString &portfolioNo)
{
    m_pending.remove(portfolioNo);
    // The removal gives the number a new stamp, so a fetch under way that still saw the
    // portfolio does not bring it back.
    if (PortfolioListBasicInfo::GetInstance()->RemovePortfolioDetail(portfolioNo) == PortfolioListBasicInfo::Ok)
        qInfo() << "PortfolioSyncQueue removed" << portfolioNo << "deleted elsewhere";
    emit portfolioRemoved(portfolioNo);
}

void PortfolioSyncQueue::startFetch()
{
    if (!m_inFlight.isEmpty() || m_pending.isEmpty())
        return;
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    m_inFlight = m_pending.values();
    m_pending.clear();
    m_stamps.clear();
    for (const QString &no : qAsConst(m_inFlight))
        m_stamps.insert(no, store->changeStamp(no));
    const QString source = m_sourceId;
    const QStringList numbers = m_inFlight;
    m_watcher.setFuture(QtConcurrent::run([source, numbers] {
        Fetch fetch;
        fetch.ok = PortfolioListBasicInfo::FetchPortfolios(source, numbers, &fetch.portfolios, &fetch.error);
        return fetch;
    }));
}

void PortfolioSyncQueue::fetched()
{
    const Fetch fetch = m_watcher.result();
    const QStringList asked = m_inFlight;
    m_inFlight.clear();
    if (!fetch.ok) {
        for (const QString &no : asked)
            m_pending.insert(no);
        qInfo().noquote() << "PortfolioSyncQueue fetch of" << asked.size() << "portfolios failed:" << fetch.error
                          << "; next try in" << (m_retryMs ? m_retryMs : kFirstRetryMs) << "ms";
        if (!m_failureReported) {
            m_failureReported = true;
            emit fetchFailed(fetch.error);
        }
        m_retryMs = m_retryMs ? qMin(m_retryMs * 2, kLongestRetryMs) : kFirstRetryMs;
        m_retryTimer.start(m_retryMs);
        return;
    }
    m_retryMs = 0;
    m_failureReported = false;

    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    QSet<QString> present;
    for (const PortfolioDetailBasicInfo &p : fetch.portfolios)
        present.insert(p.PortfolioNo());
    QStringList gone;
    for (const QString &no : asked) {
        if (!present.contains(no))
            gone << no;
    }
    const PortfolioListBasicInfo::SyncResult result = store->SyncPortfolioDetails(fetch.portfolios, gone, m_stamps);

    // Changed here while the fetch ran: the answer may be older than that change.
    for (const QString &no : result.skipped)
        m_pending.insert(no);
    // The store refused what the back end holds: the portfolios that stand in the way
    // are out of date. Fetch them with the refused one, once.
    for (const PortfolioDetailBasicInfo &p : fetch.portfolios) {
        if (!result.refused.contains(p.PortfolioNo()))
            continue;
        const QStringList rivals = store->numbersNamed(p.Name());
        qWarning().noquote() << "PortfolioSyncQueue: the store refused portfolio" << p.PortfolioNo() << "named"
                             << p.Name() << "held by" << rivals.join(QLatin1Char(','))
                             << (m_conflictRetried.contains(p.PortfolioNo()) ? "; left as it is" : "; fetching both again");
        if (m_conflictRetried.contains(p.PortfolioNo()))
            continue;
        m_conflictRetried.insert(p.PortfolioNo());
        m_pending.insert(p.PortfolioNo());
        for (const QString &rival : rivals)
            m_pending.insert(rival);
    }
    for (const QString &no : result.updated)
        m_conflictRetried.remove(no);

    for (const QString &no : result.removed)
        emit portfolioRemoved(no);
    for (const QString &no : result.updated)
        emit portfolioUpdated(no);
    if (!result.updated.isEmpty() || !result.removed.isEmpty())
        emit batchApplied(result.updated.size(), result.removed.size());
    if (!m_pending.isEmpty())
        startFetch();
}
