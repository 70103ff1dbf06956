#include "fieldkeys.h"
#include "portfolioimportfile.h"
#include "tablefilereader.h"
#include "tzcore.h"
#include "veltrautils.h"
#include "xmlpullscanner.h"

#include <QBuffer>
#include <QFile>
#include <QTemporaryDir>
#include <QTextCodec>
#include <QtTest>

#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <quazip/quazipnewinfo.h>
#include <unistd.h>
#include <xlsxwriter.h>

using VeltraConstants::TemplateFileType;
Q_DECLARE_METATYPE(TemplateFileType)

namespace {

// A row for writeXlsx: a QString is written as a shared string, a number as a number,
// an invalid QVariant leaves the cell out.
using Cells = QVariantList;

void writeSheet(lxw_worksheet *sheet, const QList<Cells> &rows)
{
    for (int r = 0; r < rows.size(); ++r) {
        for (int c = 0; c < rows.at(r).size(); ++c) {
            const QVariant &v = rows.at(r).at(c);
            if (v.type() == QVariant::String)
                worksheet_write_string(sheet, r, c, v.toString().toUtf8().constData(), nullptr);
            else if (v.type() == QVariant::Bool)
                worksheet_write_boolean(sheet, r, c, v.toBool(), nullptr);
            else if (v.isValid())
                worksheet_write_number(sheet, r, c, v.toDouble(), nullptr);
        }
    }
}

void writeXlsx(const QString &path, const QList<Cells> &rows, const QList<Cells> &second = {})
{
    lxw_workbook *book = workbook_new(QFile::encodeName(path).constData());
    writeSheet(workbook_add_worksheet(book, "明细"), rows);
    if (!second.isEmpty())
        writeSheet(workbook_add_worksheet(book, "其他"), second);
    QCOMPARE(int(workbook_close(book)), int(LXW_NO_ERROR));
}

void writeZip(const QString &path, const QList<QPair<QString, QByteArray>> &parts)
{
    QuaZip zip(path);
    QVERIFY(zip.open(QuaZip::mdCreate));
    for (const auto &part : parts) {
        QuaZipFile file(&zip);
        QVERIFY(file.open(QIODevice::WriteOnly, QuaZipNewInfo(part.first)));
        file.write(part.second);
        file.close();
    }
    zip.close();
}

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
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

QStringList describe(const QList<PortfolioItem> &items)
{
    QStringList lines;
    for (const PortfolioItem &item : items)
        lines << describe(item);
    return lines;
}

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

const QByteArray workbookXml =
    "<workbook xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\" "
    "xmlns:r=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships\">"
    "<sheets><sheet name=\"data\" sheetId=\"2\" r:id=\"rId2\"/>"
    "<sheet name=\"old\" sheetId=\"1\" r:id=\"rId1\"/></sheets></workbook>";
const QByteArray relsXml =
    "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
    "<Relationship Id=\"rId1\" Type=\"http://schemas.openxmlformats.org/officeDocument/2006/"
    "relationships/worksheet\" Target=\"worksheets/sheet1.xml\"/>"
    "<Relationship Id=\"rId2\" Type=\"http://schemas.openxmlformats.org/officeDocument/2006/"
    "relationships/worksheet\" Target=\"/xl/worksheets/data.xml\"/></Relationships>";

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
    void csvEncodings_data();
    void csvEncodings();
    void csvQuotedFields();
    void badLinesAreNamedByRow();
    void allLinesBad();
    void longFaultListIsCut();
    void algoParameters();
    void fileFaults_data();
    void fileFaults();
    void unreadableFile();

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
    const QString file = path("portfolio.xlsx");
    writeXlsx(file,
              {{"委托数量", "备注", "证券代码", "市场", "委托方向", "相对权重"},
               {300.0, "核心仓", 600519.0, "SH", QVariant(), 2.0},
               {"1,000", QVariant(), 1.0, QVariant(), "卖出", QVariant()},
               {200.0, QVariant(), 700.0, "HHK", "买入", QVariant()},
               {100.0, QVariant(), "00700", "深港通", QVariant(), QVariant()}},
              {{"证券代码", "委托数量"}, {"510300", 100.0}});
    QString error;
    QVariantMap extension;
    const QList<PortfolioItem> items = PortfolioImportFile::read(file, error, extension);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QCOMPARE(describe(items),
             QStringList({"600519.SH SH 贵州茅台 买入 q=300 w=2 0/0 p=0 l=0",
                          "000001.SZ SZ 平安银行 卖出 q=1000 w=0 0/0 p=0 l=0",
                          "00700.HK HHK 腾讯控股 买入 q=200 w=0 0/0 p=0 l=0",
                          "00700.HK SZHK 腾讯控股 买入 q=100 w=0 0/0 p=0 l=0"}));
    QCOMPARE(extension.value(Portfolio::portType).toString(), QString("normal"));
    QVERIFY(!extension.contains(Portfolio::algoParam));
}

