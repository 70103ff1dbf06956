// Import of a 10,000-line portfolio file, as .xlsx and as .csv; and the worst an import
// of a hostile file under the size limit takes, in time and in memory.

#include "exchange.h"
#include "portfolioimportfile.h"
#include "xlsxtablesource.h"
#include "tablefilereader.h"
#include "securitycatalog.h"
#include "tzcore.h"
#include "zipwriter.h"

#include <QByteArray>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTextCodec>

#include <benchmark/benchmark.h>
#include <xlsxwriter.h>

namespace {

constexpr int Lines = 10000;
constexpr qint64 XlsxMaxSheetBytes = XlsxTableSource::MaxSheetBytes;
constexpr qint64 XlsxMaxSharedStringsBytes = XlsxTableSource::MaxSharedStringsBytes;

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

// Files made to cost an import as much as possible while staying under the size limit:
// parts that inflate beyond their bounds, parts filled up to them with what is slowest
// to read, directories that are slow to search, text tables of the largest size.
struct HostileFile
{
    QString name;
    QString path;
};

QByteArray header()
{
    return "<worksheet><sheetData><row r=\"1\"><c t=\"inlineStr\"><is><t>证券代码</t></is></c>"
           "<c t=\"inlineStr\"><is><t>委托数量</t></is></c></row>";
}

QList<ZipPart> workbookWith(const ZipPart &sheet, const ZipPart &shared = ZipPart())
{
    const bool withShared = !shared.deflated.isEmpty() || !shared.data.isEmpty();
    QList<ZipPart> parts = workbookParts("<worksheet/>", withShared ? "<sst/>" : QByteArray());
    parts[2] = sheet;
    parts[2].name = "xl/worksheets/sheet1.xml";
    if (withShared) {
        parts[3] = shared;
        parts[3].name = "xl/sharedStrings.xml";
    }
    return parts;
}

QVector<HostileFile> writeHostileFiles(const QDir &dir)
{
    QVector<HostileFile> files;
    const auto add = [&](const QString &name, const QByteArray &bytes) {
        const QString path = dir.filePath(name);
        QFile out(path);
        if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size())
            qFatal("cannot write %s", qPrintable(path));
        files.append({name, path});
    };
    const QByteArray spaces(1 << 20, ' ');
    const QByteArray deflatedSpaces = rawDeflate(spaces, Z_FULL_FLUSH);
    const auto bomb = [&](const QByteArray &name) {
        // Claims 500 bytes, inflates to 4 GiB.
        ZipPart inflating(name);
        inflating.deflated = deflatedSpaces.repeated(4096) + QByteArray::fromHex("0300");
        inflating.size = 500;
        return inflating;
    };
    const ZipPart headerOnly("", header() + "</sheetData></worksheet>");
    QList<ZipPart> parts = workbookWith(headerOnly);
    parts[0] = bomb("xl/workbook.xml");
    add("workbook-bomb.xlsx", zipArchive(parts));
    add("shared-strings-bomb.xlsx", zipArchive(workbookWith(headerOnly, bomb("sst"))));
    add("sheet-bomb.xlsx", zipArchive(workbookWith(bomb("sheet"))));

    // The sheet at its bound with the most tokens per byte: rows of twelve thousand empty
    // cells in columns nobody reads, a letter of text between each two.
    const QByteArray tinyTokens = "<row>" + QByteArray("x<c/>").repeated(12800) + "</row>";
    const auto rowsFitting = [](const QByteArray &row) {
        return int(XlsxMaxSheetBytes / row.size()) - 1;
    };
    const int rows = rowsFitting(tinyTokens);
    add("sheet-of-tiny-tokens.xlsx",
        zipArchive(workbookWith(repeatedPart("", {{header(), 1}, {tinyTokens, rows},
                                                  {"</sheetData></worksheet>", 1}}))));
    // The sheet at its bound again: codes of character references, each to decode.
    const QByteArray referenceRow = "<row><c t=\"inlineStr\"><is><t>"
                                    + QByteArray("&#x37;").repeated(5000)
                                    + "</t></is></c><c><v>100</v></c></row>";
    add("sheet-of-references.xlsx",
        zipArchive(workbookWith(repeatedPart("", {{header(), 1},
                                                  {referenceRow, rowsFitting(referenceRow)},
                                                  {"</sheetData></worksheet>", 1}}))));
    // A long text shared by the used cells of a hundred thousand lines.
    const QByteArray sharedRow = "<row><c t=\"s\"><v>0</v></c><c t=\"s\"><v>0</v></c></row>";
    add("shared-long-text.xlsx",
        zipArchive(workbookWith(repeatedPart("", {{header(), 1}, {sharedRow, 100000},
                                                  {"</sheetData></worksheet>", 1}}),
                                ZipPart("", "<sst><si><t>=\"" + QByteArray(16 << 20, '7')
                                                + "\"</t></si></sst>"))));
    // One row as wide as Excel allows, every cell a long text in a column nobody reads.
    const QByteArray wideCell =
        "<c t=\"inlineStr\"><is><t>" + QByteArray(3000, 'w') + "</t></is></c>";
    add("one-huge-row.xlsx",
        zipArchive(workbookWith(repeatedPart("", {{header(), 1}, {"<row>", 1},
                                                  {wideCell, TableFileReader::MaxColumns},
                                                  {"</row></sheetData></worksheet>", 1}}))));
    // Shared strings at their bound: as many tiny strings as fit.
    const QByteArray tiny = "<si><t>&#x41;</t></si>";
    const int tinyCount = int(XlsxMaxSharedStringsBytes / tiny.size()) - 1;
    add("shared-strings-of-tiny-texts.xlsx",
        zipArchive(workbookWith(headerOnly,
                                repeatedPart("", {{"<sst>", 1},
                                                  {tiny, tinyCount},
                                                  {"</sst>", 1}}))));
    // A directory that is slow to search: large extra fields, and parts by the hundred
    // thousand.
    parts = workbookWith(ZipPart("", header() + "<row><c t=\"inlineStr\"><is><t>600519</t></is></c>"
                                     "<c><v>100</v></c></row></sheetData></worksheet>"));
    QList<ZipPart> extras = parts;
    for (int i = 0; i < 500; ++i)
        extras.append(ZipPart("xl/media/" + QByteArray::number(i), "x"));
    for (ZipPart &part : extras)
        part.extraFieldBytes = 60000;
    add("extra-fields.xlsx", zipArchive(extras));
    for (int i = 0; i < 600000; ++i)
        parts.append(ZipPart(QByteArray::number(i), QByteArray()));
    add("six-hundred-thousand-parts.xlsx", zipArchive(parts));

