#include "tablefilereader.h"

#include "xmlpullscanner.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTextCodec>
#include <QVector>
#include <QXmlStreamReader>
#include <cmath>
#include <cstring>

#if __has_include(<quazip/quazip.h>)
#include <quazip/quazip.h>
#include <quazip/quazipfile.h>
#include <quazip/quazipfileinfo.h>
#else
#include <quazip.h>
#include <quazipfile.h>
#include <quazipfileinfo.h>
#endif

// The format-specific part of a reader.
class TableFileReader::Source
{
public:
    virtual ~Source() = default;
    virtual bool open(QFile &file, QString &error) = 0;
    virtual bool readRow(TableRow &row, QString &error) = 0;
};

namespace {

// Excel's own limit; a reference beyond it can only come from a damaged file.
constexpr int MaxColumns = 16384;
// Shared strings are the one part held in memory as a whole.
constexpr qint64 MaxSharedStringsBytes = qint64(128) * 1024 * 1024;
// Bounds for what a small damaged or hostile file could inflate to: the sheet part and
// its rows (Excel's own limit).
constexpr qint64 MaxSheetBytes = qint64(1024) * 1024 * 1024;
constexpr int MaxSheetRows = 1048576;

QString sizeInMiB(qint64 bytes)
{
    return QString::number(double(bytes) / (1024.0 * 1024.0), 'f', 1);
}

// ---------------------------------------------------------------------------------------
// CSV

class CsvSource : public TableFileReader::Source
{
public:
    bool open(QFile &file, QString &error) override;
    bool readRow(TableRow &row, QString &error) override;

private:
    QString m_text;
    int m_pos = 0;
    int m_rowNumber = 0;
};

// Decodes the whole file: the encoding can only be told from all of its bytes, since a
// GBK file may well start with a thousand lines of plain ASCII codes and numbers.
bool CsvSource::open(QFile &file, QString &error)
{
    const QByteArray data = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        error = QStringLiteral("文件读取失败：%1").arg(file.errorString());
        return false;
    }
    const char *begin = data.constData();
    int size = data.size();
    if (size >= 3 && quint8(begin[0]) == 0xEF && quint8(begin[1]) == 0xBB
        && quint8(begin[2]) == 0xBF) {
        m_text = QString::fromUtf8(begin + 3, size - 3);
        return true;
    }
    QTextCodec *utf8 = QTextCodec::codecForName("UTF-8");
    QTextCodec::ConverterState state;
    m_text = utf8->toUnicode(begin, size, &state);
    if (state.invalidChars == 0 && state.remainingChars == 0)
        return true;
    // Excel on a Chinese system saves "CSV (comma delimited)" in the ANSI code page, GBK;
    // GB18030 is its superset and decodes every byte sequence.
    QTextCodec *gb = QTextCodec::codecForName("GB18030");
    if (!gb) {
        error = QStringLiteral("文件编码无法识别，请另存为UTF-8编码的CSV文件");
        return false;
    }
    m_text = gb->toUnicode(data);
    return true;
}

// One record as RFC 4180 has it; a quoted field may hold commas, doubled quotes and line
// breaks, so one record can span several lines of the file but is one spreadsheet row.
bool CsvSource::readRow(TableRow &row, QString &error)
{
    const int n = m_text.size();
    if (m_pos >= n)
        return false;
    const QChar *d = m_text.constData();
    const auto isEnd = [](QChar c) {
        return c == QLatin1Char(',') || c == QLatin1Char('\n') || c == QLatin1Char('\r');
    };
    row.number = ++m_rowNumber;
    // The list of the previous row is reused: one allocation less per row.
    int count = 0;
    const auto put = [&row, &count](QString &&field) {
        if (count < row.cells.size())
            row.cells[count] = std::move(field);
        else
            row.cells.append(std::move(field));
        ++count;
    };
    int i = m_pos;
    for (;;) {
        if (i < n && d[i] == QLatin1Char('"')) {
            QString field;
            int start = ++i;
            for (;;) {
                if (i >= n) {
                    error = QStringLiteral("文件格式错误：第%1行的引号没有配对").arg(row.number);
                    m_pos = n;
                    return false;
                }
                if (d[i] == QLatin1Char('"')) {
                    field.append(d + start, i - start);
                    if (i + 1 < n && d[i + 1] == QLatin1Char('"')) {
                        field.append(QLatin1Char('"'));
                        i += 2;
                        start = i;
                        continue;
                    }
                    ++i;
                    break;
                }
                ++i;
            }
            // Text between the closing quote and the comma is kept, as Excel does.
            const int rest = i;
            while (i < n && !isEnd(d[i]))
                ++i;
            field.append(d + rest, i - rest);
            put(std::move(field));
        } else {
            const int start = i;
            while (i < n && !isEnd(d[i]))
                ++i;
            put(QString(d + start, i - start));
        }
        if (i >= n)
            break;
        if (d[i] == QLatin1Char(',')) {
            ++i;
            continue;
        }
        if (d[i] == QLatin1Char('\r') && i + 1 < n && d[i + 1] == QLatin1Char('\n'))
            ++i;
        ++i;
        break;
    }
    if (row.cells.size() > count)
        row.cells.erase(row.cells.begin() + count, row.cells.end());
    m_pos = i;
    return true;
}

