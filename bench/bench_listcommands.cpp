// List commands end to end on the real page over the embedded back end: importing a
// 5,000-line workbook through the import button, and deleting 100 selected portfolios.

#include "guibenchmain.h"
#include "pagefixture.h"

#include "securitycatalog.h"
#include "veltrautils.h"

#include <QApplication>
#include <QFile>
#include <benchmark/benchmark.h>
#include <xlsxwriter.h>

namespace {

constexpr int ImportLines = 5000;

// One line per tradable security of a single market, so that no line repeats another.
bool writeWorkbook(const QString &path)
{
    lxw_workbook *book = workbook_new(QFile::encodeName(path).constData());
    lxw_worksheet *sheet = workbook_add_worksheet(book, nullptr);
    const char *header[] = {"证券代码", "市场", "委托方向", "委托数量", "相对权重"};
    for (int c = 0; c < 5; ++c)
        worksheet_write_string(sheet, 0, lxw_col_t(c), header[c], nullptr);
    lxw_row_t row = 0;
    for (const SecurityInfo &s : SecurityCatalog::instance().all()) {
        if (s.delisted || s.markets.size() != 1)
            continue;
        ++row;
        worksheet_write_string(sheet, row, 0, s.code.toUtf8().constData(), nullptr);
        worksheet_write_string(sheet, row, 1, s.markets.first().toUtf8().constData(), nullptr);
        worksheet_write_string(sheet, row, 2, row % 3 ? "买入" : "卖出", nullptr);
        worksheet_write_number(sheet, row, 3, 100.0 * (1 + row % 20), nullptr);
        worksheet_write_number(sheet, row, 4, 1.0 / ImportLines, nullptr);
        if (row == ImportLines)
            break;
    }
    return workbook_close(book) == LXW_NO_ERROR && row == ImportLines;
}

void BM_Import5000LineXlsx(benchmark::State &state)
{
    PageFixture f;
    const QString path = f.backend.path(QStringLiteral("五千行组合.xlsx"));
    if (!f.ready() || !writeWorkbook(path)) {
        state.SkipWithError("back end or workbook not ready");
        return;
    }
    VeltraUtils::setOpenFileNameHook(
        [path](QWidget *, const QString &, const QString &, const QString &) { return path; });
    for (auto _ : state) {
        const int rows = f.rows();
        f.list()->on_pushButton_import_clicked();
        if (f.rows() != rows + 1) {
            state.SkipWithError(qPrintable(QStringLiteral("import failed: ") + f.boxes.last()));
            break;
        }
    }
    VeltraUtils::setOpenFileNameHook({});
    state.SetItemsProcessed(state.iterations() * ImportLines);
}
BENCHMARK(BM_Import5000LineXlsx)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Delete100Selected(benchmark::State &state)
{
    PageFixture f;
    if (!f.ready() || f.rows() < 1) {
        state.SkipWithError("back end not ready");
        return;
    }
    const int seeded = f.rows();
    PortfolioDetailBasicInfo model = f.table()->getRowData(0).value(12).value(RecordRole::user)
                                         .value<PortfolioDetailBasicInfo>();
    model.setPortfolioNo(QString());
    int made = 0;
    for (auto _ : state) {
        state.PauseTiming();
        for (int i = 0; i < 100; ++i) {
            PortfolioDetailBasicInfo detail = model;
            detail.setName(QStringLiteral("待删组合%1").arg(++made));
            f.list()->slotAddPortfolioLst(detail);
        }
        RecordModel *records = f.table()->recordModel();
        f.table()->selectionModel()->select(
            QItemSelection(records->index(seeded, 0), records->index(records->rowCount() - 1, 0)),
            QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        const bool ready = f.rows() == seeded + 100
                           && f.table()->selectionModel()->selectedRows().size() == 100;
        f.boxes.shown.clear();
        state.ResumeTiming();
        if (!ready) {
            state.SkipWithError("could not create and select 100 portfolios");
            break;
        }

        f.list()->on_pushButton_delete_clicked();

        if (f.rows() != seeded) {
            state.SkipWithError("the selected portfolios were not all deleted");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * 100);
}
BENCHMARK(BM_Delete100Selected)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    return runGuiBenchmarks(argc, argv);
}
