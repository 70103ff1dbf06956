// The back end as a server: WebSocket clients that must log in with a password, see only
// their own user's data, hear their own user's changes from other desks, and cannot
// disturb the server with broken, oversized or flooding traffic; and the client's
// transport against it: login, refusal, a lost link that fails requests at once, and the
// reconnect that logs in again by itself.

#include "backendservice.h"
#include "cmessagecommon.h"
#include "cpackmessagecommon.h"
#include "credentials.h"
#include "cunpackmessagecommon.h"
#include "datafolderbackend.h"
#include "embeddedbackend.h"
#include "fieldkeys.h"
#include "messagebus.h"
#include "msgtypes.h"
#include "sqlportfoliostore.h"
#include "testbackend.h"
#include "testdatabase.h"
#include "tzcore.h"
#include "websocketserver.h"
#include "websockettransport.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QScopeGuard>
#include <QSqlQuery>
#include <QTcpServer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QWebSocket>
#include <atomic>
#include <functional>
#include <memory>
#include <thread>

namespace {

const QString kPassword = QStringLiteral("correct horse 1");

// One desk over a real socket, speaking envelopes.
class Desk : public QObject
{
public:
    explicit Desk(const QString &url)
    {
        connect(&socket, &QWebSocket::binaryMessageReceived, this, [this](const QByteArray &frame) {
            CMessageCommon message;
            if (!message.fromWire(frame))
                return;
            if (message.kind() == CMessageCommon::Answer)
                answers.insert(message.requestId(), message);
            else
                events.append(message);
        });
        socket.open(QUrl(url));
        opened = QTest::qWaitFor([this] { return socket.state() == QAbstractSocket::ConnectedState; }, 5000);
    }

    quint64 send(const QString &type, const CPackMessageCommon &body)
    {
        socket.sendBinaryMessage(
            CMessageCommon::request(++lastId, QStringLiteral("desk"), type, body.GetPackedMsg(false)).toWire());
        return lastId;
    }
    // The answer's body, or an empty optional-like pair when none came in time.
    bool request(const QString &type, const CPackMessageCommon &body, CUnPackMessageCommon *answer,
                 int timeoutMs = 10000)
    {
        const quint64 id = send(type, body);
        if (!QTest::qWaitFor([&] { return answers.contains(id); }, timeoutMs))
            return false;
        answer->SetUnPackMsg(answers.take(id).GetMsg());
        return true;
    }
    static bool ok(const CUnPackMessageCommon &answer)
    {
        return answer.GetValue(RequestField::requestExeStatus).toString() == RequestExeStatus::success;
    }
    static QString text(const CUnPackMessageCommon &answer)
    {
        return answer.GetValue(RequestField::textDescription).toString();
    }
    bool login(const QString &user, const QString &password, QString *why = nullptr)
    {
        CPackMessageCommon body;
        body.AddVaule(RequestField::userID, user);
        body.AddVaule(RequestField::password, password);
        CUnPackMessageCommon answer;
        const bool answered = request(MsgType::loginRequest, body, &answer);
        if (why)
            *why = answered ? text(answer) : QStringLiteral("no answer");
        return answered && ok(answer);
    }
    bool closed() const { return socket.state() == QAbstractSocket::UnconnectedState; }

    QWebSocket socket;
    bool opened = false;
    quint64 lastId = 0;
    QHash<quint64, CMessageCommon> answers;
    QList<CMessageCommon> events;
};

CPackMessageCommon userBody(const QString &user)
{
    CPackMessageCommon body;
    body.AddVaule(RequestField::userID, user);
    return body;
}

// A user's (demo's) request to rename a portfolio.
CPackMessageCommon renameBody(const QString &number, const QString &name, const QString &user = QStringLiteral("demo"))
{
    CPackMessageCommon body = userBody(user);
    body.AddVaule(RequestField::alterType, QStringLiteral("u"));
    body.AddVaule(RequestField::portfolioNo, number);
    body.AddVaule(RequestField::portfolioName, name);
    return body;
}

} // namespace

class tst_Server : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void nothingButALoginBeforeLogin();
    void passwordsAreCheckedAndGuessingIsSlowedDown();
    void aUserReachesOnlyItsOwnData();
    void changesReachTheSameUsersOtherDesksOnly();
    void brokenOversizedAndFloodingClientsAreClosedAlone();
    void transportLogsInAndReconnectsByItself();
    void operatorAddsUsersFromTheCommandLine();
    void desksOnOneDataFolderShareTheFirstOnesBackEnd();
    void aLinkedDeskTakesOverWhenTheFirstOneCloses();
    void twoServersOnOneDatabaseKeepDesksInStep();  // and through a restart of the database
    void aCreationCutOffLeavesNothing();  // and a change cut off keeps the old lines
    void aServerKilledMidCreationLeavesNothing();

private:
    // Another server process on the same database, with a service of its own.
    struct OtherServer
    {
        explicit OtherServer(const BackendService::Options &options)
            : service(options), server(&service, [] {
                WebSocketServer::Options any;
                any.port = 0;
                return any;
            }())
        {
        }
        BackendService service;
        WebSocketServer server;
    };
    bool startOtherServer(std::unique_ptr<OtherServer> *other);
    void startServer(quint16 port = 0, WebSocketServer::Options options = {});
    void addUser(const QString &name, const QString &password);

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<TestDatabase> m_database;
    QString m_address;  // of the server's database
    std::unique_ptr<BackendService> m_service;
    std::unique_ptr<WebSocketServer> m_server;
};

void tst_Server::init()
{
    TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR));
    m_dir = std::make_unique<QTemporaryDir>();
    m_database = std::make_unique<TestDatabase>(m_dir->path());
    m_address = m_database->create(QStringLiteral("server.sqlite"));
    BackendService::Options options;
    options.databasePath = m_address;
    options.feedManualClock = true;
    m_service = std::make_unique<BackendService>(options);
    QString error;
    QVERIFY2(m_service->open(&error), qPrintable(error));
    addUser(QStringLiteral("demo"), kPassword);
    addUser(QStringLiteral("alice"), kPassword);
}

