// The detail page with a 5,000-line portfolio, on the embedded back end with the feed's
// clock stopped (so that no record arrives unasked): the GUI thread's time from the
// list's click event to the painted table, and one live refresh of all 5,000 lines
// (every price moved) to the painted cells. Painting is measured on its own too.

#include "guibenchmain.h"
#include "pagefixture.h"

#include "portfoliodetailmodel.h"
#include "portfoliodetailpresenterclass.h"
#include "portfoliodetailwidget.h"
#include "securitycatalog.h"

#include <QElapsedTimer>
#include <benchmark/benchmark.h>
#include <memory>

namespace {

constexpr int kLines = 5000;
const QString kLarge = QStringLiteral("T950000");
const QString kSmall = QStringLiteral("T950001");

struct LargePortfolio
{
    LargePortfolio()
    {
        if (!backend.ready()) {
            failure = QStringLiteral("back end not ready");
            return;
        }
        PortfolioListBasicInfo::GetInstance()->clear();
        PortfolioQuoteMgr::GetInstance()->clear();
        for (const SecurityInfo &s : SecurityCatalog::instance().all()) {
            if (!s.delisted && !s.suspended && s.markets.size() == 1 && securities.size() < size_t(kLines))
                securities.push_back(&s);
        }
        QList<PortfolioItem> items;
        for (int i = 0; i < kLines; ++i) {
            const SecurityInfo &s = *securities[size_t(i) % securities.size()];
            PortfolioItem item;
            item.setSymbol(s.symbol);
            item.setSymbolName(s.name);
            item.setSymbolExchange(s.markets.first());
            item.setSide(QStringLiteral("买入"));
            item.setQuantity(100 * (1 + i % 30));
            items << item;
        }
        if (!store(kLarge, QStringLiteral("五千行组合"), items) || !store(kSmall, QStringLiteral("小组合"), items.mid(0, 5))) {
            failure = QStringLiteral("the store refused the portfolios");
            return;
        }
        page = std::make_unique<PortfolioDetailWidget>();
        page->setPluginInstanceID(QStringLiteral("TZApp.PortfolioDetail#1"));
        page->resize(1100, 700);
        page->initPluginWidget();
        page->show();
        QCoreApplication::processEvents();
    }
    ~LargePortfolio()
    {
        page.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    static bool store(const QString &no, const QString &name, const QList<PortfolioItem> &items)
    {
        PortfolioDetailBasicInfo p;
        p.setPortfolioNo(no);
        p.setName(name);
        p.setSymbolList(items);
        p.CalculateWeight();
        return PortfolioListBasicInfo::GetInstance()->AddPortfolioDetail(p) == 0;
    }
    void click(const QString &no) const
    {
        page->presenter()->deliverEvent(QStringLiteral("presenter-list"), PORTFOLIO_CLICKED,
                                        packed({{RequestField::portfolioNo, no}}));
    }
    // One record per line's security, every price a little off the previous round's.
    QList<QVariantMap> records(int round) const
    {
        QList<QVariantMap> out;
        out.reserve(int(securities.size()));
        for (size_t i = 0; i < securities.size(); ++i) {
            const SecurityInfo &s = *securities[i];
            const double pre = s.preClosePx > 0 ? s.preClosePx : 10.0;
            const double last = pre * (1.0 + 0.001 * double((round + int(i)) % 40 - 20));
            out.append({{Security::symbol, s.symbol},
                        {Security::lastPx, last},
                        {Security::preClosePx, pre},
                        {Security::upperLimitPx, s.limitRatio > 0 ? pre * (1 + s.limitRatio) : 0.0},
                        {Security::lowerLimitPx, s.limitRatio > 0 ? pre * (1 - s.limitRatio) : 0.0},
                        {Security::suspended, false},
                        {Security::mdTime, qint64(1763700000000) + round}});
        }
        return out;
    }

    TestBackend backend{QStringLiteral("demo"), true, 3000, true};
    MsgBoxRecorder boxes;
    std::vector<const SecurityInfo *> securities;
    std::unique_ptr<PortfolioDetailWidget> page;
    QString failure;
};

// What the event loop does next: the view's delayed layout after a reset or a new sort,
// then the window's update request, which paints what was marked. Nothing else is under
// way (the feed's clock stands still).
void paintPending(QWidget *window)
{
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(window, QEvent::UpdateRequest);
}

std::unique_ptr<LargePortfolio> g_fixture;

LargePortfolio &fixture()
{
    if (!g_fixture)
        g_fixture = std::make_unique<LargePortfolio>();
    return *g_fixture;
}

// The list's click event to the table painted with the 5,000 lines.
void BM_DetailShow5000AfterClick(benchmark::State &state)
{
    LargePortfolio &f = fixture();
    if (!f.failure.isEmpty()) {
        state.SkipWithError(qPrintable(f.failure));
        return;
    }
    double paintMs = 0;
    for (auto _ : state) {
        f.click(kSmall);
        paintPending(f.page.get());
        f.page->presenter()->flushSubscriptions();
        QElapsedTimer clock;
        clock.start();
        f.click(kLarge);
        const qint64 shownNs = clock.nsecsElapsed();
        paintPending(f.page.get());
        const qint64 totalNs = clock.nsecsElapsed();
        paintMs += double(totalNs - shownNs) / 1e6;
        state.SetIterationTime(double(totalNs) / 1e9);
        if (f.page->model()->rowCount() != kLines) {
            state.SkipWithError("the page does not show the 5,000 lines");
            return;
        }
    }
    state.counters["of_which_paint_ms"] = paintMs / double(state.iterations());
}
BENCHMARK(BM_DetailShow5000AfterClick)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(20);

// One refresh with a new price for every line: quotes into the lines, the header's
// figures, the changed cells announced and painted.
void liveRefresh(benchmark::State &state, int sortColumn)
{
    LargePortfolio &f = fixture();
    if (!f.failure.isEmpty()) {
        state.SkipWithError(qPrintable(f.failure));
        return;
    }
    f.click(kLarge);
    f.page->table()->sortByColumn(sortColumn, Qt::DescendingOrder);
    paintPending(f.page.get());
    int round = 0;
    double paintMs = 0;
    for (auto _ : state) {
        f.page->presenter()->deliverMarketRecords(f.records(++round));
        QElapsedTimer clock;
        clock.start();
        f.page->refreshNow();
        const qint64 appliedNs = clock.nsecsElapsed();
        paintPending(f.page.get());
        const qint64 totalNs = clock.nsecsElapsed();
        paintMs += double(totalNs - appliedNs) / 1e6;
        state.SetIterationTime(double(totalNs) / 1e9);
    }
    state.counters["of_which_paint_ms"] = paintMs / double(state.iterations());
    f.page->table()->sortByColumn(-1, Qt::AscendingOrder);
}

void BM_DetailLiveRefresh5000(benchmark::State &state)
{
    liveRefresh(state, -1);
}
BENCHMARK(BM_DetailLiveRefresh5000)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(50);

// The same, sorted by change rate: every refresh sorts the rows again.
void BM_DetailLiveRefresh5000Sorted(benchmark::State &state)
{
    liveRefresh(state, PortfolioDetailModel::ColChangeRate);
}
BENCHMARK(BM_DetailLiveRefresh5000Sorted)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(50);

// The presenter's share as 5,000 records arrive (between refreshes, in batches).
void BM_DetailRecords5000(benchmark::State &state)
{
    LargePortfolio &f = fixture();
    if (!f.failure.isEmpty()) {
        state.SkipWithError(qPrintable(f.failure));
        return;
    }
    f.click(kLarge);
    int round = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const QList<QVariantMap> records = f.records(++round);
        state.ResumeTiming();
        f.page->presenter()->deliverMarketRecords(records);
        state.PauseTiming();
        f.page->presenter()->takeQuotes();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kLines);
}
BENCHMARK(BM_DetailRecords5000)->Unit(benchmark::kMillisecond)->Iterations(20);

} // namespace

int main(int argc, char **argv)
{
    return runGuiBenchmarks(argc, argv, [] { g_fixture.reset(); });
}
