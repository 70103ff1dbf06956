#pragma once

#include "tzplatform_global.h"
#include "transport.h"

#include <QSet>
#include <QUrl>
#include <functional>

class QTimer;
class QWebSocket;

// Talks to a tzbackend server over WebSocket (ws:// or wss://). Logs in with the user's
// name and password before it reports itself connected; when the connection drops it
// says so, tries again by itself with growing pauses (0.5 s doubling to 30 s), logs in
// again and restores the quote subscriptions of the lost session. A refused password
// ends the attempts. Lives on the bus thread like every transport.
class TZPLATFORM_EXPORT WebSocketTransport : public Transport
{
    Q_OBJECT

public:
    struct Options
    {
        QUrl url;
        QString user;
        QString password;
        QString caFile;  // PEM certificates to trust besides the system's, for wss://
        int heartbeatMs = 30000;
        // For a back end that may move (the one of a data folder, which another desk
        // takes over when the desk that ran it closes): called on the transport's thread
        // before each attempt to reconnect, it may change the address and the password.
        std::function<void(QUrl *url, QString *password)> beforeReconnect;
    };

    explicit WebSocketTransport(const Options &options);
    ~WebSocketTransport() override;

    QString describe() const override;

public slots:
    void open() override;
    void send(const QByteArray &frame) override;

private:
    void connectNow();
    void onConnected();
    void onDisconnected();
    void onMessage(const QByteArray &frame);
    void retryLater(const QString &why);
    void rememberSubscription(const QByteArray &frame);

    Options m_options;
    QWebSocket *m_socket = nullptr;
    QTimer *m_retry = nullptr;
    QTimer *m_heartbeat = nullptr;
    int m_backoffMs = 500;
    bool m_loggedIn = false;
    bool m_refused = false;
    quint64 m_loginId = 0;
    QSet<QString> m_symbols;  // subscribed quotes, restored after a reconnect
};