void tst_Server::cleanup()
{
    MessageBus::instance()->stop();
    m_server.reset();
    m_service.reset();
    m_database.reset();
    m_dir.reset();
}

void tst_Server::addUser(const QString &name, const QString &password)
{
    // As `tzbackend user add` does, on a second connection to the same file.
    SqlPortfolioStore store(QStringLiteral("tst-users"));
    QString error;
    qint64 id = -1;
    QVERIFY2(store.open(m_address, &error) && store.begin(&error)
                 && store.ensureUser(name, &id, &error)
                 && Credentials::setPassword(store.database(), id, password, &error) && store.commit(&error),
             qPrintable(error));
}

bool tst_Server::startOtherServer(std::unique_ptr<OtherServer> *other)
{
    BackendService::Options options;
    options.databasePath = m_address;
    options.feedManualClock = true;
    *other = std::make_unique<OtherServer>(options);
    QString error;
    if ((*other)->service.open(&error) && (*other)->server.listen(&error))
        return true;
    qWarning().noquote() << "second server:" << error;
    return false;
}

void tst_Server::startServer(quint16 port, WebSocketServer::Options options)
{
    options.port = port;
    m_server = std::make_unique<WebSocketServer>(m_service.get(), options);
    QString error;
    QVERIFY2(m_server->listen(&error), qPrintable(error));
}

void tst_Server::nothingButALoginBeforeLogin()
{
    startServer();
    Desk desk(m_server->url());
    QVERIFY(desk.opened);
    CUnPackMessageCommon answer;
    QVERIFY(desk.request(MsgType::queryPortfolioRequest, userBody(QStringLiteral("demo")), &answer));
    QVERIFY(!Desk::ok(answer));
    QCOMPARE(Desk::text(answer), QStringLiteral("请先登录"));
    CPackMessageCommon subscribe;
    subscribe.AddRow();
    subscribe.AddRowVaule(Security::symbol, QStringLiteral("600519.SH"));
    QVERIFY(desk.request(MsgType::subscribeQuoteRequest, subscribe, &answer));
    QCOMPARE(Desk::text(answer), QStringLiteral("请先登录"));
    // A login by name alone, as a desk inside the server's process may, is refused.
    QVERIFY(desk.request(MsgType::loginRequest, userBody(QStringLiteral("demo")), &answer));
    QVERIFY(!Desk::ok(answer));

    QVERIFY(desk.login(QStringLiteral("demo"), kPassword));
    QVERIFY(desk.request(MsgType::queryPortfolioRequest, userBody(QStringLiteral("demo")), &answer));
    QVERIFY2(Desk::ok(answer), qPrintable(Desk::text(answer)));
    QVERIFY(answer.GetRowCount() > 0);

    // The session ends with the connection: a new one starts logged out.
    desk.socket.close();
    QVERIFY(QTest::qWaitFor([&] { return m_server->connectionCount() == 0; }, 5000));
    Desk again(m_server->url());
    QVERIFY(again.request(MsgType::queryPortfolioRequest, userBody(QStringLiteral("demo")), &answer));
    QCOMPARE(Desk::text(answer), QStringLiteral("请先登录"));
}

void tst_Server::passwordsAreCheckedAndGuessingIsSlowedDown()
{
    // PBKDF2-HMAC-SHA256 as digests stored by earlier versions were made (Qt's
    // QPasswordDigestor gave these bytes): a change of library must not lock users out.
    QCOMPARE(Credentials::digest(QStringLiteral("correct horse"), "saltsaltsaltsalt", 120000).hash.toHex(),
             QByteArray("1d19c37072110d361064df20d6707a6085d9b9ea2dcc51f98e33dec8c321c67a"));
    startServer();
    Desk desk(m_server->url());
    QString why;
    // A wrong password, an unknown user, a user without a password and hostile names
    // all get the same answer.
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!desk.login(QStringLiteral("demo"), QStringLiteral("wrong password"), &why));
    QCOMPARE(why, QStringLiteral("用户名或密码错误"));
    const qint64 first = clock.restart();
    QVERIFY(!desk.login(QStringLiteral("demo"), QStringLiteral("wrong again!"), &why));
    const qint64 second = clock.elapsed();
    QVERIFY2(first >= 450 && second >= 950, qPrintable(QStringLiteral("%1 ms, %2 ms").arg(first).arg(second)));
    for (const QString &name : {QStringLiteral("nobody"), QStringLiteral("x' OR '1'='1"), QString(10000, QLatin1Char('n'))}) {
        QVERIFY(!desk.login(name, kPassword, &why));
        QCOMPARE(why, QStringLiteral("用户名或密码错误"));
    }
    {
        SqlPortfolioStore store(QStringLiteral("tst-nopw"));
        QString error;
        qint64 id = -1;
        QVERIFY(store.open(m_address, &error)
                && store.ensureUser(QStringLiteral("bob"), &id, &error));
    }
    QVERIFY(!desk.login(QStringLiteral("bob"), QString(), &why));
    QCOMPARE(why, QStringLiteral("用户名或密码错误"));
    // The right password still works after the failures, and the desk keeps its user.
    QVERIFY(desk.login(QStringLiteral("demo"), kPassword, &why));
    QVERIFY(!desk.login(QStringLiteral("alice"), kPassword, &why));
    QCOMPARE(why, QStringLiteral("已登录为用户demo"));
    // Short passwords are refused when set.
    QVERIFY(Credentials::passwordProblem(QStringLiteral("short")).contains(QStringLiteral("至少")));
    QVERIFY(Credentials::passwordProblem(kPassword).isEmpty());
}

