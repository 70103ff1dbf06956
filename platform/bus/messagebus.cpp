#include "messagebus.h"

#include "cmessagecommon.h"
#include "cunpackmessagecommon.h"
#include "msgtypes.h"
#include "transport.h"
#include "tzcore.h"
#include "tzpresenterclass.h"

#include <QCoreApplication>
#include <QDebug>
#include <QSettings>
#include <QThread>
#include <QWaitCondition>

struct MessageBus::Waiter
{
    QMutex mutex;
    QWaitCondition done;
    bool answered = false;
    QVariant reply;
};

MessageBus *MessageBus::instance()
{
    static MessageBus *bus = new MessageBus;
    return bus;
}

MessageBus::MessageBus()
{
    qRegisterMetaType<QList<QVariantMap>>("QList<QVariantMap>");
}

MessageBus::~MessageBus() = default;

QString MessageBus::typeKey(const QVariant &type)
{
    // Numeric types (204800, or "204800" as text) and named ones ("MDMARKETRECORD") must
    // not collide, so numbers carry a mark.
    bool numeric = false;
    const qlonglong n = type.toLongLong(&numeric);
    return numeric ? QStringLiteral("#") + QString::number(n) : type.toString();
}

int MessageBus::defaultTimeoutMs()
{
    const int ms = TzCore::settings()->value(QStringLiteral("Platform/RequestTimeoutMs"), 5000).toInt();
    return ms > 0 ? ms : 5000;
}

void MessageBus::start(Transport *transport)
{
    stop();
    m_thread = new QThread;
    m_thread->setObjectName(QStringLiteral("MessageBus_Thread"));
    m_transport = transport;
    // The bus object itself stays on the thread that created it; frames are handled by
    // direct connections from the transport, that is on the bus thread.
    transport->setParent(nullptr);
    transport->moveToThread(m_thread);
    connect(transport, &Transport::frameReceived, this, &MessageBus::onFrame, Qt::DirectConnection);
    connect(transport, &Transport::stateChanged, this, &MessageBus::onTransportState,
            Qt::DirectConnection);
    connect(m_thread, &QThread::finished, transport, &QObject::deleteLater);
    m_thread->start();
    QMetaObject::invokeMethod(transport, "open", Qt::QueuedConnection);
}

void MessageBus::stop()
{
    if (!m_thread)
        return;
    {
        QMutexLocker lock(&m_mutex);
        m_transport = nullptr;
    }
    m_thread->quit();
    m_thread->wait();
    delete m_thread;
    m_thread = nullptr;
    m_connected.storeRelease(0);
    m_lost.storeRelease(0);
}

QString MessageBus::stateText() const
{
    QMutexLocker lock(&m_mutex);
    return m_stateText;
}

void MessageBus::onTransportState(bool connected, const QString &text)
{
    m_connected.storeRelease(connected ? 1 : 0);
    m_lost.storeRelease(connected ? 0 : 1);
    QList<std::shared_ptr<Waiter>> waiting;
    {
        QMutexLocker lock(&m_mutex);
        m_stateText = text;
        if (!connected)
            waiting = m_waiters.values();
    }
    // Their answers cannot come over a lost link: they time out now.
    for (const std::shared_ptr<Waiter> &waiter : qAsConst(waiting)) {
        QMutexLocker lock(&waiter->mutex);
        waiter->done.wakeAll();
    }
    emit connectionStateChanged(connected, text);
}

bool MessageBus::post(CMessageCommon &message)
{
    QMutexLocker lock(&m_mutex);
    if (!m_transport)
        return false;
    // Request id 0 tells the back end that no answer is wanted.
    message.setRequestId(0);
    message.setKind(CMessageCommon::Request);
    QMetaObject::invokeMethod(m_transport, "send", Qt::QueuedConnection,
                              Q_ARG(QByteArray, message.toWire()));
    return true;
}

int MessageBus::request(CMessageCommon &message, QVariant &reply, int timeoutMs)
{
    if (m_thread && QThread::currentThread() == m_thread)
        return WrongThread;  // the bus thread would wait on itself

    if (m_lost.loadAcquire())
        return TimedOut;
    const quint64 id = ++m_nextRequestId;
    message.setRequestId(id);
    message.setKind(CMessageCommon::Request);
    auto waiter = std::make_shared<Waiter>();
    {
        QMutexLocker lock(&m_mutex);
        if (!m_transport)
            return NotConnected;
        m_waiters.insert(id, waiter);
        QMetaObject::invokeMethod(m_transport, "send", Qt::QueuedConnection,
                                  Q_ARG(QByteArray, message.toWire()));
    }

    QMutexLocker wait(&waiter->mutex);
    if (!waiter->answered && !m_lost.loadAcquire())
        waiter->done.wait(&waiter->mutex, ulong(timeoutMs));
    const bool answered = waiter->answered;
    wait.unlock();
    {
        QMutexLocker lock(&m_mutex);
        m_waiters.remove(id);
    }
    // An answer that slipped in between the wake-up and the removal above still counts.
    QMutexLocker recheck(&waiter->mutex);
    if (!answered && !waiter->answered)
        return TimedOut;
    reply = waiter->reply;
    return Answered;
}

