// Load generator for a shared back end: starts a real tzbackend server process on a fresh
// database, connects N simulated desks of one user over loopback WebSocket and lets each
// load the book, subscribe 300 symbols and send one mixed request a second (create a
// 200-line portfolio, rename it, change its lines, delete it). Prints throughput, request
// latency (p50, p99), how long a change takes to reach the other desks (p50, p99), and
// the server's memory with the desks working and with 1,000 idle desks logged in.
// Usage: loadgen TZBACKEND [desks, default 100] [seconds, default 20] [--db URL] [--restart-db-at S] [--no-idle]

#include "cmessagecommon.h"
#include "cpackmessagecommon.h"
#include "cunpackmessagecommon.h"
#include "fieldkeys.h"
#include "msgtypes.h"
#include "securitycatalog.h"
#include "tzcore.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTimer>
#include <QWebSocket>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

const QString kUser = QStringLiteral("load");
const QString kPassword = QStringLiteral("load-generator");

qint64 now(const QElapsedTimer &clock)
{
    return clock.nsecsElapsed() / 1000;  // microseconds
}

double percentile(std::vector<qint64> values, double p)
{
    if (values.empty())
        return 0.0;
    std::sort(values.begin(), values.end());
    const size_t index = std::min(values.size() - 1, size_t(p * double(values.size())));
    return double(values[index]) / 1000.0;
}