void tst_Server::aUserReachesOnlyItsOwnData()
{
    startServer();
    Desk demo(m_server->url());
    QVERIFY(demo.login(QStringLiteral("demo"), kPassword));
    CUnPackMessageCommon answer;
    QVERIFY(demo.request(MsgType::queryPortfolioRequest, userBody(QStringLiteral("demo")), &answer));
    QVERIFY(answer.GetRowCount() > 0);
    const QString demosPortfolio = answer.rows().first().value(RequestField::portfolioNo).toString();

    Desk alice(m_server->url());
    QVERIFY(alice.login(QStringLiteral("alice"), kPassword));
    QVERIFY(alice.request(MsgType::queryPortfolioRequest, userBody(QStringLiteral("demo")), &answer));
    QCOMPARE(Desk::text(answer), QStringLiteral("无权访问用户demo的数据"));
    QVERIFY(alice.request(MsgType::queryPortfolioRequest, userBody(QStringLiteral("alice")), &answer));
    QVERIFY(Desk::ok(answer));
    QCOMPARE(answer.GetRowCount(), 0);
    // Another user's portfolio, by number in the header or in a row, does not exist.
    const CPackMessageCommon rename = renameBody(demosPortfolio, QStringLiteral("taken"), QStringLiteral("alice"));
    QVERIFY(alice.request(MsgType::alterPortfolioRequest, rename, &answer));
    QCOMPARE(Desk::text(answer), QStringLiteral("组合不存在：%1").arg(demosPortfolio));
    CPackMessageCommon remove = userBody(QStringLiteral("alice"));
    remove.AddRow();
    remove.AddRowVaule(RequestField::portfolioNo, demosPortfolio);
    QVERIFY(alice.request(MsgType::deletePortfolioRequest, remove, &answer));
    QCOMPARE(Desk::text(answer), QStringLiteral("组合不存在：%1").arg(demosPortfolio));
    // Accounts: alice has none, and demo's are not offered to her.
    QVERIFY(alice.request(MsgType::queryAccountRequest, CPackMessageCommon(), &answer));
    QCOMPARE(answer.GetRowCount(), 0);
    QVERIFY(demo.request(MsgType::queryAccountRequest, CPackMessageCommon(), &answer));
    QVERIFY(answer.GetRowCount() > 0);
    // demo's portfolio is untouched.
    QVERIFY(demo.request(MsgType::queryPortfolioRequest, userBody(QStringLiteral("demo")), &answer));
    for (const QVariantMap &row : answer.rows())
        QVERIFY(row.value(RequestField::portfolioName).toString() != QLatin1String("taken"));
}

void tst_Server::changesReachTheSameUsersOtherDesksOnly()
{
    startServer();
    Desk first(m_server->url());
    Desk second(m_server->url());
    Desk other(m_server->url());
    QVERIFY(first.login(QStringLiteral("demo"), kPassword));
    QVERIFY(second.login(QStringLiteral("demo"), kPassword));
    QVERIFY(other.login(QStringLiteral("alice"), kPassword));
    CUnPackMessageCommon answer;
    QVERIFY(first.request(MsgType::queryStrategyRequest, userBody(QStringLiteral("demo")), &answer));
    QVERIFY(answer.GetRowCount() > 0);
    const QString strategy = answer.rows().first().value(RequestField::strategyNo).toString();
    CPackMessageCommon create = userBody(QStringLiteral("demo"));
    create.AddVaule(RequestField::alterType, QStringLiteral("c"));
    create.AddVaule(RequestField::strategyNo, strategy);
    create.AddVaule(RequestField::portfolioName, QStringLiteral("跨终端"));
    QVERIFY(first.request(MsgType::alterPortfolioRequest, create, &answer));
    QVERIFY2(Desk::ok(answer), qPrintable(Desk::text(answer)));
    const QString number = answer.GetValue(RequestField::portfolioNo).toString();
    // A new portfolio is announced when its lines are in.
    CPackMessageCommon noLines;
    noLines.AddVaule(RequestField::alterType, QStringLiteral("c"));
    noLines.AddVaule(RequestField::portfolioNo, number);
    noLines.AddVaule(RequestField::subGroupNumber, 0);
    QVERIFY(first.request(MsgType::alterPortfolioDetailRequest, noLines, &answer));
    QVERIFY2(Desk::ok(answer), qPrintable(Desk::text(answer)));
    QVERIFY(QTest::qWaitFor([&] { return !second.events.isEmpty(); }, 5000));
    CUnPackMessageCommon event;
    event.SetUnPackMsg(second.events.first().GetMsg());
    QCOMPARE(event.GetValue(RequestField::portfolioNo).toString(), number);
    QTest::qWait(100);
    QVERIFY(first.events.isEmpty());
    QVERIFY(other.events.isEmpty());
}

