// Import of a 10,000-line portfolio file, as .xlsx and as .csv.

#include "exchange.h"
#include "portfolioimportfile.h"
#include "tablefilereader.h"
#include "securitycatalog.h"
#include "tzcore.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <xlsxwriter.h>

namespace {

constexpr int Lines = 10000;

struct BenchFiles
{
    QTemporaryDir dir{QDir::tempPath() + QStringLiteral("/tz_bench_importfile-XXXXXX")};
    QString xlsx;
    QString csv;
};

// One line per tradable security and market, repeated until there are enough lines:
// the catalogue has fewer than 10,000 securities, so later lines repeat earlier ones and
// take the duplicate-line path, as a careless basket would.
QList<QStringList> sampleLines()
{
    QList<QStringList> pairs;
    for (const SecurityInfo &s : SecurityCatalog::instance().all()) {
        if (s.delisted)
            continue;
        for (const QString &market : s.markets)
            pairs.append({s.code, market, s.name, QString::number(s.preClosePx, 'f', 2)});
    }
    QList<QStringList> lines;
    for (int i = 0; i < Lines && !pairs.isEmpty(); ++i) {
        QStringList line = pairs.at(i % pairs.size());
        line.append(QString::number(100 * (1 + i % 50)));
        line.append(i % 3 == 0 ? OrderSide::sell : OrderSide::buy);
        lines.append(line);
    }
    return lines;
}

void writeFiles(BenchFiles &files)
{
    const QList<QStringList> lines = sampleLines();
    const QStringList header = {"证券代码", "市场", "证券名称", "委托方向", "委托数量",
                                "相对权重", "委托类型", "委托属性", "委托价格"};

    lxw_workbook *book = workbook_new(QFile::encodeName(files.xlsx).constData());
    lxw_worksheet *sheet = workbook_add_worksheet(book, nullptr);
    for (int c = 0; c < header.size(); ++c)
        worksheet_write_string(sheet, 0, lxw_col_t(c), header.at(c).toUtf8().constData(), nullptr);
    QByteArray csv = header.join(',').toUtf8() + '\n';
    for (int i = 0; i < lines.size(); ++i) {
        const QStringList &l = lines.at(i);
        const lxw_row_t r = lxw_row_t(i + 1);
        worksheet_write_string(sheet, r, 0, l.at(0).toUtf8().constData(), nullptr);
        worksheet_write_string(sheet, r, 1, l.at(1).toUtf8().constData(), nullptr);
        worksheet_write_string(sheet, r, 2, l.at(2).toUtf8().constData(), nullptr);
        worksheet_write_string(sheet, r, 3, l.at(5).toUtf8().constData(), nullptr);
        worksheet_write_number(sheet, r, 4, l.at(4).toDouble(), nullptr);
        worksheet_write_number(sheet, r, 5, 1.0 / Lines, nullptr);
        worksheet_write_string(sheet, r, 6, "0", nullptr);
        worksheet_write_string(sheet, r, 7, "0", nullptr);
        worksheet_write_number(sheet, r, 8, l.at(3).toDouble(), nullptr);
        csv += QStringList({l.at(0), l.at(1), l.at(2), l.at(5), l.at(4),
                            QString::number(1.0 / Lines), "0", "0", l.at(3)})
                   .join(',')
                   .toUtf8()
               + '\n';
    }
    if (workbook_close(book) != LXW_NO_ERROR)
        qFatal("cannot write %s", qPrintable(files.xlsx));
    QFile out(files.csv);
    if (!out.open(QIODevice::WriteOnly) || out.write(csv) != csv.size())
        qFatal("cannot write %s", qPrintable(files.csv));
}

// Written once and removed at exit. With TZ_BENCH_XLSX_OUT set, the folder is kept and
// the .xlsx path is written to that file, so that another reader can be timed on it.
const BenchFiles &benchFiles()
{
    static BenchFiles files;
    static const bool written = [] {
        files.xlsx = files.dir.filePath(QStringLiteral("portfolio10k.xlsx"));
        files.csv = files.dir.filePath(QStringLiteral("portfolio10k.csv"));
        writeFiles(files);
        const QByteArray out = qgetenv("TZ_BENCH_XLSX_OUT");
        if (!out.isEmpty()) {
            files.dir.setAutoRemove(false);
            QFile pathFile(QFile::decodeName(out));
            if (!pathFile.open(QIODevice::WriteOnly | QIODevice::Truncate))
                qFatal("cannot write %s", out.constData());
            pathFile.write(QFile::encodeName(files.xlsx) + '\n');
        }
        return true;
    }();
    Q_UNUSED(written);
    return files;
}

void readFile(benchmark::State &state, const QString &path)
{
    int items = 0;
    int faults = 0;
    for (auto _ : state) {
        QString error;
        QVariantMap extension;
        const QList<PortfolioItem> lines = PortfolioImportFile::read(path, error, extension);
        benchmark::DoNotOptimize(lines);
        items = lines.size();
        faults = error.isEmpty() ? 0 : error.count(QLatin1Char('\n')) + 1;
    }
    state.counters["items"] = items;
    state.counters["badLines"] = faults;
}

void BM_ImportXlsx10k(benchmark::State &state)
{
    readFile(state, benchFiles().xlsx);
}
BENCHMARK(BM_ImportXlsx10k)->Unit(benchmark::kMillisecond);

void BM_ImportCsv10k(benchmark::State &state)
{
    readFile(state, benchFiles().csv);
}
BENCHMARK(BM_ImportCsv10k)->Unit(benchmark::kMillisecond);

// The rows of the sheet alone, the like-for-like figure against a spreadsheet library
// that only reads cells (no security look-up, no line checks).
void BM_ReadXlsxRows10k(benchmark::State &state)
{
    const QString path = benchFiles().xlsx;
    int rows = 0;
    for (auto _ : state) {
        TableFileReader reader(path);
        if (!reader.open()) {
            state.SkipWithError("cannot open the bench file");
            return;
        }
        TableRow row;
        rows = 0;
        while (reader.readRow(row))
            ++rows;
        benchmark::DoNotOptimize(row);
    }
    state.counters["rows"] = rows;
}
BENCHMARK(BM_ReadXlsxRows10k)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    TzCore::setDataDir(QStringLiteral(TZ_SOURCE_DATA_DIR));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchFiles();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
