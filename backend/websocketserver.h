#pragma once

#include <QHash>
#include <QHostAddress>
#include <QObject>
#include <QPointer>

class BackendService;
class QWebSocket;
class QWebSocketServer;
class QTimer;

// The back-end service offered over WebSocket: one binary message per envelope, the same
// CBOR frames as inside a process. Each connection is one client of the service, which
// must log in with a password first; a connection that sends too much, too often or
// nothing for too long is closed, without disturbing the others.
class WebSocketServer : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        QHostAddress address = QHostAddress::LocalHost;
        quint16 port = 7400;  // 0: any free port (see port())
        QString certificateFile;  // PEM; with keyFile, the server speaks wss://
        QString keyFile;
        qint64 maxMessageBytes = 16 * 1024 * 1024;
        int maxRequestsPerSecond = 200;  // sustained, per connection
        int burstRequests = 400;         // what a connection may send at once
        int idleTimeoutSec = 300;        // no frame (a heartbeat counts) for this long
        int maxConnections = 2000;
    };

    WebSocketServer(BackendService *service, const Options &options, QObject *parent = nullptr);
    ~WebSocketServer() override;

    bool listen(QString *error);
    void close();
    quint16 port() const;
    QString url() const;
    int connectionCount() const { return m_clients.size(); }

private:
    struct Client
    {
        QPointer<QWebSocket> socket;
        double tokens = 0;
        qint64 lastRefillMs = 0;
        qint64 lastFrameMs = 0;
    };

    void onNewConnection();
    void onMessage(quint64 clientId, const QByteArray &frame);
    void onDisconnected(quint64 clientId);
    void onFrameToClient(quint64 clientId, const QByteArray &frame);
    void closeIdle();
    void drop(quint64 clientId, int code, const QString &reason);

    BackendService *m_service;
    Options m_options;
    QWebSocketServer *m_server = nullptr;
    QTimer *m_idleTimer = nullptr;
    QHash<quint64, Client> m_clients;
};