void tst_Server::brokenOversizedAndFloodingClientsAreClosedAlone()
{
    WebSocketServer::Options options;
    options.maxMessageBytes = 64 * 1024;
    options.maxRequestsPerSecond = 50;
    options.burstRequests = 20;
    startServer(0, options);
    Desk good(m_server->url());
    QVERIFY(good.login(QStringLiteral("demo"), kPassword));

    // Garbage, a truncated envelope, a text frame, an oversized frame: each closes only
    // its own connection.
    const QByteArray whole = CMessageCommon::request(1, QString(), MsgType::queryPortfolioRequest,
                                                     userBody(QStringLiteral("demo")).GetPackedMsg(false))
                                 .toWire();
    const QList<std::function<void(QWebSocket &)>> abuses{
        [](QWebSocket &s) { s.sendBinaryMessage(QByteArray("\xff\x00garbage", 9)); },
        [&](QWebSocket &s) { s.sendBinaryMessage(whole.left(whole.size() / 2)); },
        [](QWebSocket &s) { s.sendTextMessage(QStringLiteral("hello")); },
        [](QWebSocket &s) { s.sendBinaryMessage(QByteArray(100 * 1024, 'x')); },
    };
    for (const auto &abuse : abuses) {
        Desk bad(m_server->url());
        QVERIFY(bad.login(QStringLiteral("demo"), kPassword));
        abuse(bad.socket);
        QVERIFY(QTest::qWaitFor([&] { return bad.closed(); }, 5000));
    }
    // A flood of requests.
    Desk flood(m_server->url());
    QVERIFY(flood.login(QStringLiteral("demo"), kPassword));
    for (int i = 0; i < 200 && !flood.closed(); ++i)
        flood.send(MsgType::queryStrategyRequest, userBody(QStringLiteral("demo")));
    QVERIFY(QTest::qWaitFor([&] { return flood.closed(); }, 5000));

    CUnPackMessageCommon answer;
    QVERIFY(good.request(MsgType::queryPortfolioRequest, userBody(QStringLiteral("demo")), &answer));
    QVERIFY(Desk::ok(answer));
    QTRY_COMPARE(m_server->connectionCount(), 1);
}

void tst_Server::transportLogsInAndReconnectsByItself()
{
    startServer();
    const quint16 port = m_server->port();
    MessageBus *bus = MessageBus::instance();
    QSignalSpy states(bus, &MessageBus::connectionStateChanged);

    // A wrong password: refused, and no more attempts.
    WebSocketTransport::Options link;
    link.url = QUrl(m_server->url());
    link.user = QStringLiteral("demo");
    link.password = QStringLiteral("not the password");
    bus->start(new WebSocketTransport(link));
    QVERIFY(states.wait(10000));
    QCOMPARE(states.last().at(0).toBool(), false);
    QCOMPARE(states.last().at(1).toString(), QStringLiteral("后台登录失败：用户名或密码错误"));
    bus->stop();

    link.password = kPassword;
    link.heartbeatMs = 200;
    states.clear();
    bus->start(new WebSocketTransport(link));
    QVERIFY(states.wait(10000));
    QVERIFY(states.last().at(0).toBool());
    auto query = [] {
        CMessageCommon message;
        message.SetSrcid(QStringLiteral("tst"));
        message.SetType(MsgType::queryPortfolioRequest);
        message.SetMsg(userBody(QStringLiteral("demo")).GetPackedMsg(false));
        QVariant reply;
        return MessageBus::instance()->request(message, reply, 3000);
    };
    int rc = -1;
    // Requests block: run them off this thread, which drives the server.
    auto askFromWorker = [&] {
        std::atomic<int> result{-1};
        std::thread worker([&] { result = query(); });
        QVERIFY(QTest::qWaitFor([&] { return result.load() != -1; }, 10000));
        worker.join();
        rc = result;
    };
    askFromWorker();
    QCOMPARE(rc, int(MessageBus::Answered));

    // The server goes away: the bus says so, and a request fails at once.
    states.clear();
    m_server.reset();
    QVERIFY(states.wait(5000));
    QCOMPARE(states.first().at(0).toBool(), false);
    QVERIFY2(states.first().at(1).toString().startsWith(QStringLiteral("与后台的连接已断开")),
             qPrintable(states.first().at(1).toString()));
    QElapsedTimer clock;
    clock.start();
    askFromWorker();
    QCOMPARE(rc, int(MessageBus::TimedOut));
    QVERIFY(clock.elapsed() < 2000);

    // It comes back on the same port: the transport logs in again by itself.
    startServer(port);
    QVERIFY(QTest::qWaitFor([&] { return bus->isConnected(); }, 15000));
    askFromWorker();
    QCOMPARE(rc, int(MessageBus::Answered));
}

void tst_Server::operatorAddsUsersFromTheCommandLine()
{
    const QString database = m_address;
    auto run = [&](const QStringList &arguments, const QByteArray &input, QString *output) {
        QProcess process;
        process.start(QStringLiteral(TZBACKEND_PATH),
                      QStringList{QStringLiteral("--db"), database, QStringLiteral("--data"),
                                  QStringLiteral(TZ_SOURCE_DATA_DIR)} + arguments);
        process.write(input);
        process.closeWriteChannel();
        if (!process.waitForFinished(20000))
            return -1;
        *output = QString::fromUtf8(process.readAllStandardOutput() + process.readAllStandardError());
        return process.exitCode();
    };
    QString output;
    const QStringList addEve{QStringLiteral("user"), QStringLiteral("add"), QStringLiteral("eve")};
    QCOMPARE(run(addEve, "short\n", &output), 1);
    QVERIFY2(output.contains(QStringLiteral("密码至少需要8个字符")), qPrintable(output));
    QCOMPARE(run({QStringLiteral("user"), QStringLiteral("add"), QStringLiteral(" eve")}, "long enough\n", &output), 1);
    QVERIFY2(output.contains(QStringLiteral("首尾不能有空白")), qPrintable(output));
    QCOMPARE(run(addEve, "eve's password\n", &output), 0);
    QVERIFY2(output.contains(QStringLiteral("用户 eve 的密码已设置")), qPrintable(output));
    QVERIFY(!output.contains(QStringLiteral("eve's password")));

    startServer();
    Desk desk(m_server->url());
    QVERIFY(desk.login(QStringLiteral("eve"), QStringLiteral("eve's password")));
    // A new password replaces the old one.
    QCOMPARE(run(addEve, "another password\n", &output), 0);
    Desk later(m_server->url());
    QVERIFY(!later.login(QStringLiteral("eve"), QStringLiteral("eve's password")));
    QVERIFY(later.login(QStringLiteral("eve"), QStringLiteral("another password")));
}

