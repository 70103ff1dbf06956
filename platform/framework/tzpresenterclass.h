#pragma once

#include "tzplatform_global.h"

#include <QList>
#include <QObject>
#include <QVariant>
#include <QVariantMap>

class CMessageCommon;
class CEventMessageCommon;

// Base of every page presenter: its link to the message bus. A presenter subscribes to
// message types and events; the bus hands them to ProcEventMsg and ProcMarketRecords on
// the presenter's own thread.
class TZPLATFORM_EXPORT TzPresenterClass : public QObject
{
    Q_OBJECT

public:
    explicit TzPresenterClass(QObject *parent = nullptr);
    ~TzPresenterClass() override;

    // Identifies this presenter as the source of its messages; unique per instance.
    QString pluginPid() const { return m_pluginPid; }
    void setMenuID(const QString &menuId) { m_menuId = menuId; }
    QString menuID() const { return m_menuId; }

    // Sends msg and blocks until the answer or the time-out ("Platform/RequestTimeoutMs",
    // default 5000 ms). Returns 0 when answered (reply holds the answer's packed body),
    // 1 on time-out, other values when the request could not be sent. Safe from any
    // thread but the bus thread, from several threads at once.
    int sendRequest_Sync(CMessageCommon *msg, QVariant &reply);

    void Sub(const QVariant &msgType);
    void SubEvent(int eventId);
    // Puts an event to the other pages of this client.
    void PutEvent(CEventMessageCommon *msg);

    // Called by the bus on this presenter's thread.
    void deliverEvent(const QString &source, const QVariant &type, const QVariant &message);
    void deliverMarketRecords(const QList<QVariantMap> &records);

protected:
    virtual void ProcEventMsg(QString source, QVariant type, QVariant message);
    // Market records ("MDMARKETRECORD"), in arrival order, one call per batch.
    virtual void ProcMarketRecords(const QList<QVariantMap> &records);

private:
    QString m_pluginPid;
    QString m_menuId;
};