    // Text tables of the largest size: every line a bad one with the longest cell Excel
    // allows; Chinese text in GB18030; UTF-8 with broken bytes everywhere.
    const qint64 csvBytes = TableFileReader::MaxFileBytes - 1024;
    const QByteArray longLine = QByteArray(32767, '7') + ",100\n";
    add("long-cells.csv", "证券代码,委托数量\n" + longLine.repeated(int(csvBytes / longLine.size())));
    const QByteArray chinese = QTextCodec::codecForName("GB18030")->fromUnicode(
        QStringLiteral("600519,100,贵州茅台酿酒股份有限公司贵州茅台酿酒股份有限公司\n"));
    add("gb18030.csv",
        QTextCodec::codecForName("GB18030")->fromUnicode(QStringLiteral("证券代码,委托数量,证券名称\n"))
            + chinese.repeated(int(csvBytes / chinese.size())));
    const QByteArray broken = "600519,100,\xE9\x80\xE9\x80\xE9\x80\xE9\x80\n";
    add("broken-utf8.csv", "证券代码,委托数量,证券名称\n" + broken.repeated(int(csvBytes / broken.size())));
    add("separators-only.csv", QByteArray(int(csvBytes), ','));
    const QByteArray wideField = ',' + QByteArray(4000, 'w');
    add("one-huge-csv-row.csv", "证券代码,委托数量\n600519,100"
                                    + wideField.repeated(int(csvBytes / wideField.size()) - 1)
                                    + '\n');
    return files;
}

// Written once and removed at exit; with TZ_BENCH_HOSTILE_DIR set, written there and
// kept, so that one of them can be looked at on its own.
const QVector<HostileFile> &hostileFiles()
{
    static QTemporaryDir dir(QDir::tempPath() + QStringLiteral("/tz_bench_hostile-XXXXXX"));
    static const QVector<HostileFile> files = [] {
        const QString kept = qEnvironmentVariable("TZ_BENCH_HOSTILE_DIR");
        if (!kept.isEmpty())
            QDir().mkpath(kept);
        return writeHostileFiles(QDir(kept.isEmpty() ? dir.path() : kept));
    }();
    return files;
}

// Peak resident memory since the last reset, from the kernel's own high-water mark.
double peakResidentMiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0.0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
    }
    return 0.0;
}

void resetPeakResident()
{
    QFile clear(QStringLiteral("/proc/self/clear_refs"));
    if (clear.open(QIODevice::WriteOnly))
        clear.write("5");
}

// Every hostile file once per iteration; the counters are the slowest import and the
// highest peak of resident memory of the benchmark process (the catalogue and Qt
// included) during any one of them.
void BM_HostileFiles(benchmark::State &state)
{
    const QVector<HostileFile> &files = hostileFiles();
    double worstMs = 0.0;
    double peakMiB = 0.0;
    QString slowest;
    QString largest;
    for (auto _ : state) {
        for (const HostileFile &file : files) {
            resetPeakResident();
            QElapsedTimer timer;
            timer.start();
            QString error;
            QVariantMap extension;
            benchmark::DoNotOptimize(PortfolioImportFile::read(file.path, error, extension));
            const double ms = double(timer.nsecsElapsed()) / 1e6;
            const double mib = peakResidentMiB();
            if (qEnvironmentVariableIsSet("TZ_BENCH_VERBOSE"))
                qInfo("%-36s %8.1f ms %6.1f MiB  %s", qPrintable(file.name), ms, mib,
                      qPrintable(error.left(60)));
            if (ms > worstMs) {
                worstMs = ms;
                slowest = file.name;
            }
            if (mib > peakMiB) {
                peakMiB = mib;
                largest = file.name;
            }
        }
    }
    state.counters["files"] = files.size();
    state.counters["worst_ms"] = worstMs;
    state.counters["peak_MiB"] = peakMiB;
    state.SetLabel((slowest + QLatin1Char('|') + largest).toStdString());
}
BENCHMARK(BM_HostileFiles)->Iterations(1)->Repetitions(1)->Unit(benchmark::kMillisecond);

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