void tst_Server::desksOnOneDataFolderShareTheFirstOnesBackEnd()
{
    // The first tzapp of a data folder: its embedded back end with a local token.
    EmbeddedBackend first;
    BackendService::Options options;
    options.databasePath = m_database->create(QStringLiteral("desk.sqlite"));
    options.feedManualClock = true;
    options.localToken = EmbeddedBackend::newLocalToken();
    QString error;
    QVERIFY2(first.start(options, &error), qPrintable(error));
    const QString endpointFile = m_dir->filePath(QStringLiteral("tzapp-backend.json"));
    QVERIFY2(first.shareLocally(endpointFile, &error), qPrintable(error));
    QCOMPARE(QFile::permissions(endpointFile) & (QFileDevice::ReadGroup | QFileDevice::ReadOther),
             QFileDevice::Permissions());

    // The second reads the address and the secret and is in as its user.
    EmbeddedBackend::LocalEndpoint endpoint;
    QVERIFY2(EmbeddedBackend::readLocalEndpoint(endpointFile, &endpoint, &error), qPrintable(error));
    Desk second(endpoint.url.toString());
    Desk third(endpoint.url.toString());
    QVERIFY(second.login(QStringLiteral("demo"), endpoint.token));
    QVERIFY(third.login(QStringLiteral("demo"), endpoint.token));
    Desk stranger(endpoint.url.toString());
    QString why;
    QVERIFY(!stranger.login(QStringLiteral("demo"), endpoint.token.left(63) + QLatin1Char('x'), &why));
    QCOMPARE(why, QStringLiteral("用户名或密码错误"));

    // A rename on one desk reaches the other.
    CUnPackMessageCommon answer;
    QVERIFY(second.request(MsgType::queryPortfolioRequest, userBody(QStringLiteral("demo")), &answer));
    QVERIFY(answer.GetRowCount() > 0);
    const QString number = answer.rows().first().value(RequestField::portfolioNo).toString();
    const CPackMessageCommon rename = renameBody(number, QStringLiteral("改名"));
    QVERIFY(second.request(MsgType::alterPortfolioRequest, rename, &answer));
    QVERIFY2(Desk::ok(answer), qPrintable(Desk::text(answer)));
    QVERIFY(QTest::qWaitFor([&] { return !third.events.isEmpty(); }, 5000));

    // When the first desk closes, the address goes with it.
    first.stop();
    QVERIFY(!QFile::exists(endpointFile));
    QVERIFY(!EmbeddedBackend::readLocalEndpoint(endpointFile, &endpoint, &error));
}

void tst_Server::aLinkedDeskTakesOverWhenTheFirstOneCloses()
{
    // Three tzapps on one data folder: the first runs the back end, two desks link to it.
    BackendService::Options options;
    options.databasePath = m_database->create(QStringLiteral("desk.sqlite"));
    options.feedManualClock = true;
    DataFolderBackend first(m_dir->path(), options);
    DataFolderBackend second(m_dir->path(), options);
    DataFolderBackend third(m_dir->path(), options);
    QString error;
    QVERIFY(first.tryLock());
    QVERIFY2(first.start(&error), qPrintable(error));
    QVERIFY(!second.tryLock());
    EmbeddedBackend::LocalEndpoint endpoint;
    QVERIFY2(EmbeddedBackend::readLocalEndpoint(first.endpointFile(), &endpoint, &error), qPrintable(error));
    const auto linkOf = [&](DataFolderBackend &desk) {
        WebSocketTransport::Options link;
        link.url = endpoint.url;
        link.user = QStringLiteral("demo");
        link.password = endpoint.token;
        link.beforeReconnect = [&desk](QUrl *url, QString *token) { desk.follow(url, token); };
        return link;
    };

    // The second desk's link is on the bus thread, as in tzapp; the third's on this one.
    MessageBus *bus = MessageBus::instance();
    const auto stopBus = qScopeGuard([bus] { bus->stop(); });  // before the desks go
    bus->start(new WebSocketTransport(linkOf(second)));
    WebSocketTransport thirdLink(linkOf(third));
    bool thirdUp = false;
    QHash<quint64, CMessageCommon> thirdAnswers;
    connect(&thirdLink, &Transport::stateChanged, this, [&](bool up) { thirdUp = up; });
    connect(&thirdLink, &Transport::frameReceived, this, [&](const QByteArray &frame) {
        CMessageCommon message;
        if (message.fromWire(frame) && message.kind() == CMessageCommon::Answer)
            thirdAnswers.insert(message.requestId(), message);
    });
    thirdLink.open();
    QVERIFY(QTest::qWaitFor([&] { return bus->isConnected() && thirdUp; }, 10000));

    const QVariantMap demo{{RequestField::userID, QStringLiteral("demo")}};
    const TestBackend::Answer strategies = TestBackend::request(MsgType::queryStrategyRequest, demo);
    QVERIFY(strategies.ok);
    QVariantMap header = demo;
    header.insert(RequestField::alterType, QStringLiteral("c"));
    header.insert(RequestField::strategyNo, strategies.body.rows().first().value(RequestField::strategyNo));
    header.insert(RequestField::portfolioName, QStringLiteral("接管前"));
    const TestBackend::Answer created = TestBackend::createPortfolio(header);
    QVERIFY(created.ok);

    // The first desk closes. While this thread, and the third desk's link with it, sleeps,
    // the second takes over on the bus thread; then the third follows it.
    first.stop();
    QElapsedTimer clock;
    clock.start();
    while (!second.runsHere() && clock.elapsed() < 10000)
        QThread::msleep(20);
    QVERIFY(second.runsHere());
    QVERIFY(QTest::qWaitFor([&] { return !thirdUp; }, 5000));
    QVERIFY(QTest::qWaitFor([&] { return bus->isConnected() && thirdUp; }, 20000));
    QVERIFY(!third.runsHere());

    const auto names = [](const CUnPackMessageCommon &list) {
        QStringList names;
        for (const QVariantMap &row : list.rows())
            names << row.value(RequestField::portfolioName).toString();
        return names;
    };
    const TestBackend::Answer listed = TestBackend::request(MsgType::queryPortfolioRequest, demo);
    QVERIFY(listed.ok && names(listed.body).contains(QStringLiteral("接管前")));
    QVariantMap rename = demo;
    rename.insert(RequestField::alterType, QStringLiteral("u"));
    rename.insert(RequestField::portfolioNo, created.body.GetValue(RequestField::portfolioNo));
    rename.insert(RequestField::portfolioName, QStringLiteral("接管后"));
    QVERIFY(TestBackend::request(MsgType::alterPortfolioRequest, rename).ok);

    // The third desk lists the second's change.
    CMessageCommon query = TestBackend::message(MsgType::queryPortfolioRequest, demo);
    query.setKind(CMessageCommon::Request);
    query.setRequestId(1);
    thirdLink.send(query.toWire());
    QVERIFY(QTest::qWaitFor([&] { return thirdAnswers.contains(1); }, 5000));
    CUnPackMessageCommon answer;
    QVERIFY(answer.SetUnPackMsg(thirdAnswers.value(1).GetMsg()));
    QVERIFY(names(answer).contains(QStringLiteral("接管后")));
}

