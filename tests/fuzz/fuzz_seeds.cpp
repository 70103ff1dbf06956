// Writes the seed corpora of the fuzz targets into a folder: the project's own import
// templates, the parts inside them, and small text tables of the forms the reader knows.
// and frames of the requests a desk sends the back end.
// Usage: fuzz_seeds DIR (creates DIR/csv, DIR/zip, DIR/xlsx, DIR/xml, DIR/wire)

#include "cmessagecommon.h"
#include "cpackmessagecommon.h"
#include "fieldkeys.h"
#include "msgtypes.h"
#include "portfoliotemplatewriter.h"
#include "zippackage.h"
#include "zipwriter.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTextCodec>

namespace {

void write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
}

QByteArray part(const QString &book, const QByteArray &name)
{
    QFile file(book);
    if (!file.open(QIODevice::ReadOnly))
        return QByteArray();
    ZipPackage zip(&file);
    QString error;
    ZipPackage::Entry entry;
    QByteArray bytes;
    if (!zip.open(error) || zip.find(name, entry) != ZipPackage::Found
        || !zip.readPart(entry, 1 << 20, QString(), bytes, error))
        return QByteArray();
    return bytes;
}

const QList<QByteArray> &textTables()
{
    static const QList<QByteArray> tables = {
        "证券代码,市场,证券名称,委托方向,委托数量,相对权重,委托价格\n"
        "600519,SH,贵州茅台,买入,100,0.5,1450\n000001,SZ,平安银行,卖出,\"1,000\",30%,11.2\n"
        "00700,HHK,腾讯控股,,200,,380\n700,,腾讯控股,买入,700.0000000000001,,\n",
        "\xEF\xBB\xBF证券代码,委托数量\n=\"600519\",100\n\"平安\"\"银行\"\"\n\",1\n,,\n",
        "证券代码;委托数量;相对权重\n600519;1.500;0,5\n000001;100;1.234,5\n",
        "证券代码,委托数量,资金账号,算法名称,开始时间,结束时间,参与率\n"
        "600519,100,880010001,TWAP,09:30,14:57:00,10%\n000001,100,1.00012E+11,,45366.62,,0.1\n",
        "证券代码,委托数量,委托数量\n600519,100,200\n",
        "<html><table><tr><td>证券代码</td></tr></table></html>",
    };
    return tables;
}

