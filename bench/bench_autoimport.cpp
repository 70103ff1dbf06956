// Directory auto-import under load: 200 files of 200 lines dropped into the watched
// folder at once, imported by the page's worker through the embedded back end with the
// folder polled by the page's own one-second timer. Measured: the time from the drop to
// the last portfolio in the list, and the longest gap between the ticks of a 5 ms timer
// on the GUI thread meanwhile (how long the window could not react).

#include "guibenchmain.h"
#include "pagefixture.h"

#include "exchange.h"
#include "msgtypes.h"
#include "portfoliotradesettings.h"
#include "portparsecreatethread.h"
#include "securitycatalog.h"
#include "veltrabusinessdatainterface.h"

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>
#include <benchmark/benchmark.h>

namespace {

constexpr int kFiles = 200;
constexpr int kLines = 200;
constexpr int kTickMs = 5;
constexpr int kWorkerRestMs = 50;  // the worker's rest after each file

// 200 lines of securities a portfolio takes, different for each file.
QByteArray fileContent(const QList<const SecurityInfo *> &pool, int file)
{
    QByteArray csv = "证券代码,市场,委托方向,委托数量\n";
    for (int i = 0; i < kLines; ++i) {
        const SecurityInfo *s = pool.at((file * 37 + i) % pool.size());
        csv += QStringLiteral("%1,%2,买入,%3\n").arg(s->code, s->markets.first()).arg(100 * (1 + i % 9)).toUtf8();
    }
    return csv;
}

void BM_AutoImport200Files(benchmark::State &state)
{
    QList<const SecurityInfo *> pool;
    for (const SecurityInfo &s : SecurityCatalog::instance().all()) {
        if (s.type == SecurityType::mainBoard && !s.suspended && !s.delisted && s.markets.size() == 1
            && !PortfolioListBasicInfo::GetInstance()->checkPortfolioSecurity(s.symbol))
            pool.append(&s);
    }
    for (auto _ : state) {
        state.PauseTiming();
        PageFixture fx;
        QTemporaryDir root;
        if (!fx.ready() || pool.size() < kLines) {
            state.SkipWithError("back end or securities missing");
            return;
        }
        VeltraUtils::setBusiMsgSink([](BusiMsgLevel, const QString &) {});
        PortfolioTradeSettings::AutoImport settings;
        settings.scan = true;
        settings.scanDir = root.filePath(QStringLiteral("scan"));
        settings.backupDir = root.filePath(QStringLiteral("backup"));
        settings.write(*TzCore::settings());
        QDir().mkpath(settings.scanDir);
        fx.presenter()->applyScanCfg();
        const int rowsBefore = fx.rows();

        // Written elsewhere and moved in, as a script drops finished files.
        QDir().mkpath(root.filePath(QStringLiteral("staging")));
        for (int f = 0; f < kFiles; ++f) {
            const QString name = QStringLiteral("自动%1.csv").arg(f, 3, 10, QLatin1Char('0'));
            QFile file(root.filePath(QStringLiteral("staging/") + name));
            if (!file.open(QIODevice::WriteOnly) || file.write(fileContent(pool, f)) < 0) {
                state.SkipWithError("cannot write the files");
                return;
            }
            file.close();
        }
        state.ResumeTiming();
        for (int f = 0; f < kFiles; ++f) {
            const QString name = QStringLiteral("自动%1.csv").arg(f, 3, 10, QLatin1Char('0'));
            QFile::rename(root.filePath(QStringLiteral("staging/") + name), settings.scanDir + QLatin1Char('/') + name);
        }

        QEventLoop loop;
        QTimer tick;
        tick.setInterval(kTickMs);
        tick.setTimerType(Qt::PreciseTimer);
        QElapsedTimer clock, sinceTick;
        clock.start();
        sinceTick.start();
        qint64 longestGapNs = 0;
        QObject::connect(&tick, &QTimer::timeout, &loop, [&] {
            longestGapNs = qMax(longestGapNs, sinceTick.nsecsElapsed());
            sinceTick.restart();
            if (fx.rows() >= rowsBefore + kFiles || clock.elapsed() > 60000)
                loop.quit();
        });
        tick.start();
        loop.exec();
        state.PauseTiming();
        const int imported = fx.rows() - rowsBefore;
        const int left = QDir(settings.scanDir).entryList(QDir::Files).size();
        VeltraUtils::setBusiMsgSink(nullptr);
        if (imported != kFiles) {
            state.SkipWithError(qPrintable(QStringLiteral("%1 of %2 files imported").arg(imported).arg(kFiles)));
            return;
        }
        state.counters["longest_gui_gap_ms"] = double(longestGapNs) / 1e6 - kTickMs;
        state.counters["worker_rest_s"] = kFiles * kWorkerRestMs / 1000.0;
        state.counters["files_left_in_folder"] = left;
        state.ResumeTiming();
    }
}
BENCHMARK(BM_AutoImport200Files)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

} // namespace

int main(int argc, char **argv)
{
    return runGuiBenchmarks(argc, argv);
}
