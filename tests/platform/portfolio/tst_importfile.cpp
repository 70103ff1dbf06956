#include "fieldkeys.h"
#include "portfolioimportfile.h"
#include "tablefilereader.h"
#include "tzcore.h"
#include "veltrautils.h"
#include "xmlpullscanner.h"
#include "zipwriter.h"

#include <QBuffer>
#include <QFile>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>

#include <unistd.h>
#include <xlsxwriter.h>

using VeltraConstants::TemplateFileType;
Q_DECLARE_METATYPE(TemplateFileType)

namespace {

// A row for writeXlsx: a QString is written as a shared string (or as a formula when it
// starts with '='), a number as a number, an invalid QVariant leaves the cell out.
using Cells = QVariantList;

void writeSheet(lxw_worksheet *sheet, const QList<Cells> &rows)
{
    for (int r = 0; r < rows.size(); ++r) {
        for (int c = 0; c < rows.at(r).size(); ++c) {
            const QVariant &v = rows.at(r).at(c);
            const QByteArray text = v.toString().toUtf8();
            if (v.type() == QVariant::String && text.startsWith('='))
                worksheet_write_formula(sheet, r, c, text.constData(), nullptr);
            else if (v.type() == QVariant::String)
                worksheet_write_string(sheet, r, c, text.constData(), nullptr);
            else if (v.type() == QVariant::Bool)
                worksheet_write_boolean(sheet, r, c, v.toBool(), nullptr);
            else if (v.isValid())
                worksheet_write_number(sheet, r, c, v.toDouble(), nullptr);
        }
    }
}

void writeXlsx(const QString &path, const QList<Cells> &rows, const QList<Cells> &second = {},
               bool firstHidden = false)
{
    lxw_workbook *book = workbook_new(QFile::encodeName(path).constData());
    lxw_worksheet *first = workbook_add_worksheet(book, "明细");
    writeSheet(first, rows);
    if (!second.isEmpty()) {
        lxw_worksheet *other = workbook_add_worksheet(book, "其他");
        writeSheet(other, second);
        if (firstHidden) {
            worksheet_activate(other);
            worksheet_hide(first);
        }
    }
    QCOMPARE(int(workbook_close(book)), int(LXW_NO_ERROR));
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

// Sheet XML by hand: an inline-string cell, a number cell, the rows of a sheet.
QByteArray is(const QByteArray &text)
{
    return "<c t=\"inlineStr\"><is><t>" + text + "</t></is></c>";
}
QByteArray num(const QByteArray &value) { return "<c><v>" + value + "</v></c>"; }
QByteArray sheetOf(const QByteArray &rows)
{
    return "<worksheet><sheetData>" + rows + "</sheetData></worksheet>";
}
const QByteArray kHeader = is("证券代码") + is("委托数量");

// The header and one line.
QByteArray plainSheet(const QByteArray &code, const QByteArray &quantity)
{
    return sheetOf("<row>" + kHeader + "</row><row>" + is(code) + num(quantity) + "</row>");
}
QByteArray book(const QByteArray &sheet, const QByteArray &shared = {})
{
    return zipArchive(workbookParts(sheet, shared));
}

// The fields of a line that an import fills, in one comparable text.
QString describe(const PortfolioItem &i)
{
    return QStringLiteral("%1 %2 %3 %4 q=%5 w=%6 %7/%8 p=%9 l=%10")
        .arg(i.Symbol(), i.SymbolExchange(), i.SymbolName(), i.Side())
        .arg(i.Quantity())
        .arg(i.RelWeight())
        .arg(i.PortEntrustType(), i.PortEntrustProp())
        .arg(i.CustomerOrderPrice())
        .arg(i.AlgoLimitPrice());
}

// A line bought by quantity alone, as describe() shows it.
QString bought(const QString &security, qint64 quantity)
{
    return QStringLiteral("%1 买入 q=%2 w=0 0/0 p=0 l=0").arg(security).arg(quantity);
}
const QString kMoutai = QStringLiteral("600519.SH SH 贵州茅台");
const QString kPingAn = QStringLiteral("000001.SZ SZ 平安银行");

// Every token of a document, read a given number of bytes at a time.
QStringList scanTokens(const QByteArray &xml, int readSize, QString *error = nullptr)
{
    QBuffer buffer;
    buffer.setData(xml);
    buffer.open(QIODevice::ReadOnly);
    XmlPullScanner scanner(&buffer, readSize);
    QStringList tokens;
    for (;;) {
        QByteArray text;
        switch (scanner.next()) {
        case XmlPullScanner::StartElement:
            tokens << "<" + scanner.localName() + " r=" + scanner.attributeBytes("r")
                          + (scanner.isSelfClosing() ? "/>" : ">");
            break;
        case XmlPullScanner::EndElement:
            tokens << "</" + scanner.localName() + ">";
            break;
        case XmlPullScanner::Text:
            scanner.appendText(text);
            tokens << QString::fromUtf8(text);
            break;
        case XmlPullScanner::EndDocument:
            return tokens;
        case XmlPullScanner::Invalid:
            if (error)
                *error = scanner.errorString();
            return tokens << "INVALID";
        }
    }
}

struct Imported
{
    QStringList lines;
    QString error;
    QVariantMap extension;
    // The lines taken, then the message line by line: the whole outcome in one list.
    QStringList all() const { return error.isEmpty() ? lines : lines + error.split('\n'); }
};

Imported importFile(const QString &path)
{
    Imported result;
    for (const PortfolioItem &item : PortfolioImportFile::read(path, result.error, result.extension))
        result.lines << describe(item);
    return result;
}

QStringList outcome(const QString &path) { return importFile(path).all(); }

// An OLE compound file as old Office programs write it, down to what tells its kind: the
// name of one of its streams, kept in UTF-16 in a directory sector.
QByteArray compoundFile(const char *streamName)
{
    QByteArray entry(128, '\0');
    for (int i = 0; streamName[i]; ++i)
        entry[2 * i] = streamName[i];
    return QByteArray::fromHex("D0CF11E0A1B11AE1") + QByteArray(1016, '\0') + entry + QByteArray(384, '\0');
}

QByteArray utf16(const QString &text, bool bigEndian, bool withMark)
{
    QByteArray bytes;
    if (withMark)
        bytes += bigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (QChar c : text) {
        const char high = char(c.unicode() >> 8);
        const char low = char(c.unicode() & 0xFF);
        bytes += bigEndian ? QByteArray(1, high) + low : QByteArray(1, low) + high;
    }
    return bytes;
}

} // namespace

class TestImportFile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void xlsxCellTexts();
    void xlsxPortfolio();
    void handWrittenXlsx();
    void templatesReadBack_data();
    void templatesReadBack();
    void templateDownloadCancelledOrFailing();
    void scannerAcrossReadBoundaries();
    void scannerRefuses_data();
    void scannerRefuses();
    void badLinesAreNamedByRow();
    void algorithmParameters();
    void fileFaults_data();
    void fileFaults();

