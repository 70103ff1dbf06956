// What changes made elsewhere cost the window, with a book of 10,000 portfolios on the
// embedded back end: the GUI thread's share of one change notice and of a burst of 100
// (the fetch itself runs on a worker), and the longest stall of the GUI thread while
// "刷新" reloads the whole book.
//
// The GUI thread's share is the time it spends delivering events (summed over the
// operation, and its longest single delivery for the stall), plus the direct calls the
// benchmark makes on that thread. The work the
// window does anyway, whatever changes (the list's 2-second figures, the feed's quotes),
// is switched off, so that the figures are the change's own.

#include "guibenchmain.h"
#include "pagefixture.h"

#include "securitycatalog.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QThread>
#include <QTimer>
#include <benchmark/benchmark.h>
#include <memory>

namespace {

constexpr int kBook = 10000;
constexpr int kLines = 20;

// The application, timing every event it delivers on the GUI thread from the event loop
// (timers, queued signals, answers of workers, painting): outermost deliveries only, so
// nested ones are not counted twice.
class MeteredApplication : public QApplication
{
public:
    using QApplication::QApplication;

    bool notify(QObject *receiver, QEvent *event) override
    {
        if (QThread::currentThread() != thread())
            return QApplication::notify(receiver, event);
        if (m_depth++ > 0) {
            const bool handled = QApplication::notify(receiver, event);
            --m_depth;
            return handled;
        }
        QElapsedTimer clock;
        clock.start();
        const bool handled = QApplication::notify(receiver, event);
        --m_depth;
        add(clock.nsecsElapsed());
        return handled;
    }
    void add(qint64 ns)
    {
        busyNs += ns;
        longestNs = qMax(longestNs, ns);
    }

    qint64 busyNs = 0;
    qint64 longestNs = 0;

private:
    int m_depth = 0;
};

// Busy time of the GUI thread from start() on: the events it handled, plus the direct
// calls the benchmark makes on it.
class GuiBusyMeter
{
public:
    void start()
    {
        app()->busyNs = 0;
        app()->longestNs = 0;
    }
    template <typename F>
    void direct(F &&work)
    {
        QElapsedTimer t;
        t.start();
        work();
        app()->add(t.nsecsElapsed());
    }
    // Runs the event loop until done() holds (or 30 s pass); false on time-out. The loop
    // sleeps while nothing is to be done; a 5 ms timer looks at done().
    template <typename Done>
    bool runUntil(Done &&done)
    {
        QEventLoop loop;
        QTimer poll;
        poll.setInterval(5);
        QElapsedTimer limit;
        limit.start();
        bool finished = done();
        QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
            finished = done();
            if (finished || limit.elapsed() > 30000)
                loop.quit();
        });
        if (!finished) {
            poll.start();
            loop.exec();
        }
        return finished;
    }
    double busyMs() const { return double(app()->busyNs) / 1e6; }
    double longestMs() const { return double(app()->longestNs) / 1e6; }

private:
    static MeteredApplication *app() { return static_cast<MeteredApplication *>(QCoreApplication::instance()); }
};

// The demo user's book grown to 10,000 portfolios of 20 lines, written into the back
// end's database before the page opens.
bool growBook(const QString &databasePath, QString *error)
{
    std::vector<const SecurityInfo *> securities;
    for (const SecurityInfo &s : SecurityCatalog::instance().all()) {
        if (!s.delisted && s.markets.size() == 1)
            securities.push_back(&s);
    }
    bool ok = false;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("bench-book"));
        db.setDatabaseName(databasePath);
        QSqlQuery q(db);
        ok = db.open() && db.transaction()
            && q.exec(QStringLiteral("SELECT u.id, s.id FROM users u JOIN strategies s ON s.user_id = u.id"
                                     " WHERE u.user_name = 'demo' LIMIT 1"))
            && q.next();
        const qint64 user = ok ? q.value(0).toLongLong() : 0, strategy = ok ? q.value(1).toLongLong() : 0;
        QSqlQuery portfolio(db), line(db);
        portfolio.prepare(QStringLiteral("INSERT INTO portfolios (portfolio_no, user_id, strategy_id, portfolio_name,"
                                         " default_basket_size, created_at, sort_order) VALUES (?, ?, ?, ?, 1, ?, ?)"));
        line.prepare(QStringLiteral("INSERT INTO portfolio_lines (portfolio_id, line_no, security_id, security_exchange,"
                                    " side, trade_qty) VALUES (?, ?, ?, ?, '买入', ?)"));
        for (int p = 0; ok && p < kBook; ++p) {
            portfolio.addBindValue(QString::number(900001 + p));
            portfolio.addBindValue(user);
            portfolio.addBindValue(strategy);
            portfolio.addBindValue(QStringLiteral("大组合%1").arg(p));
            portfolio.addBindValue(QStringLiteral("2026-11-23T09:30:00.000Z"));
            portfolio.addBindValue(1000000 + p);
            ok = portfolio.exec();
            const qint64 id = portfolio.lastInsertId().toLongLong();
            for (int l = 0; ok && l < kLines; ++l) {
                const SecurityInfo *s = securities[size_t(p * 37 + l * 11) % securities.size()];
                line.addBindValue(id);
                line.addBindValue(l + 1);
                line.addBindValue(s->code);
                line.addBindValue(s->markets.first());
                line.addBindValue(100 * (l + 1));
                ok = line.exec();
            }
        }
        if (!ok)
            *error = portfolio.lastError().text() + line.lastError().text() + db.lastError().text();
        ok = ok && db.commit();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("bench-book"));
    return ok;
}

