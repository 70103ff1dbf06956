// The creation dialog on the real page over the embedded back end: opening it (the whole
// security list goes into the search box), a key press in the search box over the whole
// list, filling the ETF page with a 300-component basket, and confirming a 500-row
// default page until the new row stands in the list.

#include "guibenchmain.h"
#include "pagefixture.h"

#include "bdportfolioadd.h"
#include "etflogichandler.h"
#include "infocenterdatamanagerinterface.h"
#include "portfolioaddrows.h"
#include "securitycatalog.h"
#include "tzdialog.h"
#include "tzsearchbox.h"
#include "tztreeview.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QPushButton>
#include <QTest>
#include <benchmark/benchmark.h>

namespace {

// The page on its back end with the ETF and industry trees built, as a trader finds it
// once the client has started; false (and the benchmark skipped) when it is not there.
bool pageWithTrees(PageFixture &f, benchmark::State &state)
{
    const bool ready = f.ready() && ETFLogicHandler::instance().waitUntilLoaded(30000)
        && InfoCenterDataManagerInterface::waitUntilReady(30000);
    if (!ready) {
        state.SkipWithError("back end or reference data not ready");
        return false;
    }
    f.list()->achieveTreeData();
    return true;
}

void closeDialog(PageFixture &f)
{
    if (BDPortfolioAdd *dialog = f.list()->addDialog())
        dialog->onpushbtn_cancel_slot();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void BM_OpenAddDialog(benchmark::State &state)
{
    PageFixture f;
    if (!pageWithTrees(f, state))
        return;
    for (auto _ : state) {
        f.list()->on_pushButton_new_clicked();
        state.PauseTiming();
        const bool open = f.list()->addDialog() && f.list()->addFrame()->isVisible();
        closeDialog(f);
        state.ResumeTiming();
        if (!open) {
            state.SkipWithError("the dialog did not open");
            break;
        }
    }
}
BENCHMARK(BM_OpenAddDialog)->Unit(benchmark::kMillisecond)->UseRealTime();

// One key press that starts a search over every security, with the list of matches
// shown: a single letter, the widest search there is (initials and names everywhere).
void BM_SearchKeyPress(benchmark::State &state)
{
    TzSearchBox box;
    QStringList symbols;
    for (const SecurityInfo &s : SecurityCatalog::instance().all())
        symbols << s.symbol;
    box.setSymbolList(symbols);
    box.setMinMatchLength(6);
    box.show();
    for (auto _ : state) {
        QTest::keyClick(&box, 's');
        state.PauseTiming();
        const bool shown = box.isPopupVisible();
        box.clear();
        state.ResumeTiming();
        if (!shown) {
            state.SkipWithError("no matches shown");
            break;
        }
    }
    state.counters["securities"] = box.symbolCount();
}
BENCHMARK(BM_SearchKeyPress)->Unit(benchmark::kMillisecond)->UseRealTime();

// What a trader waits for after double-clicking the CSI 300 ETF: the components fetched
// and turned into rows in the background, then put into the table, every row checked.
void BM_FillEtfTable300(benchmark::State &state)
{
    PageFixture f;
    if (!pageWithTrees(f, state))
        return;
    f.list()->on_pushButton_new_clicked();
    BDPortfolioAdd *dialog = f.list()->addDialog();
    auto *tree = dialog->findChild<TzTreeView *>(QStringLiteral("treeView_ETF"));
    auto *table = dialog->findChild<TzTableView *>(QStringLiteral("tableWidget_ETF"));
    // The tree is rebuilt whenever the ETF list reloads: find the row anew each time.
    auto csi300 = [tree] {
        const QModelIndex root = tree->model()->index(0, 0);
        for (int r = 0; r < tree->model()->rowCount(root); ++r) {
            const QModelIndex etf = tree->model()->index(r, 0, root);
            if (etf.data().toString().startsWith(QLatin1String("510300")))
                return etf;
        }
        return QModelIndex();
    };
    int rows = 0;
    for (auto _ : state) {
        state.PauseTiming();
        table->clear();
        const QModelIndex etf = csi300();
        state.ResumeTiming();
        emit tree->doubleClicked(etf);
        QElapsedTimer wait;
        wait.start();
        while (table->recordModel()->rowCount() == 0 && wait.elapsed() < 10000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
        rows = table->getCheckedRows().size();
        if (rows < 290) {
            state.SkipWithError("the CSI 300 basket did not arrive");
            break;
        }
    }
    state.counters["rows"] = rows;
}
BENCHMARK(BM_FillEtfTable300)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Confirm500RowDefaultPage(benchmark::State &state)
{
    PageFixture f;
    if (!f.ready()) {
        state.SkipWithError("back end not ready");
        return;
    }
    QStringList symbols;
    for (const SecurityInfo &s : SecurityCatalog::instance().all()) {
        if (!s.delisted && s.markets.size() == 1 && !s.name.contains(QStringLiteral("退"))
            && PortfolioListBasicInfo::GetInstance()->IsSupportSecurity(s.symbol))
            symbols << s.symbol;
        if (symbols.size() == 500)
            break;
    }
    int made = 0;
    for (auto _ : state) {
        state.PauseTiming();
        f.list()->on_pushButton_new_clicked();
        BDPortfolioAdd *dialog = f.list()->addDialog();
        for (const QString &symbol : qAsConst(symbols))
            dialog->onInsertTableDataSLot(symbol, QString());
        dialog->findChild<QLineEdit *>(QStringLiteral("m_pNameEdit"))->setText(QStringLiteral("五百行%1").arg(++made));
        auto *confirm = dialog->findChild<QPushButton *>(QStringLiteral("pushButton_confirm"));
        const int rows = f.rows();
        state.ResumeTiming();

        confirm->click();

        state.PauseTiming();
        const bool listed = f.rows() == rows + 1;
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        state.ResumeTiming();
        if (!listed) {
            state.SkipWithError(qPrintable(QStringLiteral("not created: ") + f.boxes.last()));
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * symbols.size());
}
BENCHMARK(BM_Confirm500RowDefaultPage)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    return runGuiBenchmarks(argc, argv);
}
