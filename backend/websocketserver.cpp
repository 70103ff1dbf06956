#include "websocketserver.h"

#include "backendservice.h"

#include <QDateTime>
#include <QFile>
#include <QLoggingCategory>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QTimer>
#include <QWebSocket>
#include <QWebSocketServer>

Q_LOGGING_CATEGORY(lcServer, "tz.backend.server")

namespace {

qint64 nowMs()
{
    return QDateTime::currentMSecsSinceEpoch();
}

bool loadTls(const QString &certificateFile, const QString &keyFile, QSslConfiguration *tls, QString *error)
{
    QFile certFile(certificateFile);
    QFile keyData(keyFile);
    if (!certFile.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("无法读取证书文件 %1：%2").arg(certificateFile, certFile.errorString());
        return false;
    }
    if (!keyData.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("无法读取私钥文件 %1：%2").arg(keyFile, keyData.errorString());
        return false;
    }
    const QList<QSslCertificate> chain = QSslCertificate::fromDevice(&certFile, QSsl::Pem);
    const QSslKey key(&keyData, QSsl::Rsa, QSsl::Pem);
    QSslKey usable = key;
    if (usable.isNull()) {
        keyData.seek(0);
        usable = QSslKey(&keyData, QSsl::Ec, QSsl::Pem);
    }
    if (chain.isEmpty()) {
        *error = QStringLiteral("证书文件 %1 中没有 PEM 证书").arg(certificateFile);
        return false;
    }
    if (usable.isNull()) {
        *error = QStringLiteral("私钥文件 %1 不是未加密的 PEM RSA 或 EC 私钥").arg(keyFile);
        return false;
    }
    *tls = QSslConfiguration::defaultConfiguration();
    tls->setLocalCertificateChain(chain);
    tls->setPrivateKey(usable);
    tls->setPeerVerifyMode(QSslSocket::VerifyNone);
    return true;
}

} // namespace

WebSocketServer::WebSocketServer(BackendService *service, const Options &options, QObject *parent)
    : QObject(parent)
    , m_service(service)
    , m_options(options)
{
    connect(m_service, &BackendService::frameToClient, this, &WebSocketServer::onFrameToClient);
    connect(m_service, &BackendService::protocolViolation, this, [this](quint64 clientId, const QString &reason) {
        drop(clientId, QWebSocketProtocol::CloseCodeProtocolError, reason);
    });
}

WebSocketServer::~WebSocketServer()
{
    close();
}

bool WebSocketServer::listen(QString *error)
{
    close();
    const bool secure = !m_options.certificateFile.isEmpty() || !m_options.keyFile.isEmpty();
    m_server = new QWebSocketServer(QStringLiteral("tzbackend"),
                                    secure ? QWebSocketServer::SecureMode : QWebSocketServer::NonSecureMode, this);
    if (secure) {
        QSslConfiguration tls;
        if (m_options.certificateFile.isEmpty() || m_options.keyFile.isEmpty()) {
            *error = QStringLiteral("TLS 需要同时给出证书和私钥（--tls-cert 与 --tls-key）");
            return false;
        }
        if (!loadTls(m_options.certificateFile, m_options.keyFile, &tls, error))
            return false;
        m_server->setSslConfiguration(tls);
    }
    m_server->setMaxPendingConnections(64);
    if (!m_server->listen(m_options.address, m_options.port)) {
        *error = QStringLiteral("无法在 %1:%2 上监听：%3")
                     .arg(m_options.address.toString())
                     .arg(m_options.port)
                     .arg(m_server->errorString());
        delete m_server;
        m_server = nullptr;
        return false;
    }
    connect(m_server, &QWebSocketServer::newConnection, this, &WebSocketServer::onNewConnection);
    connect(m_server, &QWebSocketServer::acceptError, this, [](QAbstractSocket::SocketError e) {
        qCWarning(lcServer) << "accept error" << e;
    });
    m_idleTimer = new QTimer(this);
    m_idleTimer->setInterval(qBound(1000, m_options.idleTimeoutSec * 1000 / 4, 30000));
    connect(m_idleTimer, &QTimer::timeout, this, &WebSocketServer::closeIdle);
    m_idleTimer->start();
    qCInfo(lcServer).noquote() << "listening on" << url();
    return true;
}

void WebSocketServer::close()
{
    const QList<quint64> ids = m_clients.keys();
    for (quint64 id : ids)
        drop(id, QWebSocketProtocol::CloseCodeGoingAway, QStringLiteral("server stopping"));
    if (m_server) {
        m_server->close();
        delete m_server;
        m_server = nullptr;
    }
    delete m_idleTimer;
    m_idleTimer = nullptr;
}