    // One test per kind of fault that once let a wrong line through or the client down.
    void codesThatLostTheirZerosAreDecidedByNameOrRefused();
    void eachCellYieldsOneTrustedValue();
    void partsAndMessagesAreBounded();
    void repeatedTextAndLargeDirectoriesAreReadOnce();
    void rowNumbersStayInExcelsRange();
    void fileKindsAndEncodingsAreRecognised_data();
    void fileKindsAndEncodingsAreRecognised();
    void obviousFormsAreTakenAmbiguousOnesRefused();
    void firstVisibleSheetIsRead();

private:
    QString path(const QString &name) const { return m_dir.filePath(name); }

    QTemporaryDir m_dir;
};

void TestImportFile::initTestCase()
{
    TzCore::setDataDir(TZ_SOURCE_DATA_DIR);
    QVERIFY(m_dir.isValid());
}

// Numbers come back as typed, empty cells keep their column, missing rows keep the
// numbering, and only the first sheet is read.
void TestImportFile::xlsxCellTexts()
{
    const QString file = path("cells.xlsx");
    writeXlsx(file,
              {{"代码", "数", "小数"},
               {600519.0, 1000.0, 0.1},
               {},
               {QVariant(), 1e-7, 1234.5678, true},
               {"末行", 123456789012.0, -2.5}},
              {{"另一个工作表"}});
    TableFileReader reader(file);
    QVERIFY2(reader.open(), qPrintable(reader.errorString()));
    QList<TableRow> rows;
    TableRow row;
    while (reader.readRow(row))
        rows << row;
    QVERIFY(reader.errorString().isEmpty());
    QCOMPARE(rows.size(), 4);
    QCOMPARE(rows.at(1).number, 2);
    QCOMPARE(rows.at(1).cells, QStringList({"600519", "1000", "0.1"}));
    QCOMPARE(rows.at(2).number, 4);
    QCOMPARE(rows.at(2).cells, QStringList({"", "1e-07", "1234.5678", "TRUE"}));
    QCOMPARE(rows.at(3).cells, QStringList({"末行", "123456789012", "-2.5"}));
}

// Columns in another order, codes stored as numbers that lost their leading zeros,
// empty cells in the middle, an unknown column, and a second sheet that is not read.
void TestImportFile::xlsxPortfolio()
{
    writeXlsx(path("portfolio.xlsx"),
              {{"委托数量", "备注", "证券代码", "市场", "委托方向", "相对权重"},
               {300.0, "核心仓", 600519.0, "SH", QVariant(), 2.0},
               {"1,000", QVariant(), 1.0, QVariant(), "卖出", QVariant()},
               {200.0, QVariant(), 700.0, "HHK", "买入", QVariant()},
               {100.0, QVariant(), "00700", "深港通", QVariant(), QVariant()}},
              {{"证券代码", "委托数量"}, {"510300", 100.0}});
    const Imported result = importFile(path("portfolio.xlsx"));
    QCOMPARE(result.all(), QStringList({"600519.SH SH 贵州茅台 买入 q=300 w=2 0/0 p=0 l=0",
                                        "000001.SZ SZ 平安银行 卖出 q=1000 w=0 0/0 p=0 l=0",
                                        bought("00700.HK HHK 腾讯控股", 200),
                                        bought("00700.HK SZHK 腾讯控股", 100)}));
    QCOMPARE(result.extension.value(Portfolio::portType).toString(), QString("normal"));
    QVERIFY(!result.extension.contains(Portfolio::algoParam));
}

// What other spreadsheet programs write: the first sheet is not sheet1.xml, inline
// strings, formula text results, rich text with a phonetic guide, cells without
// references.
void TestImportFile::handWrittenXlsx()
{
    const QByteArray workbook =
        "<workbook xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\" "
        "xmlns:r=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships\">"
        "<sheets><sheet name=\"data\" sheetId=\"2\" r:id=\"rId2\"/>"
        "<sheet name=\"old\" sheetId=\"1\" r:id=\"rId1\"/></sheets></workbook>";
    const QByteArray rels =
        "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
        "<Relationship Id=\"rId1\" Type=\"http://schemas.openxmlformats.org/officeDocument/2006/"
        "relationships/worksheet\" Target=\"worksheets/sheet1.xml\"/>"
        "<Relationship Id=\"rId2\" Type=\"http://schemas.openxmlformats.org/officeDocument/2006/"
        "relationships/worksheet\" Target=\"/xl/worksheets/data.xml\"/></Relationships>";
    const QByteArray shared =
        "<sst xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\" count=\"2\">"
        "<si><t>证券代码</t></si>"
        "<si><r><rPr><b/></rPr><t>委托</t></r><r><t xml:space=\"preserve\">数量</t></r>"
        "<rPh sb=\"0\" eb=\"2\"><t>ウィタク</t></rPh></si></sst>";
    const QByteArray sheet =
        "<worksheet xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\">"
        "<sheetData><row r=\"1\"><c r=\"A1\" t=\"s\"><v>0</v></c><c t=\"s\"><v>1</v></c>"
        "<c r=\"D1\" t=\"inlineStr\"><is><t>委托方向</t></is></c></row>"
        "<row r=\"3\"><c r=\"A3\" t=\"inlineStr\"><is><t>000001</t></is></c>"
        "<c r=\"B3\" t=\"str\"><f>100*5</f><v>500</v></c>"
        "<c r=\"D3\" t=\"inlineStr\"><is><r><t>卖</t></r><r><t>出</t></r></is></c></row>"
        "</sheetData></worksheet>";
    writeFile(path("handwritten.xlsx"),
              zipArchive({{"xl/workbook.xml", workbook},
                          {"xl/_rels/workbook.xml.rels", rels},
                          {"xl/sharedStrings.xml", shared},
                          {"xl/worksheets/sheet1.xml", plainSheet("不是这张表", "1")},
                          {"xl/worksheets/data.xml", sheet}}));
    QCOMPARE(outcome(path("handwritten.xlsx")),
             QStringList("000001.SZ SZ 平安银行 卖出 q=500 w=0 0/0 p=0 l=0"));
}

