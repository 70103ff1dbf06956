#pragma once

#include "quotewalk.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <atomic>

class QTimer;

// The back end's level-1 market data: a simulated record of every security a client
// subscribed, once per quote interval. Each symbol publishes on its own phase inside the
// interval (a hash of the symbol), so records trickle in as from a real feed rather than
// in one burst. Every subscription gets the current record of each symbol it names at
// once, also of a symbol the client held already.
//
// Subscriptions are counted per client: each subscription of a symbol adds a reference
// and each unsubscription removes one; the client gets the symbol while it holds one.
//
// The clock is the real time, read every step by a timer, or, with a manual clock, the
// times given to advanceTo(). Records depend only on the seed, the subscriptions and the
// clock times, so the same session replays exactly. Lives on the service thread.
class MarketFeed : public QObject
{
    Q_OBJECT

public:
    struct Settings
    {
        int quoteIntervalMs = 3000;  // one record per symbol per interval
        int stepMs = 100;            // how often the real clock is read
        quint32 seed = 20261121;
        bool manualClock = false;    // time moves only through advanceTo()
    };

    explicit MarketFeed(const Settings &settings, QObject *parent = nullptr);
    ~MarketFeed() override;

    // Adds one reference per symbol for the client; a symbol may come more than once.
    // Symbols the security catalogue does not know are not subscribed and are returned.
    QStringList subscribe(quint64 clientId, const QStringList &symbols);
    // Removes one reference per symbol; a symbol the client does not hold is ignored.
    void unsubscribe(quint64 clientId, const QStringList &symbols);
    // Drops every subscription of a client that has gone.
    void detach(quint64 clientId);
    // Drops every subscription and every walk; the service does so when it closes.
    void clear();

    // Publishes what is due at the current clock time, among it the first record of each
    // new subscription. With a manual clock that has not been set yet, nothing is due.
    void publishNow();

    // Any thread may change the interval; it applies from the next clock step.
    void setQuoteIntervalMs(int ms);
    int quoteIntervalMs() const { return m_requestedIntervalMs.load(); }

public slots:
    // Moves the clock to this time (ms since the epoch) and publishes every record due
    // up to it: one frame per client holding all of that client's records in time
    // order. The clock never runs back; an earlier time counts as the current one.
    void advanceTo(qint64 msSinceEpoch);

signals:
    void frameToClient(quint64 clientId, const QByteArray &frame);

private:
    // A symbol that at least one client has subscribed, or had subscribed.
    struct Line
    {
        QuoteWalk walk;
        quint32 phaseHash = 0;
        QSet<quint64> holders;  // clients that hold the symbol
        qint64 nextSlot = 0;   // time of the next record; 0 while nobody holds it
        qint64 lastTime = 0;   // time of the price the walk shows
    };

    struct Client
    {
        QHash<QString, int> references;
        QSet<QString> waitingForFirst;  // subscribed since the last clock step
    };

    void release(const QString &symbol, quint64 clientId);
    qint64 nextSlotAfter(const Line &line, qint64 time) const;
    void applyInterval();
    void updateTimer();

    Settings m_settings;
    QTimer *m_timer = nullptr;
    QHash<QString, Line> m_lines;
    QHash<quint64, Client> m_clients;
    qint64 m_now = 0;
    int m_intervalMs = 0;
    std::atomic<int> m_requestedIntervalMs;
};