// What other spreadsheet programs write: the first sheet is not sheet1.xml, inline
// strings, formula text results, rich text with a phonetic guide, cells without
// references.
void TestImportFile::handWrittenXlsx()
{
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
    const QByteArray stale = "<worksheet><sheetData><row r=\"1\"><c t=\"inlineStr\"><is>"
                             "<t>不是这张表</t></is></c></row></sheetData></worksheet>";
    const QString file = path("handwritten.xlsx");
    writeZip(file, {{"xl/workbook.xml", workbookXml},
                    {"xl/_rels/workbook.xml.rels", relsXml},
                    {"xl/sharedStrings.xml", shared},
                    {"xl/worksheets/sheet1.xml", stale},
                    {"xl/worksheets/data.xml", sheet}});
    QString error;
    QVariantMap extension;
    const QList<PortfolioItem> items = PortfolioImportFile::read(file, error, extension);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QCOMPARE(describe(items), QStringList({"000001.SZ SZ 平安银行 卖出 q=500 w=0 0/0 p=0 l=0"}));
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
                        "00700.HK HHK 腾讯控股 卖出 q=200 w=0.2 0/0 p=380 l=0"})
        << "normal";
    QTest::newRow("algorithm portfolio")
        << TemplateFileType::PortfolioAlgo << "算法组合模板.xlsx"
        << QStringList({"600519.SH SH 贵州茅台 买入 q=100 w=0.5 0/0 p=1450 l=1480",
                        "000001.SZ SZ 平安银行 买入 q=2000 w=0.3 0/0 p=11.2 l=11.5",
                        "00700.HK HHK 腾讯控股 卖出 q=200 w=0.2 0/0 p=380 l=375"})
        << "algo";
    QTest::newRow("position adjustment targets")
        << TemplateFileType::PortfolioPosAdjust << "调仓目标持仓模板.xlsx"
        << QStringList({"600519.SH SH 贵州茅台 买入 q=100 w=0.5 0/0 p=0 l=0",
                        "000001.SZ SZ 平安银行 买入 q=2000 w=0.3 0/0 p=0 l=0",
                        "00700.HK HHK 腾讯控股 买入 q=200 w=0.2 0/0 p=0 l=0"})
        << "normal";
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
    VeltraUtils::setSaveFileNameHook([&](QWidget *, const QString &, const QString &name) {
        suggested = name;
        return path("saved-" + QString::number(int(type)));
    });
    QString error = "stale";
    QVERIFY(VeltraUtils::DownloadTemplateFile(type, nullptr, QString(), &error));
    VeltraUtils::setSaveFileNameHook(nullptr);
    QVERIFY(error.isEmpty());
    QCOMPARE(suggested, fileName);

    QVariantMap extension;
    const QList<PortfolioItem> items = PortfolioImportFile::read(
        path("saved-" + QString::number(int(type)) + ".xlsx"), error, extension);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QCOMPARE(describe(items), lines);
    QCOMPARE(extension.value(Portfolio::portType).toString(), portType);
    if (portType == "algo") {
        const QVariantMap algo = extension.value(Portfolio::algoParam).toMap();
        QCOMPARE(algo.value(ImportField::FundAccount).toString(), QString("100012345678"));
        QCOMPARE(algo.value(ImportField::AlgoName).toString(), QString("TWAP"));
        QCOMPARE(algo.value(ImportField::StartTime).toString(), QString("09:30:00"));
        QCOMPARE(algo.value(ImportField::EndTime).toString(), QString("14:57:00"));
        QCOMPARE(algo.value(ImportField::ParticipationRate).toString(), QString("0.1"));
    }
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