void TestImportFile::templatesReadBack_data()
{
    QTest::addColumn<TemplateFileType>("type");
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QString>("portType");
    QTest::newRow("normal portfolio")
        << TemplateFileType::PortfolioNormal << "普通组合模板.xlsx"
        << QStringList({"600519.SH SH 贵州茅台 买入 q=100 w=0.5 0/0 p=1450 l=0",
                        "000001.SZ SZ 平安银行 买入 q=2000 w=0.3 0/0 p=11.2 l=0",
                        "00700.HK HHK 腾讯控股 卖出 q=200 w=0.2 0/0 p=380 l=0"}) << "normal";
    QTest::newRow("algorithm portfolio")
        << TemplateFileType::PortfolioAlgo << "算法组合模板.xlsx"
        << QStringList({"600519.SH SH 贵州茅台 买入 q=100 w=0.5 0/0 p=1450 l=1480",
                        "000001.SZ SZ 平安银行 买入 q=2000 w=0.3 0/0 p=11.2 l=11.5",
                        "00700.HK HHK 腾讯控股 卖出 q=200 w=0.2 0/0 p=380 l=375"}) << "algo";
    QTest::newRow("position adjustment targets")
        << TemplateFileType::PortfolioPosAdjust << "调仓目标持仓模板.xlsx"
        << QStringList({"600519.SH SH 贵州茅台 买入 q=100 w=0.5 0/0 p=0 l=0",
                        "000001.SZ SZ 平安银行 买入 q=2000 w=0.3 0/0 p=0 l=0",
                        "00700.HK HHK 腾讯控股 买入 q=200 w=0.2 0/0 p=0 l=0"}) << "normal";
}

// A template saved through the dialog imports exactly as its example lines.
void TestImportFile::templatesReadBack()
{
    QFETCH(TemplateFileType, type);
    QFETCH(QString, fileName);
    QFETCH(QStringList, lines);
    QFETCH(QString, portType);
    QString suggested;
    // The user types a name without the suffix; the template still lands as .xlsx.
    const QString saved = path("saved-" + QString::number(int(type)));
    VeltraUtils::setSaveFileNameHook([&](QWidget *, const QString &, const QString &name) {
        suggested = name;
        return saved;
    });
    QString error = "stale";
    QVERIFY(VeltraUtils::DownloadTemplateFile(type, nullptr, QString(), &error));
    VeltraUtils::setSaveFileNameHook(nullptr);
    QVERIFY(error.isEmpty());
    QCOMPARE(suggested, fileName);

    const Imported result = importFile(saved + ".xlsx");
    QCOMPARE(result.all(), lines);
    QCOMPARE(result.extension.value(Portfolio::portType).toString(), portType);
    if (portType == "algo")
        QCOMPARE(result.extension.value(Portfolio::algoParam).toMap(),
                 QVariantMap({{ImportField::FundAccount, "100012345678"},
                              {ImportField::AlgoName, "TWAP"},
                              {ImportField::StartTime, "09:30:00"},
                              {ImportField::EndTime, "14:57:00"},
                              {ImportField::ParticipationRate, "0.1"}}));
}

void TestImportFile::templateDownloadCancelledOrFailing()
{
    VeltraUtils::setSaveFileNameHook([](QWidget *, const QString &, const QString &) {
        return QString();
    });
    QString error = "stale";
    QVERIFY(!VeltraUtils::DownloadTemplateFile(TemplateFileType::PortfolioNormal, nullptr,
                                               QString(), &error));
    QVERIFY(error.isEmpty());
    VeltraUtils::setSaveFileNameHook(nullptr);

    QVERIFY(!VeltraUtils::DownloadTemplateFile(TemplateFileType::PortfolioNormal, nullptr,
                                               path("no-such-folder/t.xlsx"), &error));
    QVERIFY2(error.startsWith("模板文件保存失败"), qPrintable(error));
}

// Whatever the read size, every construct comes back the same, also when a read ends
// inside a tag, a reference, a comment, CDATA or an instruction.
void TestImportFile::scannerAcrossReadBoundaries()
{
    const QByteArray xml =
        "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- a -- comment -->"
        "<x:sheetData xmlns:x=\"urn:s\"><x:row r='1' spans=\"a>b\"><c r=\"A&amp;1\"/>"
        "<v>中&#x6587;&#25991; &lt;&gt;&quot;&apos;</v><?pi data?><v><![CDATA[<a>]]]]></v>"
        "</x:row  ><!----></x:sheetData>\r\n";
    const QStringList expected = {"<sheetData r=>", "<row r=1>", "<c r=A&1/>", "<v r=>",
                                  "中文文 <>\"'", "</v>", "<v r=>", "<a>]]", "</v>", "</row>",
                                  "</sheetData>"};
    QCOMPARE(scanTokens(xml, 1 << 20), expected);
    for (int size = 1; size <= 48; ++size)
        QCOMPARE(scanTokens(xml, size), expected);
}

void TestImportFile::scannerRefuses_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::newRow("end tag of another element") << QByteArray("<a><b></a></b>");
    QTest::newRow("document ends inside an element") << QByteArray("<a><b>text");
    QTest::newRow("document ends inside a tag") << QByteArray("<a><b r=\"1");
    QTest::newRow("text after the root") << QByteArray("<a/>text");
    QTest::newRow("second root") << QByteArray("<a/><b/>");
    QTest::newRow("no root") << QByteArray("<?xml version=\"1.0\"?>  ");
    QTest::newRow("document type, the way to entity bombs")
        << QByteArray("<!DOCTYPE a [<!ENTITY x \"y\">]><a>&x;</a>");
    QTest::newRow("unknown entity") << QByteArray("<a>&nbsp;</a>");
    QTest::newRow("bare ampersand") << QByteArray("<a>AT&T</a>");
    QTest::newRow("surrogate character reference") << QByteArray("<a>&#xD800;</a>");
    QTest::newRow("< inside an attribute") << QByteArray("<a b=\"<\"/>");
    QTest::newRow("attribute without quotes") << QByteArray("<a b=1/>");
    QTest::newRow("unterminated comment") << QByteArray("<a><!-- x</a>");
    QTest::newRow("nesting deeper than any sheet")
        << QByteArray("<a>").repeated(XmlPullScanner::MaxDepth + 1);
}

// Not well-formed: refused with a reason, at any read size, never crashing or hanging.
void TestImportFile::scannerRefuses()
{
    QFETCH(QByteArray, xml);
    for (int size : {1, 3, 7, 1 << 20}) {
        QString error;
        QCOMPARE(scanTokens(xml, size, &error).last(), QString("INVALID"));
        QVERIFY(!error.isEmpty());
    }
}

