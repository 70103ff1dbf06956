#include "embeddedbackend.h"

#include "websocketserver.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMetaObject>
#include <QRandomGenerator>
#include <QSaveFile>

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
    m_localToken = options.localToken;
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
    WebSocketServer *server = m_localServer;
    m_localServer = nullptr;
    if (!m_endpointFile.isEmpty())
        QFile::remove(m_endpointFile);
    m_endpointFile.clear();
    QMetaObject::invokeMethod(
        service, [service, server] {
            delete server;
            service->close();
        }, Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
    m_service = nullptr;
}

QString EmbeddedBackend::newLocalToken()
{
    QByteArray bytes(32, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32 *>(bytes.data()), bytes.size() / 4);
    return QString::fromLatin1(bytes.toHex());
}

bool EmbeddedBackend::shareLocally(const QString &endpointFile, QString *error)
{
    if (!m_service || m_localToken.isEmpty()) {
        *error = QStringLiteral("后台未以本机共享方式启动");
        return false;
    }
    BackendService *service = m_service;
    WebSocketServer *server = nullptr;
    QString url;
    QMetaObject::invokeMethod(
        service, [service, &server, &url, error] {
            WebSocketServer::Options options;
            options.address = QHostAddress::LocalHost;
            options.port = 0;
            options.idleTimeoutSec = 24 * 3600;  // a desk of the same user may sit quietly
            server = new WebSocketServer(service, options);
            if (server->listen(error)) {
                url = server->url();
            } else {
                delete server;
                server = nullptr;
            }
        }, Qt::BlockingQueuedConnection);
    if (!server)
        return false;
    m_localServer = server;
    QSaveFile file(endpointFile);
    const QByteArray json = QJsonDocument(QJsonObject{{QStringLiteral("url"), url},
                                                      {QStringLiteral("token"), m_localToken}})
                                .toJson(QJsonDocument::Compact);
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner)
        || file.write(json) != json.size() || !file.commit()) {
        *error = QStringLiteral("无法写入 %1：%2").arg(endpointFile, file.errorString());
        return false;
    }
    m_endpointFile = endpointFile;
    return true;
}

bool EmbeddedBackend::readLocalEndpoint(const QString &endpointFile, LocalEndpoint *endpoint, QString *error)
{
    QFile file(endpointFile);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("无法读取 %1：%2").arg(endpointFile, file.errorString());
        return false;
    }
    const QJsonObject json = QJsonDocument::fromJson(file.read(64 * 1024)).object();
    endpoint->url = QUrl(json.value(QStringLiteral("url")).toString());
    endpoint->token = json.value(QStringLiteral("token")).toString();
    if (!endpoint->url.isValid() || endpoint->url.scheme() != QLatin1String("ws") || endpoint->token.isEmpty()) {
        *error = QStringLiteral("%1 不是有效的本机后台地址文件").arg(endpointFile);
        return false;
    }
    return true;
}
