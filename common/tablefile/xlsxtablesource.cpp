#include "xlsxtablesource.h"

#include "readaheaddevice.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QXmlStreamReader>
#include <cmath>

namespace {

using Bytes = XmlPullScanner::Bytes;

bool equals(Bytes bytes, const char *text)
{
    const size_t length = std::strlen(text);
    return bytes.data && size_t(bytes.size) == length
           && std::memcmp(bytes.data, text, length) == 0;
}

bool isBlank(const char *data, int size)
{
    for (int i = 0; i < size; ++i) {
        const char c = data[i];
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n')
            return false;
    }
    return true;
}

// Cell text as the reader hands it on: decoded and without surrounding white space, so
// that a long run of spaces in a shared string is cut once, not once per cell using it.
QString cellText(const char *data, int size)
{
    QString text = QString::fromUtf8(data, size);
    if (!text.isEmpty() && (text.at(0).isSpace() || text.at(text.size() - 1).isSpace()))
        return text.trimmed();
    return text;
}

// A number cell as Excel shows it: whole numbers in full (600519, not 6.00519E5) and
// others to the 15 significant digits Excel keeps (700, not 700.0000000000001).
QString numberText(const char *p, int size)
{
    // A plain decimal of at most 15 digits is already that text, unless its fraction
    // ends in 0 (1000.0).
    int i = (size > 0 && p[0] == '-') ? 1 : 0;
    int digits = 0;
    int dot = -1;
    for (; i < size; ++i) {
        if (p[i] >= '0' && p[i] <= '9')
            ++digits;
        else if (p[i] == '.' && dot < 0)
            dot = i;
        else
            break;
    }
    const bool plain = i == size && digits > 0 && digits <= 15 && dot != size - 1
                       && (dot < 0 || p[size - 1] != '0') && dot != 0;
    if (plain)
        return QString::fromLatin1(p, size);
    bool ok = false;
    const double value = QByteArray(p, size).trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return cellText(p, size);
    if (value == std::floor(value) && std::fabs(value) < 1e15)
        return QString::number(qint64(value));
    return QString::number(value, 'g', 15);
}

// The index of a shared string cell; -1 when it is none.
int sharedIndex(const char *text, int size)
{
    while (size > 0 && (text[size - 1] == ' ' || text[size - 1] == '\n'))
        --size;
    int i = 0;
    while (i < size && (text[i] == ' ' || text[i] == '\n'))
        ++i;
    if (i == size || size - i > 9)
        return -1;
    int index = 0;
    for (; i < size; ++i) {
        if (text[i] < '0' || text[i] > '9')
            return -1;
        index = index * 10 + (text[i] - '0');
    }
    return index;
}

// "C7" -> 2. -1 without letters, beyond three of them, or without a row after them.
int columnOf(Bytes reference)
{
    int column = 0;
    int letters = 0;
    for (; letters < reference.size; ++letters) {
        const char c = reference.data[letters];
        if (c >= 'A' && c <= 'Z')
            column = column * 26 + (c - 'A' + 1);
        else if (c >= 'a' && c <= 'z')
            column = column * 26 + (c - 'a' + 1);
        else
            break;
        if (letters == 3)
            return -1;
    }
    if (letters == 0 || letters == reference.size || reference.data[letters] < '1'
        || reference.data[letters] > '9')
        return -1;
    return column - 1;
}

// A row number of Excel's range, 1 to 1,048,576; 0 for anything else.
int rowNumberOf(Bytes text)
{
    if (text.size == 0 || text.size > 7)
        return 0;
    int number = 0;
    for (int i = 0; i < text.size; ++i) {
        const char c = text.data[i];
        if (c < '0' || c > '9')
            return 0;
        number = number * 10 + (c - '0');
    }
    return number <= TableFileReader::MaxRows ? number : 0;
}

// Text of a rich or plain string, the scanner standing on its <si> or <is>: the <t> of
// the string itself or of its runs (<r>). Phonetic guides (<rPh>) also hold <t> but are
// not part of the text.
bool readStringItem(XmlPullScanner &xml, QByteArray &text)
{
    if (xml.isSelfClosing())
        return true;
    int depth = 0;
    bool inRun = false;
    bool inText = false;
    for (;;) {
        switch (xml.next()) {
        case XmlPullScanner::StartElement:
            if (xml.isSelfClosing())
                break;
            ++depth;
            if (depth == 1) {
                inRun = xml.isElement("r");
                inText = xml.isElement("t");
            } else {
                inText = depth == 2 && inRun && xml.isElement("t");
            }
            break;
        case XmlPullScanner::EndElement:
            if (depth == 0)
                return true;
            inText = false;
            if (--depth == 0)
                inRun = false;
            break;
        case XmlPullScanner::Text:
            if (inText)
                xml.appendText(text);
            break;
        case XmlPullScanner::EndDocument:
        case XmlPullScanner::Invalid:
            return false;
        }
    }
}

// Calls visit for every start element of a small part read whole. False with a reason
// when it is no well-formed XML, or declares a document type (the way entity bombs
// come in; no spreadsheet part has one).
template <typename Visit>
bool forEachElement(const QByteArray &xml, const QString &what, QString &error, Visit visit)
{
    QXmlStreamReader reader(xml);
    while (!reader.atEnd()) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (token == QXmlStreamReader::DTD) {
            error = what + QStringLiteral("已损坏：含有文档类型声明");
            return false;
        }
        if (token == QXmlStreamReader::StartElement)
            visit(reader);
    }
    if (reader.hasError()) {
        error = what + QStringLiteral("已损坏：不是有效的XML（第%1行：%2）")
                           .arg(QString::number(reader.lineNumber()), reader.errorString());
        return false;
    }
    return true;
}