// Each refused line is named by its row with every reason it has; when none is left
// the file imports nothing.
void TestImportFile::badLinesAreNamedByRow()
{
    writeFile(path("mixed.csv"), "证券代码,市场,委托方向,委托数量,相对权重,委托价格\n"
                                 "600519,SH,买入,100,,1500\n"      // 2 good
                                 "123456,SH,买入,100,,\n"          // 3
                                 "600519,SZ,买入,100,,\n"          // 4
                                 "000001,,买入,1.5,,\n"            // 5
                                 "000001,,买入,,-1,\n"             // 6
                                 "000001,,买,100,,\n"              // 7
                                 "000001,,买入,0,0,\n"             // 8
                                 ",,,,,\n"                         // 9 blank: skipped silently
                                 "600519.SH,上交所,卖出,100,,\n"   // 10 duplicate of 2
                                 "000003,,买入,100,,\n"            // 11 delisted
                                 "600000,NY,买入,100,,\n"          // 12
                                 "600000,SH,买入,abc,,-3\n"        // 13 two faults
                                 ",SH,买入,100,,\n"                // 14
                                 "00700,SH,买入,100,,\n"           // 15
                                 "600000,sh,,,0.25,\n");           // 16 good
    QCOMPARE(outcome(path("mixed.csv")),
             QStringList({"600519.SH SH 贵州茅台 买入 q=100 w=0 0/0 p=1500 l=0",
                          "600000.SH SH 浦发银行 买入 q=0 w=0.25 0/0 p=0 l=0",
                          "文件“mixed.csv”有12行未通过校验，其余2行可以导入：",
                          "第3行：证券代码“123456”不存在",
                          "第4行：证券代码“600519”不在市场“SZ”交易",
                          "第5行：委托数量“1.5”无效，应为不小于0的整数",
                          "第6行：相对权重“-1”无效，应为不小于0的数",
                          "第7行：委托方向“买”无效",
                          "第8行：委托数量和相对权重不能都为0",
                          "第10行：与第2行重复（600519.SH SH）",
                          "第11行：证券代码“000003”（PT金田A）已退市",
                          "第12行：市场“NY”无效",
                          "第13行：委托数量“abc”无效，应为不小于0的整数；"
                          "委托价格“-3”无效，应为不小于0的数",
                          "第14行：证券代码为空",
                          "第15行：证券代码“00700”不在市场“SH”交易"}));

    writeXlsx(path("allbad.xlsx"), {{"证券代码", "相对权重"}, {"999999", 1.0}, {"600519", "很多"}});
    QCOMPARE(outcome(path("allbad.xlsx")),
             QStringList({"文件“allbad.xlsx”中没有可导入的组合明细，2行未通过校验：",
                          "第2行：证券代码“999999”不存在",
                          "第3行：相对权重“很多”无效，应为不小于0的数"}));
}

// Portfolio-level columns: the first value of an accepted line holds; a line that gives
// another value is refused. Dates and times arrive as Excel serials or fractions of a
// day, rates as percentages; an account number that Excel turned into scientific
// notation has lost its digits and is refused.
void TestImportFile::algorithmParameters()
{
    writeXlsx(path("algo.xlsx"),
              {{"证券代码", "委托数量", "资金账号", "开始时间", "算法名称", "算法限价"},
               {"999999", 100.0, "OTHER"},
               {"600519", 100.0, "8800001", 0.395833333333333, QVariant(), 1600.0},
               {"000001", 100.0, QVariant(), "09:30:00", "VWAP"},
               {"600000", 100.0, "8800002"}});
    Imported result = importFile(path("algo.xlsx"));
    QCOMPARE(result.all(), QStringList({"600519.SH SH 贵州茅台 买入 q=100 w=0 0/0 p=0 l=1600",
                                        bought(kPingAn, 100),
                                        "文件“algo.xlsx”有2行未通过校验，其余2行可以导入：",
                                        "第2行：证券代码“999999”不存在",
                                        "第5行：资金账号“8800002”与第3行的“8800001”不一致"
                                        "（算法参数整个组合只有一个值）"}));
    QCOMPARE(result.extension.value(Portfolio::portType).toString(), QString("algo"));
    QCOMPARE(result.extension.value(Portfolio::algoParam).toMap(),
             QVariantMap({{ImportField::FundAccount, "8800001"},
                          {ImportField::AlgoName, "VWAP"},
                          {ImportField::StartTime, "09:30:00"},
                          {ImportField::EndTime, ""},
                          {ImportField::ParticipationRate, ""}}));

    writeXlsx(path("algoforms.xlsx"),
              {{"证券代码", "委托数量", "资金账号", "开始时间", "结束时间", "参与率"},
               {"600519", 100.0, "1.00012E+11"},
               {"000001", 100.0, "880010001", 45366.62, "2024-03-15 14:57", "10%"},
               {"600000", 100.0, QVariant(), "9:30", QVariant(), 10.0},
               {"600036", 100.0, QVariant(), QVariant(), "14:00:00"},
               {"601318", 100.0, QVariant(), "明早"}});
    result = importFile(path("algoforms.xlsx"));
    QCOMPARE(result.lines, QStringList(bought(kPingAn, 100)));
    QCOMPARE(result.error.split('\n').mid(1),
             QStringList({"第2行：资金账号“1.00012E+11”无效，已被Excel改写成科学计数法，原账号已丢失，"
                          "请把该列设为文本格式后重新填写",
                          "第4行：开始时间“09:30:00”与第3行的“2024-03-15 14:52:48”不一致"
                          "（算法参数整个组合只有一个值）；参与率“10”无效，"
                          "应为0到1之间的小数（如0.1）或百分数（如10%）",
                          "第5行：结束时间“14:00:00”与第3行的“2024-03-15 14:57:00”不一致"
                          "（算法参数整个组合只有一个值）",
                          "第6行：开始时间“明早”无效，不是有效的时间，应为时:分:秒（如09:30:00）或日期时间"}));
    QCOMPARE(result.extension.value(Portfolio::algoParam).toMap(),
             QVariantMap({{ImportField::FundAccount, "880010001"},
                          {ImportField::AlgoName, ""},
                          {ImportField::StartTime, "2024-03-15 14:52:48"},
                          {ImportField::EndTime, "2024-03-15 14:57:00"},
                          {ImportField::ParticipationRate, "0.1"}}));

    writeFile(path("backwards.csv"), "证券代码,委托数量,开始时间,结束时间\n600519,100,14:00,09:30\n");
    QCOMPARE(outcome(path("backwards.csv")).last(),
             QString("第2行：结束时间“09:30:00”不晚于开始时间“14:00:00”"));
}