void MessageBus::onFrame(const QByteArray &frame)
{
    CMessageCommon message;
    if (!message.fromWire(frame)) {
        qWarning() << "MessageBus::onFrame undecodable frame of" << frame.size() << "bytes dropped";
        return;
    }
    switch (message.kind()) {
    case CMessageCommon::Answer: {
        std::shared_ptr<Waiter> waiter;
        {
            QMutexLocker lock(&m_mutex);
            waiter = m_waiters.value(message.requestId());
        }
        if (!waiter) {
            ++m_dropped;
            qInfo() << "MessageBus::onFrame late answer dropped, request" << message.requestId()
                    << message.GetType().toString();
            return;
        }
        QMutexLocker lock(&waiter->mutex);
        waiter->reply = message.GetMsg();
        waiter->answered = true;
        waiter->done.wakeAll();
        return;
    }
    case CMessageCommon::Push:
        if (message.GetType().toString() == MsgType::MDMARKETRECORD) {
            deliverMarketRecords(message.GetMsg());
            return;
        }
        Q_FALLTHROUGH();
    case CMessageCommon::Event:
        deliver(typeKey(message.GetType()), message.GetSrcid(), message.GetType(), message.GetMsg());
        return;
    case CMessageCommon::Request:
        qWarning() << "MessageBus::onFrame a client does not serve requests:"
                   << message.GetType().toString();
        return;
    }
}

void MessageBus::subscribe(TzPresenterClass *presenter, const QVariant &type)
{
    QMutexLocker lock(&m_mutex);
    auto &list = m_subscribers[typeKey(type)];
    for (const auto &p : list) {
        if (p == presenter)
            return;
    }
    list.append(presenter);
}

void MessageBus::unsubscribeAll(TzPresenterClass *presenter)
{
    QMutexLocker lock(&m_mutex);
    for (auto it = m_subscribers.begin(); it != m_subscribers.end(); ++it) {
        it->erase(std::remove_if(it->begin(), it->end(),
                                 [presenter](const QPointer<TzPresenterClass> &p) {
                                     return p.isNull() || p == presenter;
                                 }),
                  it->end());
    }
}

void MessageBus::putEvent(const CMessageCommon &event)
{
    deliver(typeKey(event.GetType()), event.GetSrcid(), event.GetType(), event.GetMsg());
}

void MessageBus::deliver(const QString &key, const QString &source, const QVariant &type,
                         const QVariant &body)
{
    // Posted under the lock that unsubscribeAll takes when a presenter is destroyed: a
    // presenter is never posted to once its destruction has begun, and what was posted
    // before is dropped with it. (Copying the list and posting after the lock would race
    // with a presenter destroyed on its own thread meanwhile.)
    QMutexLocker lock(&m_mutex);
    for (const QPointer<TzPresenterClass> &target : m_subscribers.value(key)) {
        TzPresenterClass *presenter = target.data();
        if (!presenter || presenter->pluginPid() == source)
            continue;
        // Queued on the presenter's own thread.
        QMetaObject::invokeMethod(
            presenter, [presenter, source, type, body] { presenter->deliverEvent(source, type, body); },
            Qt::QueuedConnection);
    }
}

void MessageBus::deliverMarketRecords(const QVariant &body)
{
    {
        QMutexLocker lock(&m_mutex);
        if (m_subscribers.value(MsgType::MDMARKETRECORD).isEmpty())
            return;
    }
    CUnPackMessageCommon unpack;
    if (!unpack.SetUnPackMsg(body)) {
        qWarning() << "MessageBus::deliverMarketRecords unreadable market-data body dropped";
        return;
    }
    const QList<QVariantMap> records = unpack.rows();
    // Posted under the lock, as events are (see deliver).
    QMutexLocker lock(&m_mutex);
    for (const QPointer<TzPresenterClass> &target : m_subscribers.value(MsgType::MDMARKETRECORD)) {
        TzPresenterClass *presenter = target.data();
        if (!presenter)
            continue;
        QMetaObject::invokeMethod(
            presenter, [presenter, records] { presenter->deliverMarketRecords(records); },
            Qt::QueuedConnection);
    }
}