void tst_Server::twoServersOnOneDatabaseKeepDesksInStep()
{
    if (!TestDatabase::onPostgres())
        QSKIP("two servers share a PostgreSQL database only");
    startServer();
    // A second server process on the same database, with a service of its own.
    std::unique_ptr<OtherServer> other;
    QVERIFY(startOtherServer(&other));
    Desk here(m_server->url());
    Desk there(other->server.url());
    Desk stranger(other->server.url());
    QVERIFY(here.login(QStringLiteral("demo"), kPassword));
    QVERIFY(there.login(QStringLiteral("demo"), kPassword));
    QVERIFY(stranger.login(QStringLiteral("alice"), kPassword));
    CUnPackMessageCommon answer;
    QVERIFY(here.request(MsgType::queryPortfolioRequest, userBody(QStringLiteral("demo")), &answer));
    const QString number = answer.rows().first().value(RequestField::portfolioNo).toString();
    const auto rename = [&](Desk &desk, const QString &name) {
        CUnPackMessageCommon renamed;
        if (!desk.request(MsgType::alterPortfolioRequest, renameBody(number, name), &renamed))
            return QStringLiteral("no answer");
        return Desk::ok(renamed) ? QString() : Desk::text(renamed);
    };
    const auto namesOn = [&](Desk &desk) {
        QStringList names;
        if (desk.request(MsgType::queryPortfolioRequest, userBody(QStringLiteral("demo")), &answer)) {
            for (const QVariantMap &row : answer.rows())
                names << row.value(RequestField::portfolioName).toString();
        }
        return names;
    };

    QCOMPARE(rename(here, QStringLiteral("另一台服务器")), QString());
    QVERIFY(QTest::qWaitFor([&] { return !there.events.isEmpty(); }, 2000));
    CUnPackMessageCommon event;
    event.SetUnPackMsg(there.events.first().GetMsg());
    QCOMPARE(event.GetValue(RequestField::portfolioNo).toString(), number);
    QCOMPARE(there.events.first().GetType().toInt(), PORTFOLIO_NEW_OR_UPDATE);
    // The desk that made the change hears nothing back, nor does another user.
    QTest::qWait(200);
    QVERIFY(here.events.isEmpty());
    QVERIFY(stranger.events.isEmpty());
    // And the other server answers with the new name.
    QVERIFY(namesOn(there).contains(QStringLiteral("另一台服务器")));

    // The database restarted between two requests: the next one meets the dead
    // connection, which is opened again, and goes through as if nothing happened.
    if (!TestDatabase::controlServer(QStringLiteral("restart")))
        QSKIP("no PostgreSQL cluster this run may restart (run through tests/backend/run_pg.sh)");
    QCOMPARE(rename(here, QStringLiteral("重启之后")), QString());

    // Down: a request waits a few seconds for the database, within the desks' time-out,
    // and is then told plainly.
    QVERIFY(TestDatabase::controlServer(QStringLiteral("stop")));
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(rename(here, QStringLiteral("停机")), QStringLiteral("数据库连接中断，正在重新连接，请稍后重试"));
    QVERIFY2(clock.elapsed() >= 2500 && clock.elapsed() < 5000, qPrintable(QString::number(clock.elapsed())));

    // Back within that wait: the requests held meanwhile go through in order, and both
    // servers listen again to each other.
    const quint64 first = there.send(MsgType::alterPortfolioRequest, renameBody(number, QStringLiteral("等待中")));
    QTest::qWait(300);
    QVERIFY(TestDatabase::controlServer(QStringLiteral("start")));
    QCOMPARE(rename(here, QStringLiteral("恢复之后")), QString());
    QVERIFY(QTest::qWaitFor([&] { return there.answers.contains(first); }, 5000));
    CUnPackMessageCommon held;
    held.SetUnPackMsg(there.answers.value(first).GetMsg());
    QVERIFY2(Desk::ok(held), qPrintable(Desk::text(held)));
    here.events.clear();
    QCOMPARE(rename(there, QStringLiteral("再次恢复")), QString());
    QVERIFY(QTest::qWaitFor([&] { return !here.events.isEmpty(); }, 5000));
    const QStringList names = namesOn(here);
    QVERIFY2(names.contains(QStringLiteral("再次恢复")), qPrintable(names.join(QLatin1Char(','))));
    QVERIFY(!names.contains(QStringLiteral("停机")));
}

