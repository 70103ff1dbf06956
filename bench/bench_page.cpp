// Hot paths of the portfolio page: market records through the presenter to the quote
// signal, the list's 2-second refresh of a large book, and filling the table.

#include "guibenchmain.h"
#include "cpackmessagecommon.h"
#include "cunpackmessagecommon.h"
#include "fieldkeys.h"
#include "portfolioslist.h"
#include "portfolioslistpresenterclass.h"
#include "portfoliolistbasicinfo.h"
#include "portfolioquotemgr.h"
#include "securitycatalog.h"
#include "tzcore.h"
#include "tztableview.h"

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

namespace {

std::vector<const SecurityInfo *> tradable()
{
    std::vector<const SecurityInfo *> list;
    for (const SecurityInfo &s : SecurityCatalog::instance().all()) {
        if (!s.delisted && !s.suspended)
            list.push_back(&s);
    }
    return list;
}

QVariantMap record(const SecurityInfo &s, int tick)
{
    const double last = s.preClosePx * (1.0 + 0.001 * (tick % 40 - 20));
    return {{Security::symbol, s.symbol},
            {Security::lastPx, last},
            {Security::preClosePx, s.preClosePx},
            {Security::bidPx1, last - 0.01},
            {Security::askPx1, last + 0.01},
            {Security::upperLimitPx, s.preClosePx * (1 + s.limitRatio)},
            {Security::lowerLimitPx, s.preClosePx * (1 - s.limitRatio)},
            {Security::suspended, false},
            {Security::mdTime, qint64(1763700000000) + tick}};
}

// Records as the bus receives them: one CBOR body of a level-1 batch.
void BM_QuotePath_BusToQuoteSignal(benchmark::State &state)
{
    const auto securities = tradable();
    CPackMessageCommon body;
    const int batch = 1000;
    for (int i = 0; i < batch; ++i) {
        body.AddRow();
        body.AddRowVaule(record(*securities[size_t(i) % securities.size()], i));
    }
    const QVariant packed = body.GetPackedMsg(false);
    PortfoliosListPresenterClass presenter;
    qint64 emitted = 0;
    QObject::connect(&presenter, &PortfoliosListPresenterClass::quotationInfoUpdate,
                     [&emitted](TzPortfolioQuote) { ++emitted; });
    for (auto _ : state) {
        CUnPackMessageCommon unpack;  // the bus thread's share of the work
        unpack.SetUnPackMsg(packed);
        presenter.deliverMarketRecords(unpack.rows());  // the presenter's share
    }
    if (emitted != qint64(state.iterations()) * batch)
        state.SkipWithError("not every record reached quotationInfoUpdate");
    state.SetItemsProcessed(state.iterations() * batch);
}
BENCHMARK(BM_QuotePath_BusToQuoteSignal)->Unit(benchmark::kMillisecond);

// The presenter's share alone (records already decoded by the bus thread).
void BM_QuotePath_PresenterHandler(benchmark::State &state)
{
    const auto securities = tradable();
    QList<QVariantMap> records;
    for (int i = 0; i < 1000; ++i)
        records.append(record(*securities[size_t(i) % securities.size()], i));
    PortfoliosListPresenterClass presenter;
    for (auto _ : state)
        presenter.deliverMarketRecords(records);
    state.SetItemsProcessed(state.iterations() * records.size());
}
BENCHMARK(BM_QuotePath_PresenterHandler)->Unit(benchmark::kMillisecond);

void fillStore(int portfolios, int lines)
{
    const auto securities = tradable();
    PortfolioListBasicInfo *store = PortfolioListBasicInfo::GetInstance();
    store->clear();
    for (int p = 0; p < portfolios; ++p) {
        PortfolioDetailBasicInfo detail;
        detail.setPortfolioNo(QString::number(100001 + p));
        detail.setName(QStringLiteral("组合%1").arg(p));
        detail.setDefaultNum(1000);
        detail.setCreateDate(QDateTime::currentDateTime());
        QList<PortfolioItem> items;
        for (int l = 0; l < lines; ++l) {
            PortfolioItem item;
            const SecurityInfo *s = securities[size_t(p * 31 + l * 7) % securities.size()];
            item.setSymbol(s->symbol);
            item.setSymbolName(s->name);
            item.setSymbolExchange(s->markets.first());
            item.setQuantity(100 * (1 + l % 9));
            items.append(item);
        }
        detail.setSymbolList(items);
        store->AddPortfolioDetail(detail);
    }
}

void quoteAll(int tick)
{
    PortfolioQuoteMgr *quotes = PortfolioQuoteMgr::GetInstance();
    for (const SecurityInfo *s : tradable()) {
        TzPortfolioQuote q;
        q.Symbol = s->symbol;
        q.PreClosePx = s->preClosePx;
        q.LastPx = s->preClosePx * (1.0 + 0.001 * ((tick + int(qHash(s->symbol))) % 40 - 20));
        q.UpperLimitPx = s->preClosePx * (1 + s->limitRatio);
        q.LowerLimitPx = s->preClosePx * (1 - s->limitRatio);
        quotes->UpdateQuote(q.Symbol, q);
    }
}

void BM_ListRefresh_1000x200(benchmark::State &state)
{
    fillStore(1000, 200);
    PortfoliosList list;
    list.slotCoreDataInitialized(false);
    auto *model = list.findChild<TzTableView *>(QStringLiteral("tableWidget"))->recordModel();
    qint64 changedCells = 0;
    QObject::connect(model, &QAbstractItemModel::dataChanged,
                     [&](const QModelIndex &from, const QModelIndex &to) {
                         changedCells += to.column() - from.column() + 1;
                     });
    int tick = 0;
    for (auto _ : state) {
        state.PauseTiming();
        quoteAll(++tick);  // quotes move between refreshes, as they do on the feed
        state.ResumeTiming();
        list.slotUpdateQuoeData();
    }
    state.counters["changed_cells_per_refresh"] = double(changedCells) / double(state.iterations());
    state.counters["cells_in_figure_columns"] = 1000.0 * 5;
}
BENCHMARK(BM_ListRefresh_1000x200)->Unit(benchmark::kMillisecond)->UseRealTime();

long residentKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    }
    return -1;
}

void BM_FillTable_10000(benchmark::State &state)
{
    fillStore(10000, 20);
    PortfoliosList list;
    for (auto _ : state)
        list.slotCoreDataInitialized(false);
    quoteAll(1);
    list.slotUpdateQuoeData();
    state.counters["resident_MiB"] = double(residentKiB()) / 1024.0;
}
BENCHMARK(BM_FillTable_10000)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    return runGuiBenchmarks(argc, argv);
}
