#pragma once

#include "tzplatform_global.h"

#include "transport.h"

#include <QPointer>

// Talks to a back-end service object living on another thread of this process. The
// service offers the slot onClientFrame(quint64, QByteArray), the slot
// onClientDetached(quint64) and the signal frameToClient(quint64, QByteArray); frames
// for other client ids are ignored.
class TZPLATFORM_EXPORT InProcessTransport : public Transport
{
    Q_OBJECT

public:
    InProcessTransport(QObject *service, quint64 clientId);
    ~InProcessTransport() override;

    QString describe() const override;

public slots:
    void open() override;
    void send(const QByteArray &frame) override;

private slots:
    void onServiceFrame(quint64 clientId, const QByteArray &frame);

private:
    QPointer<QObject> m_service;
    quint64 m_clientId;
};