qint64 residentKiB(qint64 pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

struct Stats
{
    std::vector<qint64> latency;      // request sent to answer, us
    std::vector<qint64> propagation;  // change sent to another desk's notice, us
    QHash<QString, qint64> changeSent;  // portfolio number -> when its last change was sent
    int failures = 0;
    QString firstFailure;
};

// One desk: a socket, its pending requests, and its round of changes.
class Desk : public QObject
{
public:
    Desk(int index, const QUrl &url, const QStringList &symbols, const QElapsedTimer &clock, Stats &stats)
        : m_index(index)
        , m_symbols(symbols)
        , m_clock(clock)
        , m_stats(stats)
    {
        connect(&m_socket, &QWebSocket::binaryMessageReceived, this, &Desk::onFrame);
        m_socket.open(url);
    }

    bool connected() const { return m_socket.state() == QAbstractSocket::ConnectedState; }
    bool loggedIn() const { return m_loggedIn; }
    bool ready() const { return m_ready; }
    void login()
    {
        CPackMessageCommon body;
        body.AddVaule(RequestField::userID, kUser);
        body.AddVaule(RequestField::password, kPassword);
        send(MsgType::loginRequest, body, [this](const CUnPackMessageCommon &) {
            m_loggedIn = true;
            loadBook();
        }, false);
    }
    // One request of the round; called once a second.
    void tick()
    {
        if (!m_ready || m_busy)
            return;
        m_busy = true;
        switch (m_step++ % 4) {
        case 0: create(); break;
        case 1: rename(); break;
        case 2: alterLines(); break;
        default: remove(); break;
        }
    }

private:
    using Done = std::function<void(const CUnPackMessageCommon &)>;

    void send(const QString &type, const CPackMessageCommon &body, Done done, bool measured = true)
    {
        const QByteArray frame =
            CMessageCommon::request(++m_lastId, QStringLiteral("loadgen"), type, body.GetPackedMsg(false)).toWire();
        m_pending.insert(m_lastId, {now(m_clock), measured, std::move(done)});
        m_socket.sendBinaryMessage(frame);
    }
    CPackMessageCommon userBody() const
    {
        CPackMessageCommon body;
        body.AddVaule(RequestField::userID, kUser);
        return body;
    }
    void loadBook()
    {
        send(MsgType::queryPortfolioRequest, userBody(), [this](const CUnPackMessageCommon &) {
            CPackMessageCommon subscribe;
            for (int i = 0; i < 300; ++i) {
                subscribe.AddRow();
                subscribe.AddRowVaule(Security::symbol, m_symbols.at((m_index * 37 + i) % m_symbols.size()));
            }
            send(MsgType::subscribeQuoteRequest, subscribe, [this](const CUnPackMessageCommon &) {
                send(MsgType::queryStrategyRequest, userBody(), [this](const CUnPackMessageCommon &answer) {
                    m_strategy = answer.rows().value(0).value(RequestField::strategyNo).toString();
                    m_ready = true;
                }, false);
            }, false);
        }, false);
    }
    CPackMessageCommon linesBody(const QString &alterType, int quantityBase) const
    {
        CPackMessageCommon body;
        body.AddVaule(RequestField::alterType, alterType);
        body.AddVaule(RequestField::portfolioNo, m_portfolio);
        for (int i = 0; i < 200; ++i) {
            const QString symbol = m_symbols.at((m_index * 11 + i) % m_symbols.size());
            body.AddRow();
            body.AddRowVaule({{RequestField::securityID, symbol.section(QLatin1Char('.'), 0, 0)},
                              {RequestField::securityExchange, symbol.section(QLatin1Char('.'), 1)},
                              {RequestField::side, QStringLiteral("1")},
                              {RequestField::tradeQty, quantityBase + 100 * (i % 7)},
                              {RequestField::positionWeight, 1.0}});
        }
        body.AddVaule(RequestField::subGroupNumber, 200);
        return body;
    }
    void markChange() { m_stats.changeSent.insert(m_portfolio, now(m_clock)); }
    void create()
    {
        CPackMessageCommon header = userBody();
        header.AddVaule(RequestField::alterType, QStringLiteral("c"));
        header.AddVaule(RequestField::strategyNo, m_strategy);
        header.AddVaule(RequestField::portfolioName, QStringLiteral("负载%1-%2").arg(m_index).arg(m_step));
        header.AddVaule(RequestField::portfolioExtensionDescription, QStringLiteral("{}"));
        send(MsgType::alterPortfolioRequest, header, [this](const CUnPackMessageCommon &answer) {
            m_portfolio = answer.GetValue(RequestField::portfolioNo).toString();
            markChange();  // announced with its lines
            send(MsgType::alterPortfolioDetailRequest, linesBody(QStringLiteral("c"), 100),
                 [this](const CUnPackMessageCommon &) { m_busy = false; });
        });
    }
    void rename()
    {
        CPackMessageCommon body = userBody();
        body.AddVaule(RequestField::alterType, QStringLiteral("u"));
        body.AddVaule(RequestField::portfolioNo, m_portfolio);
        body.AddVaule(RequestField::portfolioName, QStringLiteral("负载%1-%2改").arg(m_index).arg(m_step));
        markChange();
        send(MsgType::alterPortfolioRequest, body, [this](const CUnPackMessageCommon &) { m_busy = false; });
    }
    void alterLines()
    {
        markChange();
        send(MsgType::alterPortfolioDetailRequest, linesBody(QStringLiteral("u"), 200),
             [this](const CUnPackMessageCommon &) { m_busy = false; });
    }
    void remove()
    {
        CPackMessageCommon body = userBody();
        body.AddRow();
        body.AddRowVaule(RequestField::portfolioNo, m_portfolio);
        body.AddVaule(RequestField::subGroupNumber, 1);
        markChange();
        send(MsgType::deletePortfolioRequest, body, [this](const CUnPackMessageCommon &) { m_busy = false; });
    }

    void onFrame(const QByteArray &frame)
    {
        CMessageCommon message;
        if (!message.fromWire(frame))
            return;
        if (message.kind() == CMessageCommon::Event) {
            CUnPackMessageCommon body;
            body.SetUnPackMsg(message.GetMsg());
            const auto sent = m_stats.changeSent.constFind(body.GetValue(RequestField::portfolioNo).toString());
            if (sent != m_stats.changeSent.cend())
                m_stats.propagation.push_back(now(m_clock) - *sent);
            return;
        }
        if (message.kind() != CMessageCommon::Answer)
            return;  // market records
        const auto pending = m_pending.find(message.requestId());
        if (pending == m_pending.end())
            return;
        const Pending request = *pending;
        m_pending.erase(pending);
        if (request.measured)
            m_stats.latency.push_back(now(m_clock) - request.sentUs);
        CUnPackMessageCommon answer;
        answer.SetUnPackMsg(message.GetMsg());
        if (answer.GetValue(RequestField::requestExeStatus).toString() != RequestExeStatus::success) {
            if (m_stats.failures++ == 0)
                m_stats.firstFailure = answer.GetValue(RequestField::textDescription).toString();
            m_busy = false;
            return;
        }
        request.done(answer);
    }

    struct Pending
    {
        qint64 sentUs = 0;
        bool measured = true;
        Done done;
    };

    int m_index;
    const QStringList &m_symbols;
    const QElapsedTimer &m_clock;
    Stats &m_stats;
    QWebSocket m_socket;
    quint64 m_lastId = 0;
    QHash<quint64, Pending> m_pending;
    bool m_loggedIn = false;
    bool m_ready = false;
    bool m_busy = false;
    int m_step = 0;
    QString m_strategy;
    QString m_portfolio;
};

bool waitFor(const std::function<bool()> &done, int timeoutMs)
{
    QElapsedTimer clock;
    clock.start();
    // Sleep in the event loop until something happens; the timer wakes it to look at
    // done(). Polling without waiting would make the generator eat a core of its own.
    QTimer wake;
    wake.start(20);
    while (!done() && clock.elapsed() < timeoutMs)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return done();
}

quint16 freePort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    return probe.serverPort();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 2) {
        fprintf(stderr, "usage: loadgen TZBACKEND [desks] [seconds] [--db URL] [--restart-db-at S] [--no-idle]\n");
        return 2;
    }
    const QString backend = args.at(1);
    const int desks = args.value(2, QStringLiteral("100")).toInt();
    const int seconds = args.value(3, QStringLiteral("20")).toInt();
    QTemporaryDir dir;
    const int dbAt = args.indexOf(QStringLiteral("--db"));
    const QString database = dbAt > 0 ? args.value(dbAt + 1) : dir.filePath(QStringLiteral("load.sqlite"));
    TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR));

    QProcess user;
    user.start(backend, {QStringLiteral("--db"), database, QStringLiteral("--data"), QStringLiteral(TZ_SOURCE_DATA_DIR),
                         QStringLiteral("user"), QStringLiteral("add"), kUser});
    user.write(kPassword.toUtf8() + '\n');
    user.closeWriteChannel();
    if (!user.waitForFinished(30000) || user.exitCode() != 0) {
        fprintf(stderr, "loadgen: user add failed: %s\n", user.readAllStandardError().constData());
        return 1;
    }
    const quint16 port = freePort();
    QProcess server;
    server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    server.start(backend, {QStringLiteral("--db"), database, QStringLiteral("--data"), QStringLiteral(TZ_SOURCE_DATA_DIR),
                           QStringLiteral("--listen"), QStringLiteral("127.0.0.1:%1").arg(port)});
    QByteArray said;
    if (!server.waitForStarted()
        || !waitFor([&] { return (said += server.readAllStandardOutput()).contains("listening on"); }, 30000)) {
        fprintf(stderr, "loadgen: tzbackend did not start: %s %s\n", qPrintable(server.errorString()), said.constData());
        return 1;
    }
    const QUrl url(QStringLiteral("ws://127.0.0.1:%1").arg(port));

    QStringList symbols;
    for (const SecurityInfo &s : SecurityCatalog::instance().all()) {
        if (!s.suspended && !s.delisted && s.preClosePx > 0 && s.markets.size() == 1
            && (s.symbol.endsWith(QLatin1String(".SH")) || s.symbol.endsWith(QLatin1String(".SZ"))))
            symbols.append(s.symbol);
    }
    QElapsedTimer clock;
    clock.start();
    Stats stats;
    std::vector<std::unique_ptr<Desk>> working;
    for (int i = 0; i < desks; ++i)
        working.push_back(std::make_unique<Desk>(i, url, symbols, clock, stats));
    const auto all = [&](bool (Desk::*state)() const) {
        return std::all_of(working.begin(), working.end(), [&](const auto &d) { return (d.get()->*state)(); });
    };
    if (!waitFor([&] { return all(&Desk::connected); }, 30000)) {
        fprintf(stderr, "loadgen: not every desk connected\n");
        return 1;
    }
    for (auto &desk : working)
        desk->login();
    // Each login is a PBKDF2 digest on the server's pool: allow for it.
    if (!waitFor([&] { return all(&Desk::ready); }, 60000 + desks * 500)) {
        fprintf(stderr, "loadgen: not every desk logged in and loaded (%d failures: %s)\n", stats.failures,
                qPrintable(stats.firstFailure));
        return 1;
    }
    stats.latency.clear();
    stats.propagation.clear();
    fprintf(stderr, "loadgen: %d desks logged in, working for %d s\n", desks, seconds);

    // Every desk sends one request a second, spread over the second.
    QTimer pace;
    int slot = 0;
    pace.setInterval(qMax(1, 1000 / qMax(1, desks)));
    QObject::connect(&pace, &QTimer::timeout, [&] { working[size_t(slot++ % desks)]->tick(); });
    const qint64 started = clock.elapsed();
    // --restart-db-at S: the PostgreSQL cluster of this run (run_pg.sh names it) restarts
    // S seconds into the work, under the desks' requests.
    const int restartAt = args.indexOf(QStringLiteral("--restart-db-at"));
    QProcess restart;
    if (restartAt > 0) {
        const QStringList cluster = qEnvironmentVariable("TZ_TEST_PG_CLUSTER").split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (cluster.size() != 2) {
            fprintf(stderr, "loadgen: --restart-db-at needs the cluster of tests/backend/run_pg.sh\n");
            return 2;
        }
        QTimer::singleShot(args.value(restartAt + 1).toInt() * 1000, &restart, [&restart, cluster] {
            restart.start(QStringLiteral("pg_ctlcluster"), {cluster.at(0), cluster.at(1), QStringLiteral("restart")});
        });
    }
    pace.start();
    waitFor([] { return false; }, seconds * 1000);
    pace.stop();
    waitFor([] { return false; }, 1500);  // the last answers and notices
    const double elapsed = double(clock.elapsed() - started) / 1000.0;
    const qint64 workingRss = residentKiB(server.processId());

    // Idle desks: each logged in, with its book loaded and 300 symbols subscribed, as a
    // screen left open. A login is a PBKDF2 digest on the server's pool: this takes a while.
    working.clear();
    const int failures = stats.failures;
    const QString firstFailure = stats.firstFailure;
    waitFor([] { return false; }, 500);
    const bool withIdle = restartAt < 0 && !args.contains(QStringLiteral("--no-idle"));
    if (withIdle)
        fprintf(stderr, "loadgen: logging in 1,000 idle desks\n");
    std::vector<std::unique_ptr<Desk>> idle;
    for (int i = 0; i < (withIdle ? 1000 : 0); ++i)
        idle.push_back(std::make_unique<Desk>(desks + i, url, symbols, clock, stats));
    const bool idleConnected = withIdle && waitFor([&] {
        return std::all_of(idle.begin(), idle.end(), [](const auto &d) { return d->connected(); });
    }, 60000);
    for (auto &desk : idle)
        desk->login();
    const bool idleReady = idleConnected && waitFor([&] {
        return std::all_of(idle.begin(), idle.end(), [](const auto &d) { return d->ready(); });
    }, 300000);
    waitFor([] { return false; }, 3000);
    const qint64 idleRss = idleReady ? residentKiB(server.processId()) : -1;
    idle.clear();

    printf("desks: %d of one user, %.0f s, server on %s%s\n", desks, elapsed,
           dbAt > 0 ? "PostgreSQL" : "SQLite",
           restartAt > 0 ? qPrintable(QStringLiteral(", restarted after %1 s (%2)")
                                          .arg(args.value(restartAt + 1),
                                               restart.exitStatus() == QProcess::NormalExit && restart.exitCode() == 0
                                                   ? QStringLiteral("done") : QStringLiteral("failed")))
                         : "");
    printf("throughput: %.0f requests/s answered (%d failed%s%s)\n", double(stats.latency.size()) / elapsed,
           failures, failures ? ": " : "", qPrintable(firstFailure));
    printf("request latency: p50 %.1f ms, p99 %.1f ms\n", percentile(stats.latency, 0.5),
           percentile(stats.latency, 0.99));
    printf("change to the other desks: p50 %.1f ms, p99 %.1f ms (%zu notices)\n",
           percentile(stats.propagation, 0.5), percentile(stats.propagation, 0.99), stats.propagation.size());
    if (idleRss < 0)
        printf("server resident memory: %lld MiB with the desks working; the 1,000 idle desks did not all log in\n",
               workingRss / 1024);
    else
        printf("server resident memory: %lld MiB with the desks working, %lld MiB with 1,000 idle desks logged in\n",
               workingRss / 1024, idleRss / 1024);
    server.terminate();
    server.waitForFinished(10000);
    return 0;
}