// One request of each kind a desk sends, with the fields it fills.
QList<QByteArray> requestFrames()
{
    QList<QByteArray> frames;
    quint64 id = 100;
    auto frame = [&](const QString &type, const CPackMessageCommon &body) {
        frames.append(CMessageCommon::request(++id, QStringLiteral("TZApp.PortfoliosList"), type,
                                              body.GetPackedMsg(false))
                          .toWire());
    };
    CPackMessageCommon user;
    user.AddVaule(RequestField::userID, QStringLiteral("demo"));
    frame(MsgType::queryPortfolioRequest, user);
    frame(MsgType::queryStrategyRequest, user);
    frame(MsgType::queryAccountRequest, user);
    CPackMessageCommon create = user;
    create.AddVaule(RequestField::alterType, QStringLiteral("c"));
    create.AddVaule(RequestField::strategyNo, QStringLiteral("1"));
    create.AddVaule(RequestField::portfolioName, QStringLiteral("组合一"));
    create.AddVaule(RequestField::portfolioExtensionDescription, QStringLiteral("{\"algo\":\"TWAP\"}"));
    frame(MsgType::alterPortfolioRequest, create);
    CPackMessageCommon lines;
    lines.AddVaule(RequestField::alterType, QStringLiteral("c"));
    lines.AddVaule(RequestField::portfolioNo, QStringLiteral("100001"));
    for (const char *code : {"600519", "000001"}) {
        lines.AddRow();
        lines.AddRowVaule({{RequestField::securityID, QString::fromLatin1(code)},
                           {RequestField::securityExchange, QStringLiteral("SH")},
                           {RequestField::side, QStringLiteral("1")},
                           {RequestField::tradeQty, 100},
                           {RequestField::positionWeight, 0.5}});
    }
    lines.AddVaule(RequestField::subGroupNumber, 2);
    frame(MsgType::alterPortfolioDetailRequest, lines);
    CPackMessageCommon remove = user;
    remove.AddRow();
    remove.AddRowVaule(RequestField::portfolioNo, QStringLiteral("100001"));
    frame(MsgType::deletePortfolioRequest, remove);
    CPackMessageCommon subscribe;
    subscribe.AddRow();
    subscribe.AddRowVaule(Security::symbol, QStringLiteral("600519.SH"));
    frame(MsgType::subscribeQuoteRequest, subscribe);
    CPackMessageCommon positions;
    positions.AddVaule(AccountField::fundAccount, QStringLiteral("880010001"));
    positions.AddVaule(RequestField::positionStr, QStringLiteral("SH:600000"));
    frame(MsgType::queryPositionRequest, positions);
    return frames;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 2)
        qFatal("usage: fuzz_seeds DIR");
    const QDir dir(QString::fromLocal8Bit(argv[1]));
    for (const char *sub : {"csv", "zip", "xlsx", "xml", "wire"})
        dir.mkpath(QLatin1String(sub));
    const QList<QByteArray> frames = requestFrames();
    for (int i = 0; i < frames.size(); ++i)
        write(dir.filePath(QStringLiteral("wire/%1").arg(i + 1)), frames.at(i));

    int n = 0;
    for (const QByteArray &table : textTables()) {
        write(dir.filePath(QStringLiteral("csv/%1.csv").arg(++n)), table);
        const QString text = QString::fromUtf8(table);
        write(dir.filePath(QStringLiteral("csv/%1-gb.csv").arg(n)),
              QTextCodec::codecForName("GB18030")->fromUnicode(text));
        QByteArray utf16("\xFF\xFE");
        utf16.append(reinterpret_cast<const char *>(text.utf16()), text.size() * 2);
        write(dir.filePath(QStringLiteral("csv/%1-utf16.csv").arg(n)), utf16);
    }

    using VeltraConstants::TemplateFileType;
    for (TemplateFileType type : {TemplateFileType::PortfolioNormal,
                                  TemplateFileType::PortfolioAlgo,
                                  TemplateFileType::PortfolioPosAdjust}) {
        const QString book = dir.filePath(QStringLiteral("zip/template%1.xlsx").arg(int(type)));
        QString error;
        if (!PortfolioTemplateWriter::write(type, book, &error))
            qFatal("%s", qPrintable(error));
        const QByteArray sheet = part(book, "xl/worksheets/sheet1.xml");
        const QByteArray shared = part(book, "xl/sharedStrings.xml");
        const QByteArray workbook = part(book, "xl/workbook.xml");
        const QByteArray rels = part(book, "xl/_rels/workbook.xml.rels");
        write(dir.filePath(QStringLiteral("xlsx/template%1").arg(int(type))),
              sheet + '\x1e' + shared + '\x1e' + workbook + '\x1e' + rels);
        write(dir.filePath(QStringLiteral("xml/sheet%1").arg(int(type))), '\x07' + sheet);
        write(dir.filePath(QStringLiteral("xml/shared%1").arg(int(type))), '\x03' + shared);
        write(dir.filePath(QStringLiteral("xml/workbook%1").arg(int(type))), '\x01' + workbook);
    }

    // Sheets of the other writers' forms: inline strings, formulas with and without
    // their results, several values, references, rows without numbers.
    const QByteArray sheet =
        "<worksheet><sheetData><row r=\"1\"><c r=\"A1\" t=\"inlineStr\"><is><t>证券代码</t></is>"
        "</c><c r=\"B1\" t=\"inlineStr\"><is><r><t>委托</t></r><r><t>数量</t></r></is></c></row>"
        "<row r=\"2\"><c r=\"A2\" t=\"inlineStr\"><is><t>&#x36;00519</t></is></c><c r=\"B2\">"
        "<f>50*2</f><v></v></c></row><row><c t=\"n\"><v>700</v></c><c><v>1</v><v>2</v></c></row>"
        "<row r=\"9\"><c r=\"A9\" t=\"s\"><v>0</v></c><c r=\"B9\" t=\"str\"><f>A1</f><v>100</v></c>"
        "</row></sheetData></worksheet>";
    const QByteArray shared = "<sst><si><t xml:space=\"preserve\">  000001 </t></si></sst>";
    write(dir.filePath(QStringLiteral("xlsx/forms")), sheet + '\x1e' + shared);
    write(dir.filePath(QStringLiteral("xml/forms")), '\x05' + sheet);
    write(dir.filePath(QStringLiteral("zip/forms.xlsx")), zipArchive(workbookParts(sheet, shared)));
    return 0;
}
