#pragma once

#include "portfoliolistbasicinfo.h"

#include <QFutureWatcher>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QTimer>

// Keeps the portfolio store in step with changes made elsewhere (another desk, another
// page) without reloading the book. Change notices name one portfolio each; the queue
// merges those that arrive close together, fetches just those portfolios on a worker
// thread (the GUI thread never waits for the back end), and applies the answer to the
// store in one step on its own thread. Only then does it tell the list, one portfolio
// at a time. A fetch that fails is retried with growing pauses until it succeeds, and
// the failure is reported once per outage, not once per try.
class PortfolioSyncQueue : public QObject
{
    Q_OBJECT

public:
    // sourceId is put on the requests as their source (the presenter's plugin id).
    explicit PortfolioSyncQueue(const QString &sourceId, QObject *parent = nullptr);
    ~PortfolioSyncQueue() override;

    // Notices arriving within this many milliseconds are fetched together.
    static constexpr int kMergeMs = 30;

    void noteChanged(const QStringList &portfolioNos);
    // The back end deleted it: removed from the store at once.
    void noteDeleted(const QString &portfolioNo);
    // Nothing pending, nothing in flight, no retry waiting.
    bool idle() const;

signals:
    // The store already holds the portfolio's new state.
    void portfolioUpdated(QString portfolioNo);
    // The store no longer holds it.
    void portfolioRemoved(QString portfolioNo);
    // A fetch failed; said once until a fetch succeeds again.
    void fetchFailed(QString reason);
    // One applied batch: how many portfolios were updated and removed.
    void batchApplied(int updated, int removed);

private:
    struct Fetch
    {
        bool ok = false;
        QString error;
        QVector<PortfolioDetailBasicInfo> portfolios;
    };
    void startFetch();
    void fetched();

    QString m_sourceId;
    QTimer m_mergeTimer;
    QTimer m_retryTimer;
    QSet<QString> m_pending;
    QStringList m_inFlight;
    QHash<QString, quint64> m_stamps;  // of m_inFlight, noted when the fetch started
    QSet<QString> m_conflictRetried;   // refused once and fetched again with their rivals
    QFutureWatcher<Fetch> m_watcher;
    int m_retryMs = 0;
    bool m_failureReported = false;
};
