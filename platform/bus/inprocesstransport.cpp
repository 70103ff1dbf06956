#include "inprocesstransport.h"

#include <QDebug>

InProcessTransport::InProcessTransport(QObject *service, quint64 clientId)
    : m_service(service)
    , m_clientId(clientId)
{
}

InProcessTransport::~InProcessTransport()
{
    if (m_service) {
        QMetaObject::invokeMethod(m_service, "onClientDetached", Qt::QueuedConnection,
                                  Q_ARG(quint64, m_clientId));
    }
}

QString InProcessTransport::describe() const
{
    return QStringLiteral("嵌入式后台");
}

void InProcessTransport::open()
{
    if (!m_service) {
        emit stateChanged(false, QStringLiteral("后台服务不存在"));
        return;
    }
    connect(m_service, SIGNAL(frameToClient(quint64, QByteArray)), this,
            SLOT(onServiceFrame(quint64, QByteArray)), Qt::QueuedConnection);
    emit stateChanged(true, QStringLiteral("已连接嵌入式后台"));
}

void InProcessTransport::send(const QByteArray &frame)
{
    if (!m_service) {
        emit stateChanged(false, QStringLiteral("后台服务已停止"));
        return;
    }
    QMetaObject::invokeMethod(m_service, "onClientFrame", Qt::QueuedConnection,
                              Q_ARG(quint64, m_clientId), Q_ARG(QByteArray, frame));
}

void InProcessTransport::onServiceFrame(quint64 clientId, const QByteArray &frame)
{
    if (clientId == m_clientId)
        emit frameReceived(frame);
}