// Targets are relative to xl/ unless they start at the package root.
QString partOf(const QString &target)
{
    return target.startsWith(QLatin1Char('/')) ? target.mid(1)
                                               : QDir::cleanPath(QStringLiteral("xl/") + target);
}

} // namespace

QString XlsxTableSource::description() const
{
    return QStringLiteral("Excel工作簿，") + sheetWhat();
}

QString XlsxTableSource::sheetWhat() const
{
    return QStringLiteral("工作表“") + m_sheetName + QStringLiteral("”");
}

bool XlsxTableSource::damaged(QString &error, const QString &reason)
{
    m_done = true;
    error = m_partWhat + QStringLiteral("已损坏：") + reason;
    return false;
}

// The reason a streamed part stopped before its end: data that failed its checks, or
// text that is not well-formed XML.
bool XlsxTableSource::streamFault(QString &error)
{
    m_done = true;
    if (m_part && m_scan && m_scan->deviceFailed())
        error = m_part->errorString();
    else if (m_scan)
        error = m_partWhat + QStringLiteral("已损坏：不是有效的XML（第%1行：%2）")
                                 .arg(QString::number(m_scan->lineNumber()),
                                      m_scan->errorString());
    else
        error = m_partWhat + QStringLiteral("已损坏");
    return false;
}

bool XlsxTableSource::open(QFile &file, QString &error)
{
    m_zip = std::make_unique<ZipPackage>(&file);
    QString reason;
    if (!m_zip->open(reason)) {
        error = QStringLiteral("它不是有效的Excel工作簿：") + reason;
        return false;
    }
    if (!readPackageKind(error))
        return false;
    QString sheetPart;
    QString sharedPart;
    if (!findSheet(sheetPart, sharedPart, error))
        return false;
    // The sheet starts inflating now, on a thread of its own, while the shared strings
    // are read here.
    std::unique_ptr<QIODevice> sheet = openSheet(file, sheetPart, error);
    if (!sheet)
        return false;
    if (!sharedPart.isEmpty() && !readSharedStrings(sharedPart, error))
        return false;
    startScanning(std::move(sheet), sheetWhat());
    m_lastRow = 0;
    return true;
}