void TestImportFile::fileFaults_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("expected");  // how the reason after "文件“…”无法导入：" starts
    const auto add = [this](const char *tag, const QString &name, const QByteArray &bytes,
                            const QString &expected) {
        writeFile(path(name), bytes);
        QTest::newRow(tag) << name << expected;
    };

    add("no code column", "nocode.csv", "代码,委托数量\n600519,100\n",
        "第1行应为列名，但没有“证券代码”列（该行为“代码”、“委托数量”；"
        "文件按文本表格，UTF-8编码，逗号分隔读取）");
    add("neither quantity nor weight column", "noqty.csv", "证券代码,委托价格\n600519,100\n",
        "第1行应为列名，但没有“委托数量”列或“相对权重”列，至少需要其中之一（该行为“证券代码”、“委托价格”；"
        "文件按文本表格，UTF-8编码，逗号分隔读取）");
    add("a known column twice", "twice.csv", "证券代码,委托数量,委托数量\n600519,100,200\n",
        "第1行有两个“委托数量”列（B列和C列），无法确定用哪一个");
    add("header only", "header-only.csv", "证券代码,委托数量\n\n", "列名行之后没有组合明细");
    add("empty file", "empty.csv", "", "文件中没有内容：第1行应为列名，如证券代码、委托数量");
    add("a quote left open", "quote.csv", "证券代码,委托数量\n600519,100\n\"000001,200\n",
        "文件格式错误：第3行的引号没有配对");
    QTest::newRow("missing file") << "absent.xlsx" << "文件不存在（" + path("absent.xlsx") + "）";
    add("unsupported extension", "list.txt", "证券代码\n600519\n",
        "不支持的文件类型“.txt”，只能导入.xlsx、.xlsm或.csv文件");
    if (geteuid() != 0) {  // root reads files whatever their permissions
        add("unreadable file", "locked.csv", "证券代码,委托数量\n600519,100\n", "文件无法打开");
        QVERIFY(QFile::setPermissions(path("locked.csv"), QFileDevice::Permissions()));
    }

    writeXlsx(path("whole.xlsx"), {{"证券代码", "委托数量"}, {"600519", 100.0}});
    QFile whole(path("whole.xlsx"));
    QVERIFY(whole.open(QIODevice::ReadOnly));
    add("truncated zip", "truncated.xlsx", whole.read(whole.size() / 2),
        "它不是有效的Excel工作簿：压缩包不完整或已损坏（找不到文件目录）");
    QByteArray noise(4096, 0);
    for (int i = 0; i < noise.size(); ++i)
        noise[i] = char((i * 7919 + 13) % 251);
    add("random bytes named .xlsx", "noise.xlsx", noise,
        "它既不是Excel工作簿，也不是文本表格（含有二进制内容）");
    add("malformed sheet XML", "badxml.xlsx",
        book("<worksheet><sheetData><row r=\"1\">" + kHeader + "</row><row><c></x>"),
        "工作表“data”已损坏：不是有效的XML（第1行：结束标签</x>与开始标签不匹配）");
    QList<ZipPart> parts = workbookParts(plainSheet("600519", "100"));
    parts[1].data = "<Relationships><";
    add("malformed relationships XML", "badrels.xlsx", zipArchive(parts),
        "工作簿关系表（xl/_rels/workbook.xml.rels）已损坏：不是有效的XML（第1行：");
    add("zip without a workbook", "nosheet.xlsx", zipArchive({{"docProps/app.xml", "<Properties/>"}}),
        "这是一个压缩包，其中没有Excel工作簿");
    add("binary workbook", "binary.xlsx", zipArchive({{"xl/workbook.bin", "x"}}),
        "这是Excel二进制工作簿（.xlsb），请在Excel中另存为.xlsx后再导入");
    add("Word document", "letter.xlsx", zipArchive({{"word/document.xml", "<w/>"}}),
        "这是Word文档，不是表格");
    add("workbook with a password", "secret.xlsx", compoundFile("EncryptedPackage"),
        "这个工作簿设有打开密码（已加密），请在Excel中取消密码并保存后再导入");
    const QString oldExcel = "这是旧版Excel格式（.xls）的工作簿，请在Excel中另存为.xlsx后再导入";
    add("old .xls workbook renamed .xlsx", "renamed.xlsx", compoundFile("Workbook"), oldExcel);
    add("old .xls workbook", "old.xls", compoundFile("Book"), oldExcel);
    add("web page saved as .xls", "page.xls",
        "<html><body><table><tr><td>证券代码</td></tr></table></body></html>",
        "这是网页（HTML）文件，不是表格文件，请在Excel中打开后另存为.xlsx再导入");
    add("Excel 2003 XML", "xml2003.xls",
        "<?xml version=\"1.0\"?><Workbook xmlns=\"urn:schemas-microsoft-com:office:spreadsheet\"/>",
        "这是Excel 2003 XML表格，请在Excel中另存为.xlsx后再导入");

    add("too many lines", "manylines.csv",
        "证券代码,委托数量\n" + QByteArray("600519,100\n").repeated(PortfolioImportFile::MaxDataLines + 1),
        "明细超过100000行，请分成多个文件导入");
    QFile big(path("big.csv"));
    QVERIFY(big.open(QIODevice::WriteOnly));
    QVERIFY(big.resize(TableFileReader::MaxFileBytes + 1));
    QTest::newRow("too many bytes") << "big.csv" << "文件过大（64.0 MiB），导入文件不能超过64 MiB";
}

// Files that cannot be used at all, by what they are or what they lack: no lines, a
// reason, no extension.
void TestImportFile::fileFaults()
{
    QFETCH(QString, fileName);
    QFETCH(QString, expected);
    QString error;
    QVariantMap extension = {{"left", "over"}};
    QVERIFY(PortfolioImportFile::read(path(fileName), error, extension).isEmpty());
    QVERIFY2(error.startsWith("文件“" + fileName + "”无法导入：" + expected), qPrintable(error));
    QVERIFY(extension.isEmpty());
}

// Excel keeps 00700 as 700 and 00005 as 5 when the column is not text: the name column
// decides between the A share and the Hong Kong stock, or the market does; a line where
// nothing decides, or where name and code disagree, is refused, never guessed.
void TestImportFile::codesThatLostTheirZerosAreDecidedByNameOrRefused()
{
    writeXlsx(path("lostzeros.xlsx"), {{"证券代码", "证券名称", "委托数量"},
                                       {700.0, "腾讯控股", 100.0},
                                       {5.0, "汇丰控股", 200.0},
                                       {5.0, QVariant(), 300.0}});
    QCOMPARE(outcome(path("lostzeros.xlsx")),
             QStringList({bought("00700.HK HHK 腾讯控股", 100), bought("00005.HK HHK 汇丰控股", 200),
                          "文件“lostzeros.xlsx”有1行未通过校验，其余2行可以导入：",
                          "第4行：证券代码“5”可能是ST星源（000005.SZ）或汇丰控股（00005.HK），"
                          "请填写市场或完整代码（如00700.HK）"}));

    writeFile(path("lostzeros.csv"), "证券代码,市场,证券名称,委托数量\n"
                                     "700,,模塑科技,100\n"      // 2: the A share, by its name
                                     "700,SZHK,,100\n"          // 3: the market decides
                                     "2318,,中国平安,100\n"     // 4: a shortened name still decides
                                     "1,,,100\n"                // 5: only one security has this code
                                     "700,,,100\n"              // 6: nothing decides
                                     "700,SZ,腾讯控股,100\n"    // 7: the name is the other security's
                                     "000700,,腾讯控股,100\n"   // 8: a Hong Kong code padded to six digits
                                     "2318,,平安银行,100\n"     // 9: a name of neither
                                     "00700.HK,,腾讯,100\n");   // 10: a full symbol needs no name
    const Imported result = importFile(path("lostzeros.csv"));
    QCOMPARE(result.lines, QStringList({bought("000700.SZ SZ 模塑科技", 100),
                                        bought("00700.HK SZHK 腾讯控股", 100),
                                        bought("02318.HK HHK 中国平安", 100), bought(kPingAn, 100),
                                        bought("00700.HK HHK 腾讯控股", 100)}));
    QCOMPARE(result.error.split('\n').mid(1),
             QStringList({"第6行：证券代码“700”可能是模塑科技（000700.SZ）或腾讯控股（00700.HK），"
                          "请填写市场或完整代码（如00700.HK）",
                          "第7行：证券代码“700”是模塑科技（000700.SZ），与证券名称“腾讯控股”不符",
                          "第8行：证券代码“000700”是模塑科技（000700.SZ），与证券名称“腾讯控股”不符",
                          "第9行：证券代码“2318”可能是久立特材（002318.SZ）或中国平安（02318.HK），"
                          "证券名称“平安银行”也无法区分，请填写市场或完整代码（如00700.HK）"}));
}

