#include "embeddedbackend.h"

#include <QMetaObject>

EmbeddedBackend::EmbeddedBackend(QObject *parent)
    : QObject(parent)
{
    qRegisterMetaType<quint64>("quint64");
    m_thread.setObjectName(QStringLiteral("tzbackend"));
}

EmbeddedBackend::~EmbeddedBackend()
{
    stop();
}

bool EmbeddedBackend::start(const BackendService::Options &options, QString *error)
{
    if (m_service) {
        *error = QStringLiteral("后台服务已在运行");
        return false;
    }
    auto *service = new BackendService(options);
    service->moveToThread(&m_thread);
    // The service is deleted on its own thread once the thread's loop has ended.
    connect(&m_thread, &QThread::finished, service, &QObject::deleteLater);
    m_service = service;
    m_thread.start();

    bool opened = false;
    QString reason;
    QMetaObject::invokeMethod(
        service, [service, &opened, &reason] { opened = service->open(&reason); },
        Qt::BlockingQueuedConnection);
    if (!opened) {
        stop();
        *error = reason;
        return false;
    }
    return true;
}

void EmbeddedBackend::stop()
{
    if (!m_service)
        return;
    BackendService *service = m_service;
    QMetaObject::invokeMethod(
        service, [service] { service->close(); }, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
    m_service = nullptr;
}