// ---------------------------------------------------------------------------------------
// XLSX

// A number cell as the user typed it: codes and quantities are whole numbers and must
// not come back as 6.00519E5 or 1000.0; other numbers in their shortest exact form.
QString numberText(const QByteArray &raw)
{
    // A plain decimal of at most 15 digits is already the shortest text of its value,
    // unless its fraction ends in 0 (1000.0).
    const char *p = raw.constData();
    const int size = raw.size();
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
        return QString::fromLatin1(raw);
    bool ok = false;
    const double value = raw.trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return QString::fromUtf8(raw);
    if (value == std::floor(value) && std::fabs(value) < 1e15)
        return QString::number(qint64(value));
    return QString::number(value, 'g', QLocale::FloatingPointShortest);
}

// "C7" -> 2. -1 without letters or beyond the last column Excel has.
int columnOf(const QByteArray &reference)
{
    int column = 0;
    int letters = 0;
    for (char c : reference) {
        if (c >= 'A' && c <= 'Z')
            column = column * 26 + (c - 'A' + 1);
        else if (c >= 'a' && c <= 'z')
            column = column * 26 + (c - 'a' + 1);
        else
            break;
        if (++letters > 3)
            return -1;
    }
    return (letters == 0 || column > MaxColumns) ? -1 : column - 1;
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

class XlsxSource : public TableFileReader::Source
{
public:
    bool open(QFile &file, QString &error) override;
    bool readRow(TableRow &row, QString &error) override;

private:
    bool selectPart(const QString &name, QString &error);
    bool partFault(QString &error);
    bool nextStartElement(QLatin1String name);
    bool findFirstSheet(QString &sheetPart, QString &sharedPart, QString &error);
    bool readSharedStrings(const QString &part, QString &error);
    bool readCell(QStringList &cells, int &nextColumn, QString &error);

    QuaZip m_zip;
    std::unique_ptr<QuaZipFile> m_part;  // the part being read; one at a time
    QString m_partName;
    QXmlStreamReader m_xml;
    std::unique_ptr<XmlPullScanner> m_scan;
    QVector<QString> m_shared;
    QByteArray m_value;
    int m_lastRow = 0;
    int m_rowsRead = 0;
    bool m_done = false;
};

bool XlsxSource::open(QFile &file, QString &error)
{
    // An old .xls renamed to .xlsx is a common mistake worth its own reason.
    const QByteArray magic = file.peek(4);
    m_zip.setIoDevice(&file);
    if (!m_zip.open(QuaZip::mdUnzip)) {
        if (magic == QByteArray::fromHex("D0CF11E0"))
            error = QStringLiteral("文件是旧版Excel格式（.xls），请在Excel中另存为.xlsx后再导入");
        else
            error = QStringLiteral("文件不是有效的.xlsx文件：不是Excel工作簿，"
                                   "或文件不完整（已损坏）");
        return false;
    }
    QString sheetPart;
    QString sharedPart;
    if (!findFirstSheet(sheetPart, sharedPart, error))
        return false;
    if (!sharedPart.isEmpty() && !readSharedStrings(sharedPart, error))
        return false;
    if (!selectPart(sheetPart, error)) {
        if (error.isEmpty())
            error = QStringLiteral("文件中没有工作表");
        return false;
    }
    m_scan = std::make_unique<XmlPullScanner>(m_part.get());
    return true;
}

// Opens one part of the package for reading. False with an empty error when the part
// does not exist, with a reason when it exists but cannot be read.
bool XlsxSource::selectPart(const QString &name, QString &error)
{
    m_scan.reset();
    m_part.reset();
    m_partName.clear();
    if (!m_zip.setCurrentFile(name, QuaZip::csInsensitive))
        return false;
    m_part = std::make_unique<QuaZipFile>(&m_zip);
    if (!m_part->open(QIODevice::ReadOnly)) {
        error = QStringLiteral("文件已损坏：无法解压%1").arg(name);
        return false;
    }
    m_partName = name;
    return true;
}

// The reason for a part that stopped before its end: damaged compressed data, or text
// that is not well-formed XML.
bool XlsxSource::partFault(QString &error)
{
    const bool zipFault = (m_part && m_part->getZipError() != 0)
                          || (m_scan && m_scan->deviceFailed());
    if (zipFault) {
        error = QStringLiteral("文件已损坏：%1解压失败").arg(m_partName);
    } else if (m_scan) {
        error = QStringLiteral("文件已损坏：%1不是有效的XML（第%2行：%3）")
                    .arg(m_partName)
                    .arg(m_scan->lineNumber())
                    .arg(m_scan->errorString());
    } else {
        error = QStringLiteral("文件已损坏：%1不是有效的XML（第%2行：%3）")
                    .arg(m_partName)
                    .arg(m_xml.lineNumber())
                    .arg(m_xml.errorString());
    }
    return false;
}

// Moves m_xml to the next element of that name. False at the end of the part, and on
// a fault: a device that fails keeps QXmlStreamReader waiting for more data, so a
// damaged part would otherwise be read forever.
bool XlsxSource::nextStartElement(QLatin1String name)
{
    for (;;) {
        const QXmlStreamReader::TokenType token = m_xml.readNext();
        if (token == QXmlStreamReader::Invalid || token == QXmlStreamReader::EndDocument)
            return false;
        if (token == QXmlStreamReader::StartElement && m_xml.name() == name)
            return true;
    }
}

// The first sheet in the workbook's order (not necessarily sheet1.xml: a user who
// moved sheets around has the visible first tab elsewhere), and the shared strings.
// These two small parts go through QXmlStreamReader, whose namespace handling finds
// r:id whatever prefix the writer chose.
bool XlsxSource::findFirstSheet(QString &sheetPart, QString &sharedPart, QString &error)
{
    QString sheetRelId;
    if (selectPart(QStringLiteral("xl/workbook.xml"), error)) {
        m_xml.setDevice(m_part.get());
        while (sheetRelId.isEmpty() && nextStartElement(QLatin1String("sheet"))) {
            const QXmlStreamAttributes attributes = m_xml.attributes();
            for (const QXmlStreamAttribute &a : attributes) {
                if (a.name() == QLatin1String("id") && !a.namespaceUri().isEmpty())
                    sheetRelId = a.value().toString();
            }
        }
        if (m_xml.hasError())
            return partFault(error);
    }
    if (!error.isEmpty())
        return false;

    if (selectPart(QStringLiteral("xl/_rels/workbook.xml.rels"), error)) {
        m_xml.clear();
        m_xml.setDevice(m_part.get());
        while (nextStartElement(QLatin1String("Relationship"))) {
            const QXmlStreamAttributes attributes = m_xml.attributes();
            const QString target = attributes.value(QLatin1String("Target")).toString();
            const QStringRef type = attributes.value(QLatin1String("Type"));
            // Targets are relative to xl/ unless they start at the package root.
            const QString part = target.startsWith(QLatin1Char('/'))
                                     ? target.mid(1)
                                     : QDir::cleanPath(QStringLiteral("xl/") + target);
            if (!sheetRelId.isEmpty() && attributes.value(QLatin1String("Id")) == sheetRelId)
                sheetPart = part;
            else if (type.endsWith(QLatin1String("/sharedStrings")))
                sharedPart = part;
        }
        if (m_xml.hasError())
            return partFault(error);
    }
    if (!error.isEmpty())
        return false;

    if (sheetPart.isEmpty())
        sheetPart = QStringLiteral("xl/worksheets/sheet1.xml");
    if (!m_zip.setCurrentFile(sheetPart, QuaZip::csInsensitive)) {
        error = QStringLiteral("文件中没有工作表");
        return false;
    }
    QuaZipFileInfo64 sheetInfo;
    if (m_zip.getCurrentFileInfo(&sheetInfo)
        && qint64(sheetInfo.uncompressedSize) > MaxSheetBytes) {
        error = QStringLiteral("文件过大：工作表解压后超过%1 MiB，无法导入")
                    .arg(MaxSheetBytes / (1024 * 1024));
        return false;
    }
    if (sharedPart.isEmpty())
        sharedPart = QStringLiteral("xl/sharedStrings.xml");
    if (!m_zip.setCurrentFile(sharedPart, QuaZip::csInsensitive)) {
        sharedPart.clear();
    } else {
        QuaZipFileInfo64 info;
        if (m_zip.getCurrentFileInfo(&info)
            && qint64(info.uncompressedSize) > MaxSharedStringsBytes) {
            error = QStringLiteral("文件过大：文本内容解压后超过%1 MiB，无法导入")
                        .arg(MaxSharedStringsBytes / (1024 * 1024));
            return false;
        }
    }
    return true;
}

bool XlsxSource::readSharedStrings(const QString &part, QString &error)
{
    if (!selectPart(part, error))
        return error.isEmpty();
    m_scan = std::make_unique<XmlPullScanner>(m_part.get());
    QByteArray text;
    for (;;) {
        const XmlPullScanner::Token token = m_scan->next();
        if (token == XmlPullScanner::EndDocument)
            break;
        if (token == XmlPullScanner::Invalid)
            return partFault(error);
        if (token != XmlPullScanner::StartElement)
            continue;
        if (m_scan->isElement("sst")) {
            const int count = m_scan->attributeBytes("uniqueCount").toInt();
            if (count > 0)
                m_shared.reserve(qMin(count, 1024 * 1024));
        } else if (m_scan->isElement("si")) {
            text.resize(0);
            if (!readStringItem(*m_scan, text))
                return partFault(error);
            m_shared.append(QString::fromUtf8(text));
        }
    }
    m_scan.reset();
    return true;
}

// One <c> element, the scanner standing on its start. A cell without a reference
// follows the one before it.
bool XlsxSource::readCell(QStringList &cells, int &nextColumn, QString &error)
{
    XmlPullScanner &xml = *m_scan;
    const QByteArray reference = xml.attributeBytes("r");
    int column = nextColumn;
    if (!reference.isEmpty()) {
        column = columnOf(reference);
        if (column < 0) {
            error = QStringLiteral("文件已损坏：%1中的单元格位置%2无效")
                        .arg(m_partName, QString::fromUtf8(reference));
            return false;
        }
    }
    if (column >= MaxColumns) {
        error = QStringLiteral("文件已损坏：%1中的单元格超出了最后一列").arg(m_partName);
        return false;
    }
    // The type is kept apart: the attribute's bytes do not outlive the next token.
    enum { Number, Shared, Boolean, Text } kind = Number;
    const QByteArray type = xml.attributeBytes("t");
    const auto typeIs = [&](const char *name) {
        return type.size() == int(qstrlen(name))
               && memcmp(type.constData(), name, size_t(type.size())) == 0;
    };
    if (typeIs("s"))
        kind = Shared;
    else if (typeIs("b"))
        kind = Boolean;
    else if (!type.isEmpty() && !typeIs("n"))
        kind = Text;  // inlineStr, str (a formula's text), e (an error), d (a date)
    nextColumn = column + 1;
    if (xml.isSelfClosing())
        return true;

    m_value.resize(0);
    bool haveText = false;
    for (bool inCell = true; inCell;) {
        switch (xml.next()) {
        case XmlPullScanner::StartElement:
            if (xml.isElement("v") && !xml.isSelfClosing()) {
                for (bool inValue = true; inValue;) {
                    const XmlPullScanner::Token token = xml.next();
                    if (token == XmlPullScanner::Text)
                        xml.appendText(m_value);
                    else if (token == XmlPullScanner::EndElement)
                        inValue = false;
                    else if (token != XmlPullScanner::StartElement || !xml.skipElement())
                        return false;
                }
            } else if (xml.isElement("is")) {
                if (!readStringItem(xml, m_value))
                    return false;
                haveText = true;
            } else if (!xml.skipElement()) {
                return false;
            }
            break;
        case XmlPullScanner::EndElement:
            inCell = false;
            break;
        case XmlPullScanner::Text:
            break;
        case XmlPullScanner::EndDocument:
        case XmlPullScanner::Invalid:
            return false;
        }
    }

    QString value;
    if (haveText || kind == Text) {
        value = QString::fromUtf8(m_value);
    } else if (kind == Shared) {
        qint64 index = -1;
        for (char c : qAsConst(m_value)) {
            if (c < '0' || c > '9' || index > m_shared.size()) {
                index = -1;
                break;
            }
            index = (index < 0 ? 0 : index * 10) + (c - '0');
        }
        if (index >= 0 && index < m_shared.size())
            value = m_shared.at(int(index));
    } else if (kind == Boolean) {
        value = m_value.trimmed() == "1" ? QStringLiteral("TRUE") : QStringLiteral("FALSE");
    } else {
        value = numberText(m_value);
    }
    if (value.isEmpty())
        return true;
    while (cells.size() < column)
        cells.append(QString());
    if (cells.size() == column)
        cells.append(value);
    else
        cells[column] = value;
    return true;
}

bool XlsxSource::readRow(TableRow &row, QString &error)
{
    if (m_done || !m_scan)
        return false;
    XmlPullScanner &xml = *m_scan;
    for (;;) {
        const XmlPullScanner::Token token = xml.next();
        if (token == XmlPullScanner::EndDocument)
            break;
        if (token == XmlPullScanner::Invalid) {
            m_done = true;
            return partFault(error);
        }
        if (token == XmlPullScanner::EndElement && xml.isElement("sheetData"))
            break;
        if (token != XmlPullScanner::StartElement || !xml.isElement("row"))
            continue;

        if (++m_rowsRead > MaxSheetRows) {
            m_done = true;
            error = QStringLiteral("文件已损坏：%1的行数超过了Excel的上限%2行")
                        .arg(m_partName)
                        .arg(MaxSheetRows);
            return false;
        }
        bool ok = false;
        const int number = xml.attributeBytes("r").toInt(&ok);
        m_lastRow = (ok && number > 0) ? number : m_lastRow + 1;
        row.number = m_lastRow;
        row.cells.clear();
        if (xml.isSelfClosing())
            return true;
        int nextColumn = 0;
        for (bool inRow = true; inRow;) {
            bool fine = true;
            switch (xml.next()) {
            case XmlPullScanner::StartElement:
                fine = xml.isElement("c") ? readCell(row.cells, nextColumn, error)
                                          : xml.skipElement();
                break;
            case XmlPullScanner::EndElement:
                inRow = false;
                break;
            case XmlPullScanner::Text:
                break;
            case XmlPullScanner::EndDocument:
            case XmlPullScanner::Invalid:
                fine = false;
                break;
            }
            if (!fine) {
                m_done = true;
                if (error.isEmpty())
                    partFault(error);
                return false;
            }
        }
        return true;
    }
    m_done = true;
    return false;
}

} // namespace