void TestImportFile::csvEncodings_data()
{
    const QString text = "证券代码,市场,委托方向,委托数量\n600519,上交所,卖出,100\n"
                         "159919,深交所,融资买入,200\n";
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("UTF-8 without BOM") << text.toUtf8();
    QTest::newRow("UTF-8 with BOM") << QByteArray("\xEF\xBB\xBF") + text.toUtf8();
    QTest::newRow("GB18030 as Excel saves it")
        << QTextCodec::codecForName("GB18030")->fromUnicode(text);
    QTest::newRow("CRLF line ends") << QString(text).replace("\n", "\r\n").toUtf8();
}

void TestImportFile::csvEncodings()
{
    QFETCH(QByteArray, bytes);
    const QString file = path("encoding.csv");
    writeFile(file, bytes);
    QString error;
    QVariantMap extension;
    const QList<PortfolioItem> items = PortfolioImportFile::read(file, error, extension);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QCOMPARE(describe(items),
             QStringList({"600519.SH SH 贵州茅台 卖出 q=100 w=0 0/0 p=0 l=0",
                          "159919.SZ SZ 沪深300ETF嘉实 融资买入 q=200 w=0 0/0 p=0 l=0"}));
}

// Quoted commas and quotes, and a line break inside a field: the record after it is
// still named by its spreadsheet row, not by its line in the file.
void TestImportFile::csvQuotedFields()
{
    const QString file = path("quoted.csv");
    writeFile(file, "证券名称,证券代码,委托数量\n"
                    "\"贵州茅台,白酒\",600519,\"1,000\"\n"
                    "\"平安\"\"银行\"\"\n第二行\",000001,100\n"
                    "x,999999,100\n");
    QString error;
    QVariantMap extension;
    const QList<PortfolioItem> items = PortfolioImportFile::read(file, error, extension);
    QCOMPARE(error, QString("第4行：代码999999不存在"));
    QCOMPARE(describe(items),
             QStringList({"600519.SH SH 贵州茅台 买入 q=1000 w=0 0/0 p=0 l=0",
                          "000001.SZ SZ 平安银行 买入 q=100 w=0 0/0 p=0 l=0"}));

    writeFile(file, "证券代码,委托数量\n600519,100\n\"000001,200\n");
    QVERIFY(PortfolioImportFile::read(file, error, extension).isEmpty());
    QCOMPARE(error, QString("文件格式错误：第3行的引号没有配对"));
}

void TestImportFile::longFaultListIsCut()
{
    // A message box shows the first twenty bad lines and counts the rest.
    QByteArray csv = "证券代码,市场,委托数量\n600519,SH,100\n";
    for (int i = 0; i < 30; ++i)
        csv += "123456,SH,100\n";
    const QString file = path("manybad.csv");
    writeFile(file, csv);
    QString error;
    QVariantMap extension;
    QCOMPARE(PortfolioImportFile::read(file, error, extension).size(), 1);
    const QStringList lines = error.split('\n');
    QCOMPARE(lines.size(), 21);
    QVERIFY(lines.first().startsWith(QStringLiteral("第3行：")));
    QVERIFY(lines.at(19).startsWith(QStringLiteral("第22行：")));
    QCOMPARE(lines.last(), QStringLiteral("……另有10行未通过校验"));
}