std::unique_ptr<QIODevice> XlsxTableSource::openSheet(QFile &file, const QString &part,
                                                      QString &error)
{
    const QString what = sheetWhat();
    auto own = std::make_unique<QFile>(file.fileName());
    if (!own->open(QIODevice::ReadOnly) || own->size() != file.size())
        return openPart(part, MaxSheetBytes, what, error);
    std::unique_ptr<QIODevice> sheet = openPart(part, MaxSheetBytes, what, error, own.get());
    if (!sheet)
        return nullptr;
    return std::make_unique<ReadAheadDevice>(std::move(own), std::move(sheet));
}

void XlsxTableSource::startScanning(std::unique_ptr<QIODevice> part, const QString &what)
{
    m_scan.reset();
    m_part = std::move(part);
    m_partWhat = what;
    m_scan = std::make_unique<XmlPullScanner>(m_part.get());
}

// Zip archives that are not workbooks, named for what they are.
bool XlsxTableSource::readPackageKind(QString &error)
{
    if (m_zip->contains("xl/workbook.xml"))
        return true;
    if (m_zip->contains("xl/workbook.bin"))
        error = QStringLiteral("这是Excel二进制工作簿（.xlsb），请在Excel中另存为.xlsx后再导入");
    else if (m_zip->contains("mimetype") && m_zip->contains("content.xml"))
        error = QStringLiteral("这是OpenDocument文档（如.ods），请另存为.xlsx后再导入");
    else if (m_zip->contains("word/document.xml"))
        error = QStringLiteral("这是Word文档，不是表格");
    else if (m_zip->contains("ppt/presentation.xml"))
        error = QStringLiteral("这是PowerPoint演示文稿，不是表格");
    else
        error = QStringLiteral("这是一个压缩包，其中没有Excel工作簿");
    return false;
}

// The directory entry of a part; false with a reason when it is missing or ambiguous.
bool XlsxTableSource::findPart(const QString &name, const QString &what, ZipPackage::Entry &entry,
                               QString &error)
{
    switch (m_zip->find(name.toUtf8(), entry)) {
    case ZipPackage::Missing:
        error = what + QStringLiteral("不存在，工作簿不完整");
        return false;
    case ZipPackage::Duplicate:
        error = QStringLiteral("工作簿已损坏：其中有两个%1").arg(name);
        return false;
    case ZipPackage::Found:
        break;
    }
    return true;
}

bool XlsxTableSource::readSmallPart(const QString &name, const QString &what, QByteArray &xml,
                                    QString &error)
{
    ZipPackage::Entry entry;
    return findPart(name, what, entry, error)
           && m_zip->readPart(entry, MaxSmallPartBytes, what, xml, error);
}

std::unique_ptr<QIODevice> XlsxTableSource::openPart(const QString &name, qint64 limit,
                                                     const QString &what, QString &error,
                                                     QFile *file)
{
    ZipPackage::Entry entry;
    if (!findPart(name, what, entry, error))
        return nullptr;
    return m_zip->openPart(entry, limit, what, error, file);
}