// One value per cell, the one its type names; a formula whose file keeps no result is no
// value; bytes that fail their CRC or size are no file.
void TestImportFile::eachCellYieldsOneTrustedValue()
{
    const QByteArray sheet = sheetOf(
        "<row r=\"1\">" + kHeader + is("备注") + "</row>"
        "<row r=\"2\">" + is("600519") + "<c t=\"inlineStr\"><is><t>100</t></is><v>100</v></c></row>"
        "<row r=\"3\">" + is("000001") + "<c><f>50*2</f><v></v></c></row>"
        "<row r=\"4\">" + is("600000") + "<c><f>50*2</f></c></row>"
        "<row r=\"5\">" + is("600036") + "<c><f>50*2</f><v>100</v></c><c><f>1/0</f></c></row>"
        "<row r=\"6\">" + is("601318") + "<c><v>100</v><v>200</v></c></row>");
    writeFile(path("cells.xlsx"), book(sheet));
    const QString noResult = "是公式，文件中没有它的计算结果，请在Excel中打开并保存后再导入";
    QCOMPARE(outcome(path("cells.xlsx")),
             QStringList({bought(kMoutai, 100), bought("600036.SH SH 招商银行", 100),
                          "文件“cells.xlsx”有3行未通过校验，其余2行可以导入：",
                          "第3行：单元格B3（委托数量）" + noResult,
                          "第4行：单元格B4（委托数量）" + noResult,
                          "第6行：单元格B6（委托数量）有多个值，无法确定用哪一个"}));

    // libxlsxwriter, like openpyxl and pandas, asks for recalculation on opening and
    // stores 0 as every formula's result.
    writeXlsx(path("formula.xlsx"), {{"证券代码", "委托数量"}, {"600519", "=50*2"}, {"000001", 100.0}});
    QCOMPARE(outcome(path("formula.xlsx")),
             QStringList({bought(kPingAn, 100), "文件“formula.xlsx”有1行未通过校验，其余1行可以导入：",
                          "第2行：单元格B2（委托数量）" + noResult}));

    const QByteArray plain = plainSheet("600519", "100");
    QList<ZipPart> parts = workbookParts(plain);
    parts[2].deflate = false;
    parts[2].lieAboutCrc = true;
    parts[2].crc = 0x12345678;
    writeFile(path("crc.xlsx"), zipArchive(parts));
    QCOMPARE(outcome(path("crc.xlsx")),
             QStringList("文件“crc.xlsx”无法导入：工作表“data”已损坏：校验和（CRC）不符"));
    parts = workbookParts(plain);
    parts[2].lieAboutSize = true;
    parts[2].size = quint32(plain.size() + 1);
    writeFile(path("size.xlsx"), zipArchive(parts));
    QCOMPARE(outcome(path("size.xlsx")),
             QStringList("文件“size.xlsx”无法导入：工作表“data”已损坏：解压后的大小与记录不符"));
    // A damaged byte in the compressed data of a part read whole.
    QByteArray damaged = book(plain);
    const int inData = damaged.indexOf("xl/workbook.xml") + 20;
    damaged[inData] = char(damaged.at(inData) ^ 0x55);
    writeFile(path("damaged.xlsx"), damaged);
    const QString error = importFile(path("damaged.xlsx")).error;
    QVERIFY2(error.startsWith("文件“damaged.xlsx”无法导入：工作簿目录（xl/workbook.xml）已损坏"),
             qPrintable(error));
}

// Every part is bounded by what it inflates to, not by what its directory entry claims;
// a message names twenty lines at most, and quotes a short piece of a cell.
void TestImportFile::partsAndMessagesAreBounded()
{
    const QByteArray spaces(1 << 20, ' ');
    for (const char *name :
         {"xl/workbook.xml", "xl/sharedStrings.xml", "xl/worksheets/sheet1.xml"}) {
        QList<ZipPart> parts = workbookParts("<worksheet><sheetData/></worksheet>", "<sst/>");
        for (ZipPart &part : parts) {
            if (part.name != name)
                continue;
            // Megabytes that say they are a few hundred bytes, and then that they are more
            // than any part may be.
            part = repeatedPart(name, {{spaces, 16}});
            part.size = 500;
        }
        writeFile(path("bomb.xlsx"), zipArchive(parts));
        const QString error = importFile(path("bomb.xlsx")).error;
        QVERIFY2(error.endsWith("已损坏：解压后的数据比记录的多"), qPrintable(error));
        for (ZipPart &part : parts) {
            if (part.name == name)
                part.size = 0xFFFFFF00u;
        }
        writeFile(path("bomb.xlsx"), zipArchive(parts));
        const QString honest = importFile(path("bomb.xlsx")).error;
        QVERIFY2(honest.contains(QRegularExpression("解压后有4096 MiB，超过了(8|32|64) MiB的上限，无法导入$")),
                 qPrintable(honest));
    }

    // Each bad line quotes a code as long as Excel allows: the message stays short. A
    // longer cell than Excel allows can only be damage.
    const QByteArray huge(32767, '7');
    const QByteArray csv = "证券代码,委托数量\n600519,100\n" + (huge + ",100\n").repeated(60);
    writeFile(path("hugecells.csv"), csv);
    const Imported result = importFile(path("hugecells.csv"));
    QCOMPARE(result.lines.size(), 1);
    const QStringList lines = result.error.split('\n');
    QCOMPARE(lines.size(), 1 + 20 + 1);
    QCOMPARE(lines.at(1), QString("第3行：单元格A3（证券代码）的内容过长（32767个字符）"));
    QVERIFY(lines.at(20).startsWith("第22行："));
    QCOMPARE(lines.last(), QString("……另有40行未通过校验"));
    QVERIFY(result.error.size() < 2000);
    writeFile(path("hugecells.csv"), csv + huge + "7,100\n");
    QCOMPARE(importFile(path("hugecells.csv")).error,
             QString("文件“hugecells.csv”无法导入：文件第63行的单元格超过了Excel的上限32767个字符"));
}

