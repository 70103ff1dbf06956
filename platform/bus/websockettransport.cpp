#include "websockettransport.h"

#include "cmessagecommon.h"
#include "cpackmessagecommon.h"
#include "cunpackmessagecommon.h"
#include "fieldkeys.h"
#include "msgtypes.h"

#include <QFile>
#include <QLoggingCategory>
#include <QSslConfiguration>
#include <QTimer>
#include <QWebSocket>

Q_LOGGING_CATEGORY(lcLink, "tz.bus.websocket")

namespace {
// Request ids of the transport's own logins, far above what the bus hands out.
constexpr quint64 kLoginIdBase = Q_UINT64_C(0xF000000000000000);
constexpr int kMaxBackoffMs = 30000;
}

WebSocketTransport::WebSocketTransport(const Options &options)
    : m_options(options)
{
}

WebSocketTransport::~WebSocketTransport()
{
    if (m_socket) {
        m_socket->disconnect(this);
        m_socket->abort();
    }
}

QString WebSocketTransport::describe() const
{
    return m_options.url.toString(QUrl::RemoveUserInfo);
}

void WebSocketTransport::open()
{
    m_socket = new QWebSocket(QString(), QWebSocketProtocol::VersionLatest, this);
    m_socket->setMaxAllowedIncomingMessageSize(256 * 1024 * 1024);
    if (!m_options.caFile.isEmpty()) {
        QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
        QFile file(m_options.caFile);
        if (file.open(QIODevice::ReadOnly))
            tls.addCaCertificates(QSslCertificate::fromDevice(&file, QSsl::Pem));
        else
            qCWarning(lcLink).noquote() << "cannot read CA file" << m_options.caFile << file.errorString();
        m_socket->setSslConfiguration(tls);
    }
    connect(m_socket, &QWebSocket::connected, this, &WebSocketTransport::onConnected);
    connect(m_socket, &QWebSocket::disconnected, this, &WebSocketTransport::onDisconnected);
    connect(m_socket, &QWebSocket::binaryMessageReceived, this, &WebSocketTransport::onMessage);
    m_retry = new QTimer(this);
    m_retry->setSingleShot(true);
    connect(m_retry, &QTimer::timeout, this, [this] {
        if (m_options.beforeReconnect)
            m_options.beforeReconnect(&m_options.url, &m_options.password);
        connectNow();
    });
    m_heartbeat = new QTimer(this);
    m_heartbeat->setInterval(m_options.heartbeatMs);
    connect(m_heartbeat, &QTimer::timeout, this, [this] {
        if (m_socket->state() == QAbstractSocket::ConnectedState)
            m_socket->sendBinaryMessage(QByteArray());  // keeps the session from going idle
    });
    connectNow();
}

void WebSocketTransport::connectNow()
{
    if (m_refused)
        return;
    qCInfo(lcLink).noquote() << "connecting to" << describe();
    m_socket->open(m_options.url);
}

void WebSocketTransport::onConnected()
{
    CPackMessageCommon body;
    body.AddVaule(RequestField::userID, m_options.user);
    body.AddVaule(RequestField::password, m_options.password);
    m_loginId = kLoginIdBase + (m_loginId & 0xffffffu) + 1;
    m_socket->sendBinaryMessage(
        CMessageCommon::request(m_loginId, QStringLiteral("tzapp"), MsgType::loginRequest, body.GetPackedMsg(false))
            .toWire());
}

void WebSocketTransport::onDisconnected()
{
    m_heartbeat->stop();
    const bool wasLoggedIn = m_loggedIn;
    m_loggedIn = false;
    if (m_refused)
        return;
    const QString reason = m_socket->closeReason().isEmpty() ? m_socket->errorString() : m_socket->closeReason();
    qCWarning(lcLink).noquote() << "connection to" << describe() << "lost:" << reason;
    retryLater(wasLoggedIn ? QStringLiteral("与后台的连接已断开") : QStringLiteral("无法连接后台 %1").arg(describe()));
}

void WebSocketTransport::retryLater(const QString &why)
{
    emit stateChanged(false, QStringLiteral("%1，%2 秒后重连…").arg(why).arg(m_backoffMs / 1000.0, 0, 'g', 2));
    m_retry->start(m_backoffMs);
    m_backoffMs = qMin(m_backoffMs * 2, kMaxBackoffMs);
}

void WebSocketTransport::onMessage(const QByteArray &frame)
{
    if (m_loggedIn) {
        emit frameReceived(frame);
        return;
    }
    CMessageCommon message;
    if (!message.fromWire(frame) || message.requestId() != m_loginId)
        return;  // nothing counts before the login's answer
    CUnPackMessageCommon answer;
    answer.SetUnPackMsg(message.GetMsg());
    if (answer.GetValue(RequestField::requestExeStatus).toString() != RequestExeStatus::success) {
        const QString reason = answer.GetValue(RequestField::textDescription).toString();
        m_refused = true;
        m_socket->close();
        emit stateChanged(false, QStringLiteral("后台登录失败：%1").arg(reason));
        return;
    }
    m_loggedIn = true;
    m_backoffMs = 500;
    m_heartbeat->start();
    if (!m_symbols.isEmpty()) {
        // The server forgot the lost session's subscriptions: ask again, unanswered.
        CPackMessageCommon body;
        for (const QString &symbol : qAsConst(m_symbols)) {
            body.AddRow();
            body.AddRowVaule(Security::symbol, symbol);
        }
        m_socket->sendBinaryMessage(CMessageCommon::request(0, QStringLiteral("tzapp"), MsgType::subscribeQuoteRequest,
                                                            body.GetPackedMsg(false))
                                        .toWire());
    }
    emit stateChanged(true, QStringLiteral("已连接后台 %1 · 用户 %2").arg(describe(), m_options.user));
}

void WebSocketTransport::send(const QByteArray &frame)
{
    rememberSubscription(frame);
    if (!m_loggedIn) {
        qCInfo(lcLink) << "frame of" << frame.size() << "bytes not sent: not connected";
        return;
    }
    m_socket->sendBinaryMessage(frame);
}

void WebSocketTransport::rememberSubscription(const QByteArray &frame)
{
    CMessageCommon message;
    if (!message.fromWire(frame))
        return;
    const QString type = message.GetType().toString();
    const bool subscribing = type == MsgType::subscribeQuoteRequest;
    if (!subscribing && type != MsgType::unsubscribeQuoteRequest)
        return;
    CUnPackMessageCommon body;
    if (!body.SetUnPackMsg(message.GetMsg()))
        return;
    for (const QVariantMap &row : body.rows()) {
        const QString symbol = row.value(Security::symbol).toString().trimmed();
        if (subscribing)
            m_symbols.insert(symbol);
        else
            m_symbols.remove(symbol);
    }
}
