#pragma once

// A real back end for tests: the embedded service on its own thread with a SQLite file in
// a temporary folder (or a schema of its own on PostgreSQL, see TestDatabase), and the
// client's message bus connected to it and logged in. With TZ_TEST_TRANSPORT=websocket
// in the environment the bus reaches the service over a loopback WebSocket, as a second
// desk on the same data folder does, instead of inside the process: the same tests then
// try the network transport.

#include "cbusinessdatabase.h"
#include "cmessagecommon.h"
#include "cpackmessagecommon.h"
#include "cunpackmessagecommon.h"
#include "embeddedbackend.h"
#include "fieldkeys.h"
#include "inprocesstransport.h"
#include "messagebus.h"
#include "msgtypes.h"
#include "testdatabase.h"
#include "tzcore.h"
#include "websockettransport.h"

#include <QMutex>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

class TestBackend
{
public:
    // quoteIntervalMs: how often the feed sends each subscribed symbol's record; with
    // manualFeedClock the feed's clock never moves, so no quote ever comes.
    explicit TestBackend(const QString &user = QStringLiteral("demo"), bool seed = true,
                         int quoteIntervalMs = 3000, bool manualFeedClock = false)
    {
        TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR));
        TzCore::setUserDataDir(m_dir.path());
        TzCore::setSettingsFile(m_dir.filePath(QStringLiteral("settings.ini")));
        CBusinessDataBase::GetInstance()->SetLoginAccount(user);
        BackendService::Options options;
        options.databasePath = m_database.create(QStringLiteral("backend.sqlite"));
        options.seedDemo = seed;
        options.quoteIntervalMs = quoteIntervalMs;
        options.feedManualClock = manualFeedClock;
        const bool overSocket = qEnvironmentVariable("TZ_TEST_TRANSPORT") == QLatin1String("websocket");
        if (overSocket)
            options.localToken = EmbeddedBackend::newLocalToken();
        QString error;
        m_started = m_backend.start(options, &error);
        if (!m_started)
            qWarning() << "TestBackend: back end did not start:" << error;
        if (overSocket && m_started)
            m_started = connectOverSocket(user);
        else
            MessageBus::instance()->start(new InProcessTransport(m_backend.service(), m_backend.newClientId()));
        m_loggedIn = request(MsgType::loginRequest, {{RequestField::userID, user}}).ok;
        // As the host does after its login: the user's accounts, the first one current.
        if (m_loggedIn) {
            CBusinessDataBase::GetInstance()->SetCurrentFundAccount(QString());
            m_accountsLoaded = CBusinessDataBase::GetInstance()->LoadAccountList(QStringLiteral("test")) == QLatin1String("0");
        }
    }
    ~TestBackend()
    {
        MessageBus::instance()->stop();
        m_backend.stop();
        // The settings are written out now, while their folder exists, and later use
        // goes to one file of the process that is removed when the process ends:
        // nothing is left in the temporary folder.
        TzCore::setSettingsFile(QCoreApplication::instance() ? processSettingsFile() : QString());
    }

    static QString processSettingsFile()
    {
        static QTemporaryDir dir;
        return dir.filePath(QStringLiteral("settings.ini"));
    }

    bool ready() const { return m_started && m_loggedIn; }
    bool accountsLoaded() const { return m_accountsLoaded; }
    BackendService *service() const { return m_backend.service(); }
    FaultInjector &faults() const { return m_backend.service()->faults(); }
    QString path(const QString &name) const { return m_dir.filePath(name); }
    static void setTimeoutMs(int ms)
    {
        TzCore::settings()->setValue(QStringLiteral("Platform/RequestTimeoutMs"), ms);
    }

    struct Answer
    {
        int rc = -1;
        bool ok = false;
        CUnPackMessageCommon body;
    };
    static CMessageCommon message(const QString &type, const QVariantMap &header,
                                  const QList<QVariantMap> &rows = {})
    {
        CPackMessageCommon pack;
        for (auto it = header.cbegin(); it != header.cend(); ++it)
            pack.AddVaule(it.key(), it.value());
        for (const QVariantMap &row : rows) {
            pack.AddRow();
            pack.AddRowVaule(row);
        }
        CMessageCommon message;
        message.SetSrcid(QStringLiteral("test"));
        message.SetType(type);
        message.SetMsg(pack.GetPackedMsg(false));
        return message;
    }

    // Another desk's client sends a request straight to the service (its answer goes to
    // that client id, which no bus of this process listens to).
    void sendAsOtherDesk(quint64 clientId, const QString &type, const QVariantMap &header,
                         const QList<QVariantMap> &rows = {}) const
    {
        CMessageCommon request = message(type, header, rows);
        request.setRequestId(1);
        QMetaObject::invokeMethod(service(), "onClientFrame", Qt::QueuedConnection,
                                  Q_ARG(quint64, clientId), Q_ARG(QByteArray, request.toWire()));
    }

    // The same, waiting for the answer that goes to that client id.
    Answer requestAsOtherDesk(quint64 clientId, const QString &type, const QVariantMap &header,
                              const QList<QVariantMap> &rows = {}) const
    {
        struct Inbox
        {
            QMutex mutex;
            QByteArray frame;
        };
        auto inbox = std::make_shared<Inbox>();
        const QMetaObject::Connection heard = QObject::connect(
            service(), &BackendService::frameToClient, service(),
            [inbox, clientId](quint64 to, const QByteArray &frame) {
                CMessageCommon message;
                if (to == clientId && message.fromWire(frame) && message.kind() == CMessageCommon::Answer) {
                    QMutexLocker lock(&inbox->mutex);
                    inbox->frame = frame;
                }
            },
            Qt::DirectConnection);
        sendAsOtherDesk(clientId, type, header, rows);
        Answer answer;
        const bool came = QTest::qWaitFor([&] {
            QMutexLocker lock(&inbox->mutex);
            return !inbox->frame.isEmpty();
        }, MessageBus::defaultTimeoutMs());
        QObject::disconnect(heard);
        CMessageCommon message;
        if (came && message.fromWire(inbox->frame) && answer.body.SetUnPackMsg(message.GetMsg())) {
            answer.rc = 0;
            answer.ok = answer.body.GetValue(RequestField::requestExeStatus).toString() == RequestExeStatus::success;
        }
        return answer;
    }
    // A portfolio created as a desk creates one: the header, then its lines (none), by
    // this client or by another desk's.
    static Answer createPortfolio(const QVariantMap &header)
    {
        const Answer created = request(MsgType::alterPortfolioRequest, header);
        if (created.ok)
            request(MsgType::alterPortfolioDetailRequest, completion(created));
        return created;
    }
    Answer createAsOtherDesk(quint64 clientId, const QVariantMap &header) const
    {
        const Answer created = requestAsOtherDesk(clientId, MsgType::alterPortfolioRequest, header);
        if (created.ok)
            sendAsOtherDesk(clientId, MsgType::alterPortfolioDetailRequest, completion(created));
        return created;
    }
    static QVariantMap completion(const Answer &created)
    {
        return {{RequestField::alterType, QStringLiteral("c")},
                {RequestField::portfolioNo, created.body.GetValue(RequestField::portfolioNo)},
                {RequestField::subGroupNumber, 0}};
    }

    // Sends one request with these header fields and optional rows through the bus.
    static Answer request(const QString &type, const QVariantMap &header,
                          const QList<QVariantMap> &rows = {})
    {
        CMessageCommon message = TestBackend::message(type, header, rows);
        QVariant reply;
        Answer answer;
        answer.rc = MessageBus::instance()->request(message, reply, MessageBus::defaultTimeoutMs());
        if (answer.rc == 0 && answer.body.SetUnPackMsg(reply))
            answer.ok = answer.body.GetValue(RequestField::requestExeStatus).toString()
                == RequestExeStatus::success;
        return answer;
    }

private:
    bool connectOverSocket(const QString &user)
    {
        const QString endpointFile = m_dir.filePath(QStringLiteral("tzapp-backend.json"));
        EmbeddedBackend::LocalEndpoint endpoint;
        QString error;
        if (!m_backend.shareLocally(endpointFile, &error)
            || !EmbeddedBackend::readLocalEndpoint(endpointFile, &endpoint, &error)) {
            qWarning() << "TestBackend: no WebSocket link:" << error;
            return false;
        }
        WebSocketTransport::Options link;
        link.url = endpoint.url;
        link.user = user;
        link.password = endpoint.token;
        MessageBus::instance()->start(new WebSocketTransport(link));
        return QTest::qWaitFor([] { return MessageBus::instance()->isConnected(); }, 10000);
    }

    QTemporaryDir m_dir;
    TestDatabase m_database{m_dir.path()};
    EmbeddedBackend m_backend;
    bool m_started = false;
    bool m_loggedIn = false;
    bool m_accountsLoaded = false;
};