void TestImportFile::badLinesAreNamedByRow()
{
    const QString file = path("mixed.csv");
    writeFile(file, "证券代码,市场,委托方向,委托数量,相对权重,委托价格\n"
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
    QString error;
    QVariantMap extension;
    const QList<PortfolioItem> items = PortfolioImportFile::read(file, error, extension);
    QCOMPARE(describe(items),
             QStringList({"600519.SH SH 贵州茅台 买入 q=100 w=0 0/0 p=1500 l=0",
                          "600000.SH SH 浦发银行 买入 q=0 w=0.25 0/0 p=0 l=0"}));
    QCOMPARE(error.split('\n'),
             QStringList({"第3行：代码123456不存在",
                          "第4行：代码600519不在市场SZ交易",
                          "第5行：委托数量1.5无效，应为不小于0的整数",
                          "第6行：相对权重-1无效，应为不小于0的数",
                          "第7行：委托方向买无效",
                          "第8行：委托数量和相对权重不能都为0",
                          "第10行：与第2行重复（600519.SH SH）",
                          "第11行：代码000003（PT金田A）已退市",
                          "第12行：市场NY无效",
                          "第13行：委托数量abc无效，应为不小于0的整数；委托价格-3无效",
                          "第14行：证券代码为空",
                          "第15行：代码00700不在市场SH交易"}));
}

void TestImportFile::allLinesBad()
{
    const QString file = path("allbad.xlsx");
    writeXlsx(file, {{"证券代码", "相对权重"}, {"999999", 1.0}, {"600519", "很多"}});
    QString error;
    QVariantMap extension;
    QVERIFY(PortfolioImportFile::read(file, error, extension).isEmpty());
    QCOMPARE(error, QString("文件中没有有效的组合明细\n第2行：代码999999不存在\n"
                            "第3行：相对权重很多无效，应为不小于0的数"));

    writeFile(path("header-only.csv"), "证券代码,委托数量\n\n");
    QVERIFY(PortfolioImportFile::read(path("header-only.csv"), error, extension).isEmpty());
    QCOMPARE(error, QString("文件中没有有效的组合明细"));
}

// Portfolio-level columns: the first value of an accepted line holds; a line that
// gives another value is refused. Excel's fraction-of-a-day times become clock times.
void TestImportFile::algoParameters()
{
    const QString file = path("algo.xlsx");
    writeXlsx(file,
              {{"证券代码", "委托数量", "资金账号", "开始时间", "算法名称", "算法限价"},
               {"999999", 100.0, "OTHER"},
               {"600519", 100.0, "8800001", 0.395833333333333, QVariant(), 1600.0},
               {"000001", 100.0, QVariant(), "09:30:00", "VWAP"},
               {"600000", 100.0, "8800002"}});
    QString error;
    QVariantMap extension;
    const QList<PortfolioItem> items = PortfolioImportFile::read(file, error, extension);
    QCOMPARE(items.size(), 2);
    QCOMPARE(items.at(0).AlgoLimitPrice(), 1600.0);
    QCOMPARE(error, QString("第2行：代码999999不存在\n第5行：算法参数与首行不一致：资金账号为"
                            "8800002，第3行为8800001"));
    QCOMPARE(extension.value(Portfolio::portType).toString(), QString("algo"));
    const QVariantMap expected = {{ImportField::FundAccount, "8800001"},
                                  {ImportField::AlgoName, "VWAP"},
                                  {ImportField::StartTime, "09:30:00"},
                                  {ImportField::EndTime, ""},
                                  {ImportField::ParticipationRate, ""}};
    QCOMPARE(extension.value(Portfolio::algoParam).toMap(), expected);
}

void TestImportFile::fileFaults_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("expected");

    writeFile(path("nocode.csv"), "代码,委托数量\n600519,100\n");
    QTest::newRow("no code column") << "nocode.csv" << "文件缺少“证券代码”列";
    writeFile(path("noqty.csv"), "证券代码,委托价格\n600519,100\n");
    QTest::newRow("neither quantity nor weight column")
        << "noqty.csv" << "文件缺少“委托数量”列或“相对权重”列";
    writeFile(path("empty.csv"), "");
    QTest::newRow("empty file") << "empty.csv" << "文件为空";
    QTest::newRow("missing file") << "absent.xlsx" << "文件不存在";
    writeFile(path("list.txt"), "证券代码\n600519\n");
    QTest::newRow("unsupported extension") << "list.txt" << "不支持的文件类型“.txt”";
    writeFile(path("old.xls"), QByteArray::fromHex("D0CF11E0A1B11AE1"));
    QTest::newRow("old Excel format") << "old.xls" << "不支持旧版Excel格式（.xls）";
    writeFile(path("renamed.xlsx"), QByteArray::fromHex("D0CF11E0A1B11AE1") + QByteArray(600, 0));
    QTest::newRow("old Excel file renamed .xlsx")
        << "renamed.xlsx" << "文件是旧版Excel格式（.xls）";

    writeXlsx(path("whole.xlsx"), {{"证券代码", "委托数量"}, {"600519", 100.0}});
    QFile whole(path("whole.xlsx"));
    QVERIFY(whole.open(QIODevice::ReadOnly));
    writeFile(path("truncated.xlsx"), whole.read(whole.size() / 2));
    QTest::newRow("truncated zip") << "truncated.xlsx" << "文件不是有效的.xlsx文件";
    QByteArray noise(4096, 0);
    for (int i = 0; i < noise.size(); ++i)
        noise[i] = char((i * 7919 + 13) % 251);
    writeFile(path("noise.xlsx"), noise);
    QTest::newRow("random bytes named .xlsx") << "noise.xlsx" << "文件不是有效的.xlsx文件";

    const QByteArray badSheet = "<worksheet><sheetData><row r=\"1\">"
                                "<c t=\"inlineStr\"><is><t>证券代码</t></is></c>"
                                "<c t=\"inlineStr\"><is><t>委托数量</t></is></c></row>"
                                "<row><c></x>";
    writeZip(path("badxml.xlsx"), {{"xl/workbook.xml", workbookXml},
                                   {"xl/_rels/workbook.xml.rels", relsXml},
                                   {"xl/worksheets/data.xml", badSheet}});
    QTest::newRow("malformed sheet XML")
        << "badxml.xlsx" << "文件已损坏：xl/worksheets/data.xml不是有效的XML";
    writeZip(path("badrels.xlsx"), {{"xl/workbook.xml", workbookXml},
                                    {"xl/_rels/workbook.xml.rels", "<Relationships><"}});
    QTest::newRow("malformed relationships XML")
        << "badrels.xlsx" << "文件已损坏：xl/_rels/workbook.xml.rels不是有效的XML";
    writeZip(path("nosheet.xlsx"), {{"docProps/app.xml", "<Properties/>"}});
    QTest::newRow("zip without a worksheet") << "nosheet.xlsx" << "文件中没有工作表";

    QByteArray lines = "证券代码,委托数量\n";
    for (int i = 0; i <= PortfolioImportFile::MaxDataLines; ++i)
        lines += "600519,100\n";
    writeFile(path("manylines.csv"), lines);
    QTest::newRow("too many lines") << "manylines.csv" << "文件中的明细超过100000行";
    QFile big(path("big.csv"));
    QVERIFY(big.open(QIODevice::WriteOnly));
    QVERIFY(big.resize(TableFileReader::MaxFileBytes + 1));
    QTest::newRow("too many bytes") << "big.csv" << "导入文件不能超过64 MiB";
}

// Files that cannot be used at all: an empty list, a reason, no extension.
void TestImportFile::fileFaults()
{
    QFETCH(QString, fileName);
    QFETCH(QString, expected);
    QString error;
    QVariantMap extension = {{"left", "over"}};
    QVERIFY(PortfolioImportFile::read(path(fileName), error, extension).isEmpty());
    QVERIFY2(error.contains(expected), qPrintable(error));
    QVERIFY(extension.isEmpty());
}

void TestImportFile::unreadableFile()
{
    if (geteuid() == 0)
        QSKIP("root reads files whatever their permissions");
    const QString file = path("locked.csv");
    writeFile(file, "证券代码,委托数量\n600519,100\n");
    QVERIFY(QFile::setPermissions(file, QFileDevice::Permissions()));
    QString error;
    QVariantMap extension;
    QVERIFY(PortfolioImportFile::read(file, error, extension).isEmpty());
    QVERIFY2(error.startsWith("文件无法打开"), qPrintable(error));
}

QTEST_GUILESS_MAIN(TestImportFile)
#include "tst_importfile.moc"