void tst_Server::aCreationCutOffLeavesNothing()
{
    startServer();
    Desk watcher(m_server->url());
    QVERIFY(watcher.login(QStringLiteral("demo"), kPassword));
    CUnPackMessageCommon answer;
    QVERIFY(watcher.request(MsgType::queryStrategyRequest, userBody(QStringLiteral("demo")), &answer));
    const QString strategy = answer.rows().first().value(RequestField::strategyNo).toString();
    const auto header = [&](const QString &name) {
        CPackMessageCommon body = userBody(QStringLiteral("demo"));
        body.AddVaule(RequestField::alterType, QStringLiteral("c"));
        body.AddVaule(RequestField::strategyNo, strategy);
        body.AddVaule(RequestField::portfolioName, name);
        return body;
    };
    const auto lines = [](const QString &number) {
        CPackMessageCommon body;
        body.AddVaule(RequestField::alterType, QStringLiteral("c"));
        body.AddVaule(RequestField::portfolioNo, number);
        body.AddRow();
        body.AddRowVaule({{RequestField::securityID, QStringLiteral("600519")},
                          {RequestField::securityExchange, QStringLiteral("SH")},
                          {RequestField::side, QStringLiteral("1")},
                          {RequestField::tradeQty, 100}});
        body.AddVaule(RequestField::subGroupNumber, 1);
        return body;
    };
    const auto listed = [&](const QString &name) {
        CUnPackMessageCommon all;
        if (!watcher.request(MsgType::queryPortfolioRequest, userBody(QStringLiteral("demo")), &all))
            return -1;
        int count = 0;
        for (const QVariantMap &row : all.rows())
            count += row.value(RequestField::portfolioName).toString() == name;
        return count;
    };

    // Cut after the header's answer: nobody saw it, and it is gone with the connection.
    {
        Desk desk(m_server->url());
        QVERIFY(desk.login(QStringLiteral("demo"), kPassword));
        QVERIFY(desk.request(MsgType::alterPortfolioRequest, header(QStringLiteral("断在表头后")), &answer));
        QVERIFY2(Desk::ok(answer), qPrintable(Desk::text(answer)));
        const QString number = answer.GetValue(RequestField::portfolioNo).toString();
        QCOMPARE(listed(QStringLiteral("断在表头后")), 0);
        // Another desk cannot put lines into it either.
        QVERIFY(watcher.request(MsgType::alterPortfolioDetailRequest, lines(number), &answer));
        QCOMPARE(Desk::text(answer), QStringLiteral("组合不存在：%1").arg(number));
        desk.socket.abort();
    }
    // Cut before the header's answer came back.
    {
        Desk desk(m_server->url());
        QVERIFY(desk.login(QStringLiteral("demo"), kPassword));
        desk.send(MsgType::alterPortfolioRequest, header(QStringLiteral("断在应答前")));
        desk.socket.flush();
        desk.socket.abort();
    }
    QTRY_COMPARE(m_server->connectionCount(), 1);
    QCOMPARE(listed(QStringLiteral("断在表头后")), 0);
    QCOMPARE(listed(QStringLiteral("断在应答前")), 0);
    QVERIFY(watcher.events.isEmpty());

    // Both names are free again, and a whole creation is listed and announced once its
    // lines are in.
    Desk desk(m_server->url());
    QVERIFY(desk.login(QStringLiteral("demo"), kPassword));
    int announced = 0;
    for (const QString &name : {QStringLiteral("断在表头后"), QStringLiteral("断在应答前")}) {
        QVERIFY(desk.request(MsgType::alterPortfolioRequest, header(name), &answer));
        QVERIFY2(Desk::ok(answer), qPrintable(Desk::text(answer)));
        const QString number = answer.GetValue(RequestField::portfolioNo).toString();
        QCOMPARE(listed(name), 0);
        QCOMPARE(watcher.events.size(), announced);
        QVERIFY(desk.request(MsgType::alterPortfolioDetailRequest, lines(number), &answer));
        QVERIFY2(Desk::ok(answer), qPrintable(Desk::text(answer)));
        QCOMPARE(listed(name), 1);
        ++announced;
        QTRY_COMPARE(watcher.events.size(), announced);
    }

    // A change cut between clearing the lines and sending the new ones keeps the old, and
    // the header sent in between waits for them: cut, it is gone too.
    {
        QVERIFY(watcher.request(MsgType::queryPortfolioRequest, userBody(QStringLiteral("demo")), &answer));
        QString number;
        for (const QVariantMap &row : answer.rows()) {
            if (row.value(RequestField::portfolioName).toString() == QStringLiteral("断在表头后"))
                number = row.value(RequestField::portfolioNo).toString();
        }
        Desk changer(m_server->url());
        QVERIFY(changer.login(QStringLiteral("demo"), kPassword));
        CPackMessageCommon clear;
        clear.AddVaule(RequestField::portfolioNo, number);
        QVERIFY(changer.request(MsgType::deletePortfolioDetailRequest, clear, &answer));
        QVERIFY2(Desk::ok(answer), qPrintable(Desk::text(answer)));
        const CPackMessageCommon rename = renameBody(number, QStringLiteral("改名未完"));
        QVERIFY(changer.request(MsgType::alterPortfolioRequest, rename, &answer));
        QVERIFY2(Desk::ok(answer), qPrintable(Desk::text(answer)));
        changer.socket.abort();
        QTRY_COMPARE(m_server->connectionCount(), 2);
        const auto kept = [&] {
            QPair<QString, int> nameAndLines;
            if (watcher.request(MsgType::queryPortfolioRequest, userBody(QStringLiteral("demo")), &answer)) {
                for (const QVariantMap &row : answer.rows()) {
                    if (row.value(RequestField::portfolioNo).toString() == number)
                        nameAndLines = {row.value(RequestField::portfolioName).toString(),
                                        row.value(RequestField::details).toList().size()};
                }
            }
            return nameAndLines;
        };
        QCOMPARE(kept(), qMakePair(QStringLiteral("断在表头后"), 1));
        QCOMPARE(watcher.events.size(), announced);

        // Complete, header and lines arrive together, announced once.
        Desk finisher(m_server->url());
        QVERIFY(finisher.login(QStringLiteral("demo"), kPassword));
        for (const auto &step : {qMakePair(MsgType::deletePortfolioDetailRequest, clear),
                                 qMakePair(MsgType::alterPortfolioRequest, rename)}) {
            QVERIFY(finisher.request(step.first, step.second, &answer));
            QVERIFY2(Desk::ok(answer), qPrintable(Desk::text(answer)));
        }
        QCOMPARE(kept(), qMakePair(QStringLiteral("断在表头后"), 1));
        CPackMessageCommon twoLines = lines(number);
        twoLines.AddRow();
        twoLines.AddRowVaule({{RequestField::securityID, QStringLiteral("000001")},
                              {RequestField::securityExchange, QStringLiteral("SZ")},
                              {RequestField::side, QStringLiteral("1")},
                              {RequestField::tradeQty, 200}});
        twoLines.AddVaule(RequestField::subGroupNumber, 2);
        QVERIFY(finisher.request(MsgType::alterPortfolioDetailRequest, twoLines, &answer));
        QVERIFY2(Desk::ok(answer), qPrintable(Desk::text(answer)));
        QCOMPARE(kept(), qMakePair(QStringLiteral("改名未完"), 2));
        QTRY_COMPARE(watcher.events.size(), announced + 1);
    }

    // A server killed between a header and its lines: the next start on the file drops
    // the creation (on PostgreSQL, which other servers share, one older than ten minutes).
    if (TestDatabase::onPostgres())
        return;
    const CMessageCommon cut = CMessageCommon::request(1, QString(), MsgType::alterPortfolioRequest,
                                                       header(QStringLiteral("断在进程被杀时")).GetPackedMsg(false));
    m_service->onClientFrame(BackendService::newClientId(), cut.toWire());  // a desk inside, never detached
    m_server.reset();
    m_service.reset();
    const auto stored = [&] {
        SqlPortfolioStore store(QStringLiteral("tst-count"));
        QString error;
        if (!store.open(m_address, &error))
            return -1;
        QSqlQuery query(store.database());
        query.prepare(QStringLiteral("SELECT COUNT(*) FROM portfolios WHERE portfolio_name = ?"));
        query.addBindValue(QStringLiteral("断在进程被杀时"));
        return query.exec() && query.next() ? query.value(0).toInt() : -1;
    };
    QCOMPARE(stored(), 1);
    BackendService::Options options;
    options.databasePath = m_address;
    options.feedManualClock = true;
    BackendService restarted(options);
    QString error;
    QVERIFY2(restarted.open(&error), qPrintable(error));
    QCOMPARE(stored(), 0);
}