// The first visible worksheet in the workbook's order (not necessarily sheet1.xml: a
// user who moved sheets around has the first tab elsewhere), and the shared strings.
// A hidden sheet is skipped, as are chart sheets: what the user sees first is read.
bool XlsxTableSource::findSheet(QString &sheetPart, QString &sharedPart, QString &error)
{
    struct Sheet
    {
        QString name;
        QString relation;
        bool visible;
    };
    QVector<Sheet> sheets;
    QByteArray xml;
    const QString bookWhat = QStringLiteral("工作簿目录（xl/workbook.xml）");
    if (!readSmallPart(QStringLiteral("xl/workbook.xml"), bookWhat, xml, error))
        return false;
    const bool bookOk = forEachElement(xml, bookWhat, error, [&](QXmlStreamReader &r) {
        const QXmlStreamAttributes attributes = r.attributes();
        if (r.name() == QLatin1String("sheet")) {
            Sheet sheet;
            sheet.name = attributes.value(QLatin1String("name")).toString().left(31);
            const QStringRef state = attributes.value(QLatin1String("state"));
            sheet.visible = state.isEmpty() || state == QLatin1String("visible");
            for (const QXmlStreamAttribute &a : attributes) {
                if (a.name() == QLatin1String("id") && !a.namespaceUri().isEmpty())
                    sheet.relation = a.value().toString();
            }
            if (sheets.size() < TableFileReader::MaxColumns)
                sheets.append(sheet);
        } else if (r.name() == QLatin1String("calcPr")) {
            const QStringRef full = attributes.value(QLatin1String("fullCalcOnLoad"));
            m_recalculatedOnOpen = full == QLatin1String("1") || full == QLatin1String("true");
        }
    });
    if (!bookOk)
        return false;

    struct Relation
    {
        QString type;
        QString part;
    };
    QHash<QString, Relation> relations;
    const QString relsWhat = QStringLiteral("工作簿关系表（xl/_rels/workbook.xml.rels）");
    if (!readSmallPart(QStringLiteral("xl/_rels/workbook.xml.rels"), relsWhat, xml, error))
        return false;
    const bool relsOk = forEachElement(xml, relsWhat, error, [&](QXmlStreamReader &r) {
        if (r.name() != QLatin1String("Relationship"))
            return;
        const QXmlStreamAttributes attributes = r.attributes();
        if (attributes.value(QLatin1String("TargetMode")) == QLatin1String("External"))
            return;
        const QString type = attributes.value(QLatin1String("Type")).toString();
        const QString part = partOf(attributes.value(QLatin1String("Target")).toString());
        relations.insert(attributes.value(QLatin1String("Id")).toString(), {type, part});
        if (type.endsWith(QLatin1String("/sharedStrings")))
            sharedPart = part;
    });
    if (!relsOk)
        return false;

    // Some writers leave the shared strings out of the relationships; Excel finds them.
    if (sharedPart.isEmpty() && m_zip->contains("xl/sharedStrings.xml"))
        sharedPart = QStringLiteral("xl/sharedStrings.xml");
    bool hidden = false;
    for (const Sheet &sheet : qAsConst(sheets)) {
        const Relation relation = relations.value(sheet.relation);
        if (!relation.type.endsWith(QLatin1String("/worksheet")))
            continue;
        if (!sheet.visible) {
            hidden = true;
            continue;
        }
        m_sheetName = sheet.name;
        sheetPart = relation.part;
        return true;
    }
    error = hidden ? QStringLiteral("工作簿中的工作表都已隐藏，没有可导入的工作表")
                   : QStringLiteral("工作簿中没有工作表");
    return false;
}

bool XlsxTableSource::readSharedStrings(const QString &part, QString &error)
{
    const QString what = QStringLiteral("工作簿的共享文本（%1）").arg(part);
    std::unique_ptr<QIODevice> device = openPart(part, MaxSharedStringsBytes, what, error);
    if (!device)
        return false;
    startScanning(std::move(device), what);
    XmlPullScanner &xml = *m_scan;
    QByteArray text;
    for (;;) {
        const XmlPullScanner::Token token = xml.next();
        if (token == XmlPullScanner::EndDocument)
            break;
        if (token == XmlPullScanner::Invalid)
            return streamFault(error);
        if (token != XmlPullScanner::StartElement)
            continue;
        if (xml.isElement("sst")) {
            const int count = xml.attributeBytes("uniqueCount").toInt();
            if (count > 0)
                m_shared.reserve(qMin(count, 1024 * 1024));
        } else if (xml.isElement("si")) {
            Bytes plain;
            bool references = false;
            if (xml.readSimpleContent("t", plain, references)) {
                if (!references) {
                    m_shared.append(cellText(plain.data, plain.size));
                    continue;
                }
                text.resize(0);
                XmlPullScanner::decode(plain, text);
                m_shared.append(cellText(text.constData(), text.size()));
                continue;
            }
            text.resize(0);
            if (!readStringItem(xml, text))
                return streamFault(error);
            m_shared.append(cellText(text.constData(), text.size()));
        }
    }
    m_scan.reset();
    m_part.reset();
    return true;
}