// Work that grew with a cell's length times its uses, or a directory's size times the
// parts looked up, is done once; the results are as for any other file.
void TestImportFile::repeatedTextAndLargeDirectoriesAreReadOnce()
{
    QByteArray rows;
    // A long run of spaces in every cell of hundreds of rows, and a long text shared by
    // the code and quantity cells of hundreds more.
    for (int r = 4; r <= 900; ++r)
        rows += "<row r=\"" + QByteArray::number(r) + "\">"
                + QByteArray(r <= 500 ? "<c t=\"s\"><v>1</v></c>" : "<c t=\"s\"><v>4</v></c>").repeated(4)
                + "</row>";
    const QByteArray shared = "<sst><si><t>证券代码</t></si><si><t xml:space=\"preserve\">"
                              + QByteArray(4 << 20, ' ') + "</t></si><si><t>  600519  </t></si>"
                              "<si><t>委托数量</t></si><si><t>=\"" + QByteArray(1 << 20, '1')
                              + "\"</t></si></sst>";
    const QByteArray sheet = sheetOf("<row r=\"1\"><c t=\"s\"><v>0</v></c>"
                                     "<c t=\"s\"><v>1</v></c><c t=\"s\"><v>1</v></c><c t=\"s\"><v>3</v></c>"
                                     "</row><row r=\"2\"><c t=\"s\"><v>1</v></c><c t=\"s\"><v>1</v></c>"
                                     "<c t=\"s\"><v>1</v></c>" + num("100") + "</row>"
                                     "<row r=\"3\"><c t=\"s\"><v>2</v></c>" + num("1") + num("1")
                                     + num("100") + "</row>" + rows);
    writeFile(path("spaces.xlsx"), book(sheet, shared));
    Imported result = importFile(path("spaces.xlsx"));
    QCOMPARE(result.lines, QStringList(bought(kMoutai, 100)));
    const QStringList lines = result.error.split('\n');
    QCOMPARE(lines.mid(1, 2), QStringList({"第2行：证券代码为空",
                                           "第501行：单元格A501（证券代码）的内容过长（1048579个字符）；"
                                           "单元格D501（委托数量）的内容过长（1048579个字符）"}));
    QCOMPARE(lines.last(), QString("……另有381行未通过校验"));

    // Every entry of the directory carries a 60 KiB extra field.
    QList<ZipPart> parts = workbookParts(plainSheet("600519", "100"));
    for (int i = 0; i < 200; ++i)
        parts.append({"xl/media/image" + QByteArray::number(i) + ".png", "x"});
    for (ZipPart &part : parts)
        part.extraFieldBytes = 60000;
    writeFile(path("extra.xlsx"), zipArchive(parts));
    QCOMPARE(outcome(path("extra.xlsx")), QStringList(bought(kMoutai, 100)));
}

// Row numbers beyond Excel's last row, going back, or repeated are damage, not lines:
// the counter that once overflowed past 2147483647 has nothing left to overflow.
void TestImportFile::rowNumbersStayInExcelsRange()
{
    const auto rowsFile = [this](const QByteArray &rows) {
        writeFile(path("rows.xlsx"), book(sheetOf("<row r=\"1\">" + kHeader + "</row>" + rows)));
        return outcome(path("rows.xlsx"));
    };
    const QByteArray line = is("600519") + num("100");
    const QList<QPair<QByteArray, QString>> cases = {
        {"<row r=\"2147483647\">" + line + "</row><row>" + line + "</row>",
         "行号“2147483647”无效，应为1到1048576"},
        {"<row r=\"1048576\">" + line + "</row><row>" + line + "</row>",
         "行数超过了Excel的上限1048576行"},
        {"<row r=\"5\">" + line + "</row><row r=\"3\">" + line + "</row>",
         "第5行之后又出现了第3行，行的顺序错乱"},
        {"<row r=\"-2\">" + line + "</row>", "行号“-2”无效，应为1到1048576"},
        {"<row r=\"2\"><c r=\"B2\"><v>1</v></c><c r=\"A2\"><v>2</v></c></row>",
         "第2行的单元格A2重复或顺序错乱"},
    };
    for (const auto &c : cases)
        QCOMPARE(rowsFile(c.first), QStringList("文件“rows.xlsx”无法导入：工作表“data”已损坏：" + c.second));
    QCOMPARE(rowsFile("<row r=\"1048575\">" + line + "</row><row>" + line + "</row>"),
             QStringList({bought(kMoutai, 100), "文件“rows.xlsx”有1行未通过校验，其余1行可以导入：",
                          "第1048576行：与第1048575行重复（600519.SH SH）"}));
}

void TestImportFile::fileKindsAndEncodingsAreRecognised_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("expected");
    const QString table = "证券代码,市场,委托方向,委托数量\n600519,上交所,卖出,100\n"
                          "159919,深交所,融资买入,200\n";
    const QStringList both = {"600519.SH SH 贵州茅台 卖出 q=100 w=0 0/0 p=0 l=0",
                              "159919.SZ SZ 沪深300ETF嘉实 融资买入 q=200 w=0 0/0 p=0 l=0"};
    QTextCodec *gb18030 = QTextCodec::codecForName("GB18030");
    QTest::newRow("UTF-8 without BOM") << "utf8.csv" << table.toUtf8() << both;
    QTest::newRow("UTF-8 with BOM") << "bom.csv" << "\xEF\xBB\xBF" + table.toUtf8() << both;
    QTest::newRow("GB18030 as Excel saves it") << "gbk.csv" << gb18030->fromUnicode(table) << both;
    QTest::newRow("GB18030 with its mark")
        << "gb.csv" << QByteArray("\x84\x31\x95\x33") + gb18030->fromUnicode(table) << both;
    QTest::newRow("CRLF line ends") << "crlf.csv" << QString(table).replace("\n", "\r\n").toUtf8() << both;
    QTest::newRow("UTF-16 with its mark, tab-separated, as Excel saves Unicode text")
        << "unicode.csv" << utf16(QString(table).replace(',', '\t'), false, true) << both;
    QTest::newRow("UTF-16 big-endian") << "be.csv" << utf16(table, true, true) << both;
    QTest::newRow("UTF-16 without a mark") << "nomark.csv" << utf16(table, false, false) << both;
    QTest::newRow("semicolons, as Excel in a European locale saves")
        << "semicolon.csv" << QString(table).replace(',', ';').toUtf8() << both;
    QTest::newRow("macro workbook") << "macro.xlsm" << QByteArray() << QStringList(bought(kMoutai, 700));
    QTest::newRow("workbook saved under a .csv name")
        << "book.csv"
        << book(sheetOf("<row>" + kHeader + "</row><row>" + is("600519") + num("100")
                        + "</row><row>" + is("000001") + num("200") + "</row>"))
        << QStringList({bought(kMoutai, 100), bought(kPingAn, 200)});
    // The record after a line break inside a field is still named by its spreadsheet row.
    QTest::newRow("quoted commas, quotes and line breaks")
        << "quoted.csv"
        << QByteArray("证券名称,证券代码,委托数量\n\"贵州茅台,白酒\",600519,\"1,000\"\n"
                      "\"平安\"\"银行\"\"\n第二行\",000001,100\nx,999999,100\n")
        << QStringList({bought(kMoutai, 1000), bought(kPingAn, 100),
                        "文件“quoted.csv”有1行未通过校验，其余2行可以导入：",
                        "第4行：证券代码“999999”不存在"});
    QTest::newRow("UTF-8 with one damaged byte in a name")
        << "stray.csv"
        << QByteArray("证券代码,证券名称,委托数量\n600519,贵州茅台,100\n000001,平安\xE9银行,200\n"
                      "000002,万科A,300\n")
        << QStringList({bought(kMoutai, 100), bought("000002.SZ SZ 万科A", 300),
                        "文件“stray.csv”有1行未通过校验，其余2行可以导入：",
                        "第3行：单元格B3（证券名称）含有无法识别的字符（文件编码有误或已损坏）"});
    QTest::newRow("a percent sign in a cell stays in the message")
        << "percent.csv" << QByteArray("证券代码,委托数量\n600519,100\n%1%2,100\n")
        << QStringList({bought(kMoutai, 100), "文件“percent.csv”有1行未通过校验，其余1行可以导入：",
                        "第3行：证券代码“%1%2”不存在"});
}