struct BigBook
{
    BigBook()
    {
        QString error;
        if (!backend.ready() || !growBook(backend.path(QStringLiteral("backend.sqlite")), &error)) {
            failure = QStringLiteral("book not ready: ") + error;
            return;
        }
        PortfolioListBasicInfo::GetInstance()->clear();
        page = std::make_unique<PortfoliosListWidget>();
        page->setPluginInstanceID(QStringLiteral("TZApp.PortfoliosList#1"));
        page->resize(1000, 600);
        page->initPluginWidget();
        page->show();
        for (QTimer *timer : page->list()->findChildren<QTimer *>()) {
            if (timer->interval() == 2000)
                timer->stop();  // the list's figures
        }
        table = page->findChild<TzTableView *>(QStringLiteral("tableWidget"));
        if (table->recordModel()->rowCount() < kBook)
            failure = QStringLiteral("the page holds %1 portfolios").arg(table->recordModel()->rowCount());
    }
    ~BigBook()
    {
        page.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    QString nameOf(const QString &no) const
    {
        const int row = table->getRowByKey(no);
        return row < 0 ? QString() : table->getRowData(row).value(0).value(RecordRole::display).toString();
    }
    // Renamed on the back end where no notice reaches this client.
    bool renameBehindTheBack(const QString &no, const QString &name) const
    {
        return TestBackend::request(MsgType::alterPortfolioRequest,
                                    {{RequestField::alterType, QStringLiteral("u")},
                                     {RequestField::userID, QStringLiteral("demo")},
                                     {RequestField::portfolioNo, no},
                                     {RequestField::portfolioName, name},
                                     {RequestField::portfolioExtensionDescription, QStringLiteral("{}")}})
            .ok;
    }
    void notice(const QString &no) const
    {
        CPackMessageCommon body;
        body.AddVaule(RequestField::portfolioNo, no);
        page->presenter()->deliverEvent(QStringLiteral("backend"), PORTFOLIO_NEW_OR_UPDATE, body.GetPackedMsg(false));
    }

    TestBackend backend{QStringLiteral("demo"), true, 24 * 3600 * 1000};
    MsgBoxRecorder boxes;
    std::unique_ptr<PortfoliosListWidget> page;
    TzTableView *table = nullptr;
    QString failure;
};

// One book for all the benchmarks: growing it takes seconds.
std::unique_ptr<BigBook> g_book;

BigBook &book()
{
    if (!g_book)
        g_book = std::make_unique<BigBook>();
    return *g_book;
}

// Notices for `count` portfolios changed elsewhere, until their rows show the change.
void noticeBurst(benchmark::State &state, int count)
{
    BigBook &b = book();
    if (!b.failure.isEmpty()) {
        state.SkipWithError(qPrintable(b.failure));
        return;
    }
    GuiBusyMeter meter;
    static int round = 0;  // new names in every repetition too
    double wallMs = 0;
    for (auto _ : state) {
        ++round;
        QStringList numbers;
        for (int i = 0; i < count; ++i) {
            const QString no = QString::number(900001 + (round * 131 + i * 97) % kBook);
            if (numbers.contains(no) || !b.renameBehindTheBack(no, QStringLiteral("改%1-%2").arg(round).arg(i))) {
                state.SkipWithError("rename on the back end failed");
                return;
            }
            numbers << no;
        }
        QElapsedTimer wall;
        wall.start();
        meter.start();
        meter.direct([&] {
            for (const QString &no : qAsConst(numbers))
                b.notice(no);
        });
        const bool done = meter.runUntil([&] {
            for (int i = 0; i < count; ++i) {
                if (b.nameOf(numbers.at(i)) != QStringLiteral("改%1-%2").arg(round).arg(i))
                    return false;
            }
            return true;
        });
        wallMs += double(wall.nsecsElapsed()) / 1e6;
        if (!done) {
            state.SkipWithError("the rows did not follow the notices");
            return;
        }
        state.SetIterationTime(meter.busyMs() / 1000.0);
    }
    state.counters["wall_ms"] = wallMs / double(state.iterations());
}

void BM_NoticeGuiCost_10000(benchmark::State &state)
{
    noticeBurst(state, 1);
}
BENCHMARK(BM_NoticeGuiCost_10000)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(20);

void BM_NoticeBurst100GuiCost_10000(benchmark::State &state)
{
    noticeBurst(state, 100);
}
BENCHMARK(BM_NoticeBurst100GuiCost_10000)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(5);

// "刷新" with 10,000 portfolios: the longest time the GUI thread does not come back to
// its event loop (the iteration time), with the whole GUI-thread share as a counter.
void BM_RefreshLongestStall_10000(benchmark::State &state)
{
    BigBook &b = book();
    if (!b.failure.isEmpty()) {
        state.SkipWithError(qPrintable(b.failure));
        return;
    }
    GuiBusyMeter meter;
    double busy = 0;
    static int round = 0;
    for (auto _ : state) {
        const QString no = QString::number(900001 + (++round * 7919) % kBook);
        const QString name = QStringLiteral("刷新后%1").arg(round);
        if (!b.renameBehindTheBack(no, name)) {
            state.SkipWithError("rename on the back end failed");
            return;
        }
        meter.start();
        meter.direct([&] { b.page->list()->slotBtnRefreshClicked(); });
        if (!meter.runUntil([&] { return !b.page->presenter()->isRefreshing() && b.nameOf(no) == name; })) {
            state.SkipWithError("the refresh did not finish");
            return;
        }
        busy += meter.busyMs();
        state.SetIterationTime(meter.longestMs() / 1000.0);
    }
    state.counters["gui_busy_ms"] = busy / double(state.iterations());
}
BENCHMARK(BM_RefreshLongestStall_10000)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(5);

} // namespace

int main(int argc, char **argv)
{
    return runGuiBenchmarks<MeteredApplication>(argc, argv, [] { g_book.reset(); });
}