bool XlsxTableSource::readRow(TableRow &row, QString &error)
{
    if (m_done || !m_scan)
        return false;
    XmlPullScanner &xml = *m_scan;
    for (;;) {
        XmlPullScanner::Token token = xml.next();
        if (token == XmlPullScanner::Invalid)
            return streamFault(error);
        if (token == XmlPullScanner::EndDocument
            || (token == XmlPullScanner::EndElement && m_inSheetData
                && xml.isElement("sheetData"))) {
            finishSheet(error);
            return false;
        }
        if (token != XmlPullScanner::StartElement)
            continue;
        if (!m_inSheetData) {
            m_inSheetData = xml.isElement("sheetData") && !xml.isSelfClosing();
            continue;
        }
        if (!xml.isElement("row")) {
            if (!xml.skipElement())
                return streamFault(error);
            continue;
        }

        const Bytes numberAttribute = xml.rawAttribute("r");
        int number = m_lastRow + 1;
        if (numberAttribute.data) {
            number = rowNumberOf(numberAttribute);
            if (number == 0)
                return damaged(error, QStringLiteral("行号“%1”无效，应为1到%2")
                                          .arg(QString::fromUtf8(numberAttribute.data,
                                                                 qMin(numberAttribute.size, 20)),
                                               QString::number(TableFileReader::MaxRows)));
        }
        if (number > TableFileReader::MaxRows)
            return damaged(error, QStringLiteral("行数超过了Excel的上限%1行")
                                      .arg(TableFileReader::MaxRows));
        if (number <= m_lastRow)
            return damaged(error, QStringLiteral("第%1行之后又出现了第%2行，行的顺序错乱")
                                      .arg(QString::number(m_lastRow), QString::number(number)));
        m_lastRow = number;
        beginRow(row);
        row.number = number;
        int nextColumn = 0;
        for (bool open = !xml.isSelfClosing(); open;) {
            token = xml.next();
            if (token == XmlPullScanner::EndElement)
                break;
            if (token == XmlPullScanner::Text)
                continue;
            if (token != XmlPullScanner::StartElement)
                return streamFault(error);
            const bool fine = xml.isElement("c") ? readCell(row, nextColumn, error)
                                                 : xml.skipElement();
            if (!fine)
                return error.isEmpty() ? streamFault(error) : false;
        }
        endRow(row);
        return true;
    }
}

// One <c> element, the scanner standing on its start. A cell without a reference
// follows the one before it.
bool XlsxTableSource::readCell(TableRow &row, int &nextColumn, QString &error)
{
    XmlPullScanner &xml = *m_scan;
    int column = nextColumn;
    const Bytes reference = xml.rawAttribute("r");
    if (reference.data) {
        column = columnOf(reference);
        if (column < nextColumn) {
            const QString written = QString::fromUtf8(reference.data, qMin(reference.size, 20));
            return damaged(error, column < 0 ? QStringLiteral("第%1行的单元格位置“%2”无效")
                                                   .arg(QString::number(row.number), written)
                                             : QStringLiteral("第%1行的单元格%2重复或顺序错乱")
                                                   .arg(QString::number(row.number), written));
        }
    }
    if (column >= TableFileReader::MaxColumns)
        return damaged(error, QStringLiteral("第%1行的单元格超出了Excel的最后一列")
                                  .arg(row.number));
    nextColumn = column + 1;
    if (xml.isSelfClosing())
        return true;
    const Bytes typeText = xml.rawAttribute("t");
    CellType type = Number;
    if (equals(typeText, "s"))
        type = Shared;
    else if (equals(typeText, "b"))
        type = Boolean;
    else if (equals(typeText, "inlineStr"))
        type = InlineString;
    else if (typeText.data && typeText.size > 0 && !equals(typeText, "n"))
        type = Text;  // str (a formula's text), e (an error), d (a date)

    // The value's bytes stay valid until the scanner reads on.
    const char *value = nullptr;
    int size = 0;
    bool formula = false;
    int values = 0;
    Bytes simple;
    bool references = false;
    if (type != InlineString && xml.readSimpleContent("v", simple, references)) {
        value = simple.data;
        size = simple.size;
        values = 1;
        if (references) {
            m_value.resize(0);
            XmlPullScanner::decode(simple, m_value);
            value = m_value.constData();
            size = m_value.size();
        }
    } else {
        if (!readCellSlowly(type, formula, values, error))
            return false;
        const QByteArray &source = type == InlineString && !m_inline.isNull() ? m_inline
                                                                               : m_value;
        value = source.constData();
        size = source.size();
    }

    TableCellFault::Kind fault = TableCellFault::SeveralValues;
    bool faulty = values > 1;
    if (formula
        && (m_recalculatedOnOpen || values == 0 || (type != Text && isBlank(value, size)))) {
        fault = TableCellFault::FormulaWithoutResult;
        faulty = true;
    }
    if (!isWanted(column)) {
        if (faulty) {
            row.otherText = true;
        } else if (type == Shared) {
            const int index = sharedIndex(value, size);
            if (index >= 0 && index < m_shared.size() && !m_shared.at(index).isEmpty())
                row.otherText = true;
        } else if (!isBlank(value, size)) {
            row.otherText = true;
        }
        return true;
    }
    if (faulty) {
        row.faults.append({column, fault});
        return true;
    }
    switch (type) {
    case Shared: {
        if (isBlank(value, size))
            return true;
        const int index = sharedIndex(value, size);
        if (index < 0 || index >= m_shared.size())
            return damaged(error, QStringLiteral("单元格%1引用的共享文本不存在")
                                      .arg(tableCellName(column, row.number)));
        putCell(row, column, QString(m_shared.at(index)));
        return true;
    }
    case Boolean:
        if (!isBlank(value, size))
            putCell(row, column,
                    QByteArray::fromRawData(value, size).trimmed() == "1"
                        ? QStringLiteral("TRUE")
                        : QStringLiteral("FALSE"));
        return true;
    case Number:
        if (!isBlank(value, size))
            putCell(row, column, numberText(value, size));
        return true;
    case InlineString:
    case Text:
        putCell(row, column, cellText(value, size));
        return true;
    }
    return true;
}

