// Quote manager hot paths: storing quotes as they arrive, and the live figures of a
// large book of portfolios as the list recomputes them every 2 seconds.

#include "portfolioquotemgr.h"
#include "securitycatalog.h"
#include "tzcore.h"

#include <QCoreApplication>
#include <benchmark/benchmark.h>
#include <vector>

namespace {

std::vector<const SecurityInfo *> tradable()
{
    std::vector<const SecurityInfo *> list;
    for (const SecurityInfo &s : SecurityCatalog::instance().all()) {
        if (!s.delisted)
            list.push_back(&s);
    }
    return list;
}

TzPortfolioQuote quoteFor(const SecurityInfo &s, int tick)
{
    TzPortfolioQuote q;
    q.Symbol = s.symbol;
    q.PreClosePx = s.preClosePx;
    q.LastPx = s.preClosePx * (1.0 + 0.001 * (tick % 50 - 25));
    q.UpperLimitPx = s.limitRatio > 0 ? s.preClosePx * (1 + s.limitRatio) : 0.0;
    q.LowerLimitPx = s.limitRatio > 0 ? s.preClosePx * (1 - s.limitRatio) : 0.0;
    q.Suspended = s.suspended;
    return q;
}

void BM_UpdateQuote(benchmark::State &state)
{
    const auto securities = tradable();
    std::vector<TzPortfolioQuote> quotes;
    for (size_t i = 0; i < securities.size(); ++i)
        quotes.push_back(quoteFor(*securities[i], int(i)));
    PortfolioQuoteMgr *mgr = PortfolioQuoteMgr::GetInstance();
    size_t i = 0;
    for (auto _ : state) {
        const TzPortfolioQuote &q = quotes[i];
        mgr->UpdateQuote(q.Symbol, q);
        if (++i == quotes.size())
            i = 0;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_UpdateQuote);

void BM_CalculateExtraInfo_1000x200(benchmark::State &state)
{
    const auto securities = tradable();
    PortfolioQuoteMgr *mgr = PortfolioQuoteMgr::GetInstance();
    for (size_t i = 0; i < securities.size(); ++i)
        mgr->UpdateQuote(securities[i]->symbol, quoteFor(*securities[i], int(i)));

    std::vector<PortfolioDetailBasicInfo> book(1000);
    for (size_t p = 0; p < book.size(); ++p) {
        QList<PortfolioItem> items;
        for (size_t l = 0; l < 200; ++l) {
            PortfolioItem item;
            item.setSymbol(securities[(p * 37 + l * 13) % securities.size()]->symbol);
            item.setQuantity(100 * qint64(1 + l % 9));
            items.append(item);
        }
        book[p].setPortfolioNo(QString::number(p + 1));
        book[p].setSymbolList(items);
    }
    PortfolioDetailExtraInfo extra;
    for (auto _ : state) {
        for (PortfolioDetailBasicInfo &p : book)
            mgr->CalculateExtraInfo(p, extra);
        benchmark::DoNotOptimize(extra);
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(BM_CalculateExtraInfo_1000x200)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