void tst_Server::aServerKilledMidCreationLeavesNothing()
{
    if (TestDatabase::onPostgres())
        QSKIP("on PostgreSQL a cut-off creation goes after ten minutes, when other servers may share it");
    // The database the test set up belongs to the real server process from here on.
    m_service.reset();
    const QStringList common{QStringLiteral("--db"), m_address, QStringLiteral("--data"),
                             QStringLiteral(TZ_SOURCE_DATA_DIR)};
    const auto startServerProcess = [&](QProcess &process, quint16 port) {
        process.start(QStringLiteral(TZBACKEND_PATH),
                      common + QStringList{QStringLiteral("--listen"), QStringLiteral("127.0.0.1:%1").arg(port)});
        QByteArray said;
        return process.waitForStarted(10000) && QTest::qWaitFor([&] {
                   said += process.readAllStandardOutput();
                   return said.contains("listening on");
               }, 20000);
    };
    QTcpServer probe;
    QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
    const quint16 port = probe.serverPort();
    probe.close();
    QProcess server;
    QVERIFY(startServerProcess(server, port));
    const QString url = QStringLiteral("ws://127.0.0.1:%1").arg(port);
    {
        Desk desk(url);
        QVERIFY(desk.login(QStringLiteral("demo"), kPassword));
        CUnPackMessageCommon answer;
        QVERIFY(desk.request(MsgType::queryStrategyRequest, userBody(QStringLiteral("demo")), &answer));
        CPackMessageCommon header = userBody(QStringLiteral("demo"));
        header.AddVaule(RequestField::alterType, QStringLiteral("c"));
        header.AddVaule(RequestField::strategyNo, answer.rows().first().value(RequestField::strategyNo));
        header.AddVaule(RequestField::portfolioName, QStringLiteral("进程被杀"));
        QVERIFY(desk.request(MsgType::alterPortfolioRequest, header, &answer));
        QVERIFY2(Desk::ok(answer), qPrintable(Desk::text(answer)));
        server.kill();  // SIGKILL: no goodbye to anyone
        QVERIFY(server.waitForFinished(10000));
    }
    const auto stored = [&] {
        SqlPortfolioStore store(QStringLiteral("tst-killed"));
        QString error;
        if (!store.open(m_address, &error))
            return -1;
        QSqlQuery query(store.database());
        query.prepare(QStringLiteral("SELECT COUNT(*) FROM portfolios WHERE portfolio_name = ?"));
        query.addBindValue(QStringLiteral("进程被杀"));
        return query.exec() && query.next() ? query.value(0).toInt() : -1;
    };
    QCOMPARE(stored(), 1);  // the header is there, unlisted
    QProcess again;
    QVERIFY(startServerProcess(again, port));
    QCOMPARE(stored(), 0);
    again.terminate();
    QVERIFY(again.waitForFinished(10000));
}

QTEST_GUILESS_MAIN(tst_Server)
#include "tst_server.moc"
