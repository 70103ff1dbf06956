#include "tzpresenterclass.h"

#include "ceventmessagecommon.h"
#include "messagebus.h"

#include <QAtomicInt>

namespace {
QAtomicInt g_presenterCount;
}

TzPresenterClass::TzPresenterClass(QObject *parent)
    : QObject(parent)
    , m_pluginPid(QStringLiteral("presenter-%1").arg(++g_presenterCount))
{
}

TzPresenterClass::~TzPresenterClass()
{
    MessageBus::instance()->unsubscribeAll(this);
}

int TzPresenterClass::sendRequest_Sync(CMessageCommon *msg, QVariant &reply)
{
    if (!msg)
        return MessageBus::NotConnected;
    return MessageBus::instance()->request(*msg, reply, MessageBus::defaultTimeoutMs());
}

void TzPresenterClass::Sub(const QVariant &msgType)
{
    MessageBus::instance()->subscribe(this, msgType);
}

void TzPresenterClass::SubEvent(int eventId)
{
    MessageBus::instance()->subscribe(this, eventId);
}

void TzPresenterClass::PutEvent(CEventMessageCommon *msg)
{
    if (msg)
        MessageBus::instance()->putEvent(*msg);
}

void TzPresenterClass::deliverEvent(const QString &source, const QVariant &type,
                                    const QVariant &message)
{
    ProcEventMsg(source, type, message);
}

void TzPresenterClass::deliverMarketRecords(const QList<QVariantMap> &records)
{
    ProcMarketRecords(records);
}

void TzPresenterClass::ProcEventMsg(QString, QVariant, QVariant)
{
}

void TzPresenterClass::ProcMarketRecords(const QList<QVariantMap> &)
{
}