// ---------------------------------------------------------------------------------------

TableFileReader::TableFileReader(const QString &path)
    : m_path(path)
{
}

TableFileReader::~TableFileReader() = default;

bool TableFileReader::isSupported(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    return suffix == QLatin1String("xlsx") || suffix == QLatin1String("csv");
}

bool TableFileReader::open()
{
    m_error.clear();
    m_source.reset();
    const QFileInfo info(m_path);
    if (m_path.isEmpty() || !info.exists()) {
        m_error = QStringLiteral("文件不存在：%1").arg(m_path);
        return false;
    }
    if (!info.isFile()) {
        m_error = QStringLiteral("不是文件：%1").arg(m_path);
        return false;
    }
    const QString suffix = info.suffix().toLower();
    if (suffix == QLatin1String("xls")) {
        m_error = QStringLiteral("不支持旧版Excel格式（.xls），请在Excel中另存为.xlsx后再导入");
        return false;
    }
    if (!isSupported(m_path)) {
        m_error = QStringLiteral("不支持的文件类型“%1”，只能导入.xlsx或.csv文件")
                      .arg(suffix.isEmpty() ? info.fileName() : QLatin1Char('.') + suffix);
        return false;
    }
    if (info.size() > MaxFileBytes) {
        m_error = QStringLiteral("文件过大（%1 MiB），导入文件不能超过%2 MiB")
                      .arg(sizeInMiB(info.size()))
                      .arg(MaxFileBytes / (1024 * 1024));
        return false;
    }

    auto file = std::make_unique<QFile>(m_path);
    if (!file->open(QIODevice::ReadOnly)) {
        m_error = QStringLiteral("文件无法打开，可能正被其他程序使用或没有读取权限：%1（%2）")
                      .arg(m_path, file->errorString());
        return false;
    }
    if (suffix == QLatin1String("csv"))
        m_source = std::make_unique<CsvSource>();
    else
        m_source = std::make_unique<XlsxSource>();
    m_file = std::move(file);
    if (!m_source->open(*m_file, m_error)) {
        if (m_error.isEmpty())
            m_error = QStringLiteral("文件无法读取：%1").arg(m_path);
        m_source.reset();
        return false;
    }
    return true;
}

bool TableFileReader::readRow(TableRow &row)
{
    if (!m_source || !m_error.isEmpty())
        return false;
    if (m_source->readRow(row, m_error))
        return true;
    m_source.reset();
    return false;
}
