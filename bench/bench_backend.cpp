// Creating a 200-line portfolio through the embedded back end over the client bus, as
// the page does it: strategy label, portfolio header, then its lines; three blocking
// round trips, each one database transaction.

#include "testbackend.h"

#include "securitycatalog.h"

#include <QCoreApplication>
#include <benchmark/benchmark.h>

namespace {

void BM_Create200LinePortfolio(benchmark::State &state)
{
    TestBackend backend(QStringLiteral("bench"), false);
    if (!backend.ready()) {
        state.SkipWithError("back end did not start");
        return;
    }
    QList<QVariantMap> lines;
    for (const SecurityInfo &s : SecurityCatalog::instance().all()) {
        if (s.delisted || s.markets.size() != 1)
            continue;
        lines.append({{RequestField::securityID, s.code},
                      {RequestField::securityExchange, s.markets.first()},
                      {RequestField::side, QStringLiteral("买入")},
                      {RequestField::tradeQty, 100},
                      {RequestField::positionWeight, 0.005},
                      {RequestField::entrustType, QStringLiteral("0")},
                      {RequestField::batchEntrustProp, QStringLiteral("0")},
                      {RequestField::customerPrice, 0.0},
                      {RequestField::limitPrice, 0.0}});
        if (lines.size() == 200)
            break;
    }
    int n = 0;
    for (auto _ : state) {
        const QString suffix = QString::number(++n);
        const auto strategy = TestBackend::request(MsgType::alterStrategyRequest,
            {{RequestField::alterType, QStringLiteral("c")},
             {RequestField::userID, QStringLiteral("bench")},
             {RequestField::strategyName, QStringLiteral("策略") + suffix}});
        const auto header = TestBackend::request(MsgType::alterPortfolioRequest,
            {{RequestField::alterType, QStringLiteral("c")},
             {RequestField::userID, QStringLiteral("bench")},
             {RequestField::strategyNo, strategy.body.GetValue(RequestField::strategyNo)},
             {RequestField::portfolioName, QStringLiteral("基准组合") + suffix},
             {RequestField::defaultBasketSize, 1},
             {RequestField::portfolioExtensionDescription, QStringLiteral("{}")}});
        const auto detail = TestBackend::request(MsgType::alterPortfolioDetailRequest,
            {{RequestField::alterType, QStringLiteral("c")},
             {RequestField::portfolioNo, header.body.GetValue(RequestField::portfolioNo)},
             {RequestField::subGroupNumber, lines.size()}},
            lines);
        if (!strategy.ok || !header.ok || !detail.ok) {
            state.SkipWithError("a request failed");
            return;
        }
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Create200LinePortfolio)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