// A cell with more than a plain <v>: an inline string, a formula, several values.
bool XlsxTableSource::readCellSlowly(CellType type, bool &formula, int &values, QString &error)
{
    Q_UNUSED(error);
    XmlPullScanner &xml = *m_scan;
    m_value.resize(0);
    m_inline = QByteArray();
    int inlines = 0;
    int plain = 0;
    for (;;) {
        switch (xml.next()) {
        case XmlPullScanner::StartElement:
            if (xml.isElement("v")) {
                ++plain;
                if (xml.isSelfClosing())
                    break;
                for (bool inValue = true; inValue;) {
                    const XmlPullScanner::Token token = xml.next();
                    if (token == XmlPullScanner::Text && plain == 1)
                        xml.appendText(m_value);
                    else if (token == XmlPullScanner::EndElement)
                        inValue = false;
                    else if (token == XmlPullScanner::StartElement && xml.skipElement())
                        continue;
                    else if (token != XmlPullScanner::Text)
                        return false;
                }
            } else if (xml.isElement("is")) {
                ++inlines;
                QByteArray text("");
                if (!readStringItem(xml, text))
                    return false;
                if (inlines == 1)
                    m_inline = text;
            } else {
                formula = formula || xml.isElement("f");
                if (!xml.skipElement())
                    return false;
            }
            break;
        case XmlPullScanner::EndElement:
            values = type == InlineString && inlines > 0 ? inlines : plain;
            return true;
        case XmlPullScanner::Text:
            break;
        case XmlPullScanner::EndDocument:
        case XmlPullScanner::Invalid:
            return false;
        }
    }
}

// The rows have ended: the rest of the part is inflated unread, so that its CRC-32 and
// size are checked before any of its lines is trusted.
bool XlsxTableSource::finishSheet(QString &error)
{
    m_done = true;
    if (!m_part)
        return true;
    char buffer[64 * 1024];
    for (;;) {
        const qint64 got = m_part->read(buffer, sizeof buffer);
        if (got < 0) {
            error = m_part->errorString();
            return false;
        }
        if (got == 0)
            break;
    }
    m_scan.reset();
    m_part.reset();
    return true;
}
