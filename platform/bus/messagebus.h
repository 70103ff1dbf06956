#pragma once

#include "tzplatform_global.h"

#include <QAtomicInteger>
#include <QHash>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QVariant>
#include <memory>

class CMessageCommon;
class QThread;
class Transport;
class TzPresenterClass;

// The client side of the message bus. One per process. A bus thread owns the transport;
// callers on any other thread send requests and wait for their answers, and presenters
// receive subscribed events and market records on their own thread.
class TZPLATFORM_EXPORT MessageBus : public QObject
{
    Q_OBJECT

public:
    enum RequestResult { Answered = 0, TimedOut = 1, NotConnected = 2, WrongThread = 3 };

    static MessageBus *instance();

    // Starts the bus thread with this transport (the bus takes ownership) and opens it.
    // A running transport is replaced.
    void start(Transport *transport);
    void stop();
    bool isConnected() const { return m_connected.loadAcquire() != 0; }
    QString stateText() const;

    // Sends a request and blocks the calling thread until its answer or the time-out.
    // Returns RequestResult; on Answered, reply holds the answer's packed body. An answer
    // that comes after its time-out is dropped and counted, never handed to anyone.
    // While the transport reports its link lost, a request times out at once, and the
    // requests waiting when the link drops time out then: nobody waits for an answer
    // that cannot come.
    int request(CMessageCommon &message, QVariant &reply, int timeoutMs);
    // Sends without waiting for an answer (subscriptions, log-in).
    bool post(CMessageCommon &message);
    // Request time-out from the settings ("Platform/RequestTimeoutMs", default 5000 ms).
    static int defaultTimeoutMs();

    void subscribe(TzPresenterClass *presenter, const QVariant &type);
    void unsubscribeAll(TzPresenterClass *presenter);
    // Delivers an event to every presenter of this client subscribed to its type, except
    // the one whose plugin id is the event's source.
    void putEvent(const CMessageCommon &event);

    quint64 droppedReplies() const { return m_dropped.loadAcquire(); }

    static QString typeKey(const QVariant &type);

signals:
    void connectionStateChanged(bool connected, const QString &text);

private slots:
    void onFrame(const QByteArray &frame);
    void onTransportState(bool connected, const QString &text);

private:
    MessageBus();
    ~MessageBus() override;

    struct Waiter;
    void deliver(const QString &key, const QString &source, const QVariant &type,
                 const QVariant &body);
    void deliverMarketRecords(const QVariant &body);

    QThread *m_thread = nullptr;
    Transport *m_transport = nullptr;
    QAtomicInteger<quint64> m_nextRequestId{0};
    QAtomicInteger<quint64> m_dropped{0};
    QAtomicInt m_connected{0};
    QAtomicInt m_lost{0};  // the transport said the link is down (not merely opening)

    mutable QMutex m_mutex;  // guards everything below
    QHash<quint64, std::shared_ptr<Waiter>> m_waiters;
    QHash<QString, QList<QPointer<TzPresenterClass>>> m_subscribers;
    QString m_stateText;
};