// What a file really is decides how it is read, whatever its name or encoding.
void TestImportFile::fileKindsAndEncodingsAreRecognised()
{
    QFETCH(QString, fileName);
    QFETCH(QByteArray, bytes);
    QFETCH(QStringList, expected);
    if (bytes.isEmpty())  // a macro workbook is a workbook; Excel's float noise is Excel's
        writeXlsx(path(fileName), {{"证券代码", "委托数量"}, {"600519", 700.0000000000001}});
    else
        writeFile(path(fileName), bytes);
    QCOMPARE(outcome(path(fileName)), expected);
}

// The forms spreadsheets and traders use for an unmistakable value are taken; a text
// that means one thing to one reader and another to the next is refused.
void TestImportFile::obviousFormsAreTakenAmbiguousOnesRefused()
{
    writeFile(path("forms.csv"),
              "证券代码,市场,委托数量,相对权重,委托价格\n"
              "=\"600519\",SH,\"1,000\",30%,1500\n"          // 2
              "=\"000001\",SZ,700.0000000000001,0.2,\n"      // 3
              "600000,SH,１００,１０％,\n"                    // 4: full width
              "600036,SH,\"1,5\",,\n"                         // 5
              "601318,SH,1.2E+5,,\n"                          // 6
              "601398,SH,100,30%%,\n"                         // 7
              "601988,SH,10%,,\n");                           // 8
    QCOMPARE(outcome(path("forms.csv")),
             QStringList({"600519.SH SH 贵州茅台 买入 q=1000 w=0.3 0/0 p=1500 l=0",
                          "000001.SZ SZ 平安银行 买入 q=700 w=0.2 0/0 p=0 l=0",
                          "600000.SH SH 浦发银行 买入 q=100 w=0.1 0/0 p=0 l=0",
                          "文件“forms.csv”有4行未通过校验，其余3行可以导入：",
                          "第5行：委托数量“1,5”无效，其中的逗号只能用作千位分隔符（每三位一组）",
                          "第6行：委托数量“1.2E+5”无效，是科学计数法，数值可能已被Excel截断，"
                          "请把该列设为数值格式后重新导出",
                          "第7行：相对权重“30%%”无效，应为不小于0的数",
                          "第8行：委托数量“10%”无效，不能写成百分数"}));

    // In a semicolon file the comma is the decimal point; "1.500" could be either.
    writeFile(path("european.csv"), "证券代码;委托数量;相对权重;委托价格\n"
                                    "600519;100;0,5;1.234,5\n"
                                    "000001;1.500;;\n");
    QCOMPARE(outcome(path("european.csv")),
             QStringList({"600519.SH SH 贵州茅台 买入 q=100 w=0.5 0/0 p=1234.5 l=0",
                          "文件“european.csv”有1行未通过校验，其余1行可以导入：",
                          "第3行：委托数量“1.500”无效，无法确定其中的“.”是小数点还是千位分隔符"}));
}

// The sheet the trader sees first is the one read: hidden sheets and chart sheets before
// it are passed over.
void TestImportFile::firstVisibleSheetIsRead()
{
    writeXlsx(path("hidden.xlsx"), {{"证券代码", "委托数量"}, {"000001", 100.0}},
              {{"证券代码", "委托数量"}, {"600519", 200.0}}, true);
    QCOMPARE(outcome(path("hidden.xlsx")), QStringList(bought(kMoutai, 200)));

    const QByteArray chartFirst =
        "<workbook xmlns:r=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships\">"
        "<sheets><sheet name=\"图\" sheetId=\"1\" r:id=\"rId3\"/>"
        "<sheet name=\"旧\" sheetId=\"2\" state=\"veryHidden\" r:id=\"rId2\"/>"
        "<sheet name=\"data\" sheetId=\"3\" r:id=\"rId1\"/></sheets></workbook>";
    QList<ZipPart> parts = workbookParts(plainSheet("600519", "300"));
    parts[0].data = chartFirst;
    parts[1].data.replace("</Relationships>",
                          "<Relationship Id=\"rId2\" Type=\"http://schemas.openxmlformats.org/"
                          "officeDocument/2006/relationships/worksheet\" "
                          "Target=\"worksheets/old.xml\"/>"
                          "<Relationship Id=\"rId3\" Type=\"http://schemas.openxmlformats.org/"
                          "officeDocument/2006/relationships/chartsheet\" "
                          "Target=\"chartsheets/c.xml\"/>"
                          "</Relationships>");
    writeFile(path("chart.xlsx"), zipArchive(parts));
    QCOMPARE(outcome(path("chart.xlsx")), QStringList(bought(kMoutai, 300)));

    parts[0].data.replace("sheetId=\"3\"", "sheetId=\"3\" state=\"hidden\"");
    writeFile(path("allhidden.xlsx"), zipArchive(parts));
    QCOMPARE(outcome(path("allhidden.xlsx")),
             QStringList("文件“allhidden.xlsx”无法导入：工作簿中的工作表都已隐藏，没有可导入的工作表"));
}

QTEST_GUILESS_MAIN(TestImportFile)
#include "tst_importfile.moc"