quint16 WebSocketServer::port() const
{
    return m_server ? m_server->serverPort() : 0;
}

QString WebSocketServer::url() const
{
    if (!m_server)
        return QString();
    const QString host = m_server->serverAddress().protocol() == QAbstractSocket::IPv6Protocol
        ? QLatin1Char('[') + m_server->serverAddress().toString() + QLatin1Char(']')
        : m_server->serverAddress().toString();
    return (m_server->secureMode() == QWebSocketServer::SecureMode ? QStringLiteral("wss://") : QStringLiteral("ws://"))
        + host + QLatin1Char(':') + QString::number(port());
}

void WebSocketServer::onNewConnection()
{
    while (QWebSocket *socket = m_server->nextPendingConnection()) {
        if (m_clients.size() >= m_options.maxConnections) {
            socket->close(QWebSocketProtocol::CloseCodeGoingAway, QStringLiteral("too many connections"));
            socket->deleteLater();
            continue;
        }
        const quint64 id = BackendService::newClientId();
        socket->setParent(this);
        socket->setMaxAllowedIncomingMessageSize(quint64(m_options.maxMessageBytes));
        socket->setMaxAllowedIncomingFrameSize(quint64(m_options.maxMessageBytes));
        Client client;
        client.socket = socket;
        client.tokens = m_options.burstRequests;
        client.lastRefillMs = client.lastFrameMs = nowMs();
        m_clients.insert(id, client);
        m_service->onRemoteClientAttached(id);
        connect(socket, &QWebSocket::binaryMessageReceived, this,
                [this, id](const QByteArray &frame) { onMessage(id, frame); });
        connect(socket, &QWebSocket::textMessageReceived, this, [this, id](const QString &) {
            drop(id, QWebSocketProtocol::CloseCodeDatatypeNotSupported, QStringLiteral("binary frames only"));
        });
        connect(socket, &QWebSocket::disconnected, this, [this, id] { onDisconnected(id); });
        qCInfo(lcServer).noquote() << "client" << id << "connected from" << socket->peerAddress().toString();
    }
}

void WebSocketServer::onMessage(quint64 clientId, const QByteArray &frame)
{
    auto it = m_clients.find(clientId);
    if (it == m_clients.end())
        return;
    const qint64 now = nowMs();
    it->lastFrameMs = now;
    if (frame.isEmpty())
        return;  // a heartbeat: the connection is alive
    // A token bucket: a burst is fine, a sustained flood closes the connection.
    it->tokens = qMin<double>(m_options.burstRequests,
                              it->tokens + (now - it->lastRefillMs) * m_options.maxRequestsPerSecond / 1000.0);
    it->lastRefillMs = now;
    if (it->tokens < 1.0) {
        drop(clientId, QWebSocketProtocol::CloseCodePolicyViolated, QStringLiteral("too many requests"));
        return;
    }
    it->tokens -= 1.0;
    m_service->onClientFrame(clientId, frame);
}

void WebSocketServer::onDisconnected(quint64 clientId)
{
    const auto it = m_clients.find(clientId);
    if (it == m_clients.end())
        return;
    if (it->socket)
        it->socket->deleteLater();
    m_clients.erase(it);
    m_service->onClientDetached(clientId);
    qCInfo(lcServer).noquote() << "client" << clientId << "disconnected";
}

void WebSocketServer::onFrameToClient(quint64 clientId, const QByteArray &frame)
{
    const auto it = m_clients.constFind(clientId);
    if (it != m_clients.cend() && it->socket)
        it->socket->sendBinaryMessage(frame);
}

void WebSocketServer::closeIdle()
{
    const qint64 limit = nowMs() - qint64(m_options.idleTimeoutSec) * 1000;
    QList<quint64> idle;
    for (auto it = m_clients.cbegin(); it != m_clients.cend(); ++it) {
        if (it->lastFrameMs < limit)
            idle.append(it.key());
    }
    for (quint64 id : qAsConst(idle))
        drop(id, QWebSocketProtocol::CloseCodeNormal, QStringLiteral("idle"));
}

void WebSocketServer::drop(quint64 clientId, int code, const QString &reason)
{
    const auto it = m_clients.find(clientId);
    if (it == m_clients.end())
        return;
    qCInfo(lcServer).noquote() << "closing client" << clientId << ":" << reason;
    QPointer<QWebSocket> socket = it->socket;
    m_clients.erase(it);
    m_service->onClientDetached(clientId);
    if (socket) {
        socket->disconnect(this);
        socket->close(QWebSocketProtocol::CloseCode(code), reason);
        socket->deleteLater();
    }
}
