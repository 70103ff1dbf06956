#include "csvtablesource.h"

#include <QFile>
#include <QTextCodec>
#include <QtEndian>
#include <cstring>

namespace {

// Valid multi-byte sequences and bytes that fit no sequence, as a UTF-8 decoder sees them.
struct Utf8Census
{
    qint64 multiByte = 0;
    qint64 invalid = 0;
};

// Counts over text[0, size) and returns how many bytes it counted: fewer than size when
// the text ends inside a sequence that the next chunk may complete.
qint64 countUtf8(const char *text, qint64 size, bool final, Utf8Census &census)
{
    const auto *p = reinterpret_cast<const uchar *>(text);
    qint64 i = 0;
    while (i < size) {
        // Most of a basket file is ASCII: eight bytes at a time.
        while (i + 8 <= size) {
            quint64 word;
            std::memcpy(&word, p + i, 8);
            if (word & 0x8080808080808080ULL)
                break;
            i += 8;
        }
        if (i >= size)
            break;
        const uchar c = p[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        int length = 0;
        uchar low = 0x80;
        uchar high = 0xBF;
        if (c >= 0xC2 && c <= 0xDF) {
            length = 2;
        } else if (c >= 0xE0 && c <= 0xEF) {
            length = 3;
            low = c == 0xE0 ? 0xA0 : 0x80;
            high = c == 0xED ? 0x9F : 0xBF;
        } else if (c >= 0xF0 && c <= 0xF4) {
            length = 4;
            low = c == 0xF0 ? 0x90 : 0x80;
            high = c == 0xF4 ? 0x8F : 0xBF;
        }
        const qint64 available = qMin<qint64>(length, size - i);
        bool valid = length > 0 && (available < 2 || (p[i + 1] >= low && p[i + 1] <= high));
        for (int k = 2; valid && k < available; ++k)
            valid = p[i + k] >= 0x80 && p[i + k] <= 0xBF;
        if (valid && available < length) {
            if (!final)
                return i;
            valid = false;
        }
        if (valid) {
            ++census.multiByte;
            i += length;
        } else {
            ++census.invalid;
            ++i;
        }
    }
    return size;
}

// UTF-16 without a mark: in a Chinese or ASCII table most of one byte of each pair is 0.
// 'L' for little-endian, 'B' for big-endian, 0 for neither.
char utf16Order(const QByteArray &data)
{
    const int sample = data.size() & ~1;
    int evenZeros = 0;
    int oddZeros = 0;
    for (int i = 0; i < sample; i += 2) {
        evenZeros += data.at(i) == 0;
        oddZeros += data.at(i + 1) == 0;
    }
    const int pairs = sample / 2;
    if (pairs == 0)
        return 0;
    if (oddZeros * 4 >= pairs && evenZeros * 20 < pairs)
        return 'L';
    if (evenZeros * 4 >= pairs && oddZeros * 20 < pairs)
        return 'B';
    return 0;
}

void appendUtf16(QString &to, const char *data, int size, bool bigEndian)
{
    const int units = size / 2;
    const int old = to.size();
    to.resize(old + units);
    QChar *out = to.data() + old;
    for (int i = 0; i < units; ++i) {
        out[i] = QChar(bigEndian ? qFromBigEndian<quint16>(data + 2 * i)
                                 : qFromLittleEndian<quint16>(data + 2 * i));
    }
}

// Appends the next chunk of the file to what is left of the last one; false at the end.
bool readChunk(QFile &file, QByteArray &chunk)
{
    constexpr int chunkBytes = 1024 * 1024;
    if (file.atEnd())
        return false;
    const int carried = chunk.size();
    chunk.resize(carried + chunkBytes);
    const qint64 got = file.read(chunk.data() + carried, chunkBytes);
    chunk.resize(carried + int(qMax<qint64>(got, 0)));
    return got > 0;
}

bool isBlank(const QChar *text, int length)
{
    for (int i = 0; i < length; ++i) {
        if (!text[i].isSpace())
            return false;
    }
    return true;
}

bool isEnd(QChar c, QChar separator)
{
    return c == separator || c == QLatin1Char('\n') || c == QLatin1Char('\r');
}

} // namespace

QString CsvTableSource::description() const
{
    QString separator = QStringLiteral("逗号");
    if (m_separator == QLatin1Char(';'))
        separator = QStringLiteral("分号");
    else if (m_separator == QLatin1Char('\t'))
        separator = QStringLiteral("制表符");
    return QStringLiteral("文本表格，%1编码，%2分隔").arg(m_encoding, separator);
}

// Which encoding the file is in, and how long its byte order mark is. Without a mark,
// all of the file is looked at once, a chunk at a time.
bool CsvTableSource::chooseEncoding(QFile &file, Encoding &encoding, int &mark, QString &error)
{
    const QByteArray head = file.peek(4);
    mark = 0;
    if (head.startsWith("\xEF\xBB\xBF")) {
        encoding = Utf8;
        mark = 3;
    } else if (head.startsWith("\xFF\xFE") || head.startsWith("\xFE\xFF")) {
        encoding = head.startsWith("\xFE") ? Utf16BigEndian : Utf16LittleEndian;
        mark = 2;
    } else if (head.startsWith("\x84\x31\x95\x33")) {
        encoding = Gb18030;
        mark = 4;
    }
    if (mark > 0)
        return true;

    Utf8Census census;
    bool zeros = false;
    QByteArray first;
    QByteArray chunk;
    while (readChunk(file, chunk)) {
        if (first.isEmpty())
            first = chunk.left(64 * 1024);
        zeros = zeros || std::memchr(chunk.constData(), 0, size_t(chunk.size()));
        const qint64 counted = countUtf8(chunk.constData(), chunk.size(), file.atEnd(), census);
        chunk.remove(0, int(counted));
    }
    if (zeros) {
        const char order = utf16Order(first);
        if (!order) {
            error = QStringLiteral("它既不是Excel工作簿，也不是文本表格（含有二进制内容）");
            return false;
        }
        encoding = order == 'B' ? Utf16BigEndian : Utf16LittleEndian;
        return true;
    }
    // GBK text forms a valid UTF-8 sequence now and then by chance, and far more bytes
    // that are none; a UTF-8 file with a damaged byte or two is the other way round.
    encoding = census.invalid == 0 || census.multiByte >= 4 * census.invalid ? Utf8 : Gb18030;
    return true;
}

// Decodes the file a chunk at a time into the text, which is reserved at once: the
// file's bytes and its text are never held side by side.
bool CsvTableSource::decode(QFile &file, Encoding encoding, int mark, QString &error)
{
    const bool utf16 = encoding == Utf16LittleEndian || encoding == Utf16BigEndian;
    m_encoding = utf16 ? QStringLiteral("UTF-16")
                       : (encoding == Utf8 ? QStringLiteral("UTF-8") : QStringLiteral("GB18030"));
    QTextCodec *codec = QTextCodec::codecForName(encoding == Utf8 ? "UTF-8" : "GB18030");
    if (!utf16 && !codec) {
        error = QStringLiteral("文件编码无法识别，请另存为UTF-8编码的CSV文件");
        return false;
    }
    QTextDecoder decoder(codec);
    const qint64 bytes = file.size() - mark;
    m_text.clear();
    m_text.reserve(int(utf16 ? bytes / 2 : bytes));
    if (!file.seek(mark)) {
        error = QStringLiteral("文件读取失败：%1").arg(file.errorString());
        return false;
    }
    QByteArray chunk;
    while (readChunk(file, chunk)) {
        if (utf16) {
            const int even = chunk.size() & ~1;
            appendUtf16(m_text, chunk.constData(), even, encoding == Utf16BigEndian);
            chunk.remove(0, even);
        } else {
            m_text += decoder.toUnicode(chunk.constData(), chunk.size());
            chunk.clear();
        }
    }
    if (file.error() != QFileDevice::NoError) {
        error = QStringLiteral("文件读取失败：%1").arg(file.errorString());
        return false;
    }
    m_undecodable = utf16 ? !chunk.isEmpty() : decoder.hasFailure();
    return true;
}

// Web pages and XML spreadsheets that programs save with an .xls or .csv name.
QString CsvTableSource::kindOfMarkup() const
{
    const QString head = m_text.left(4096).trimmed();
    if (!head.startsWith(QLatin1Char('<')))
        return QString();
    if (head.contains(QLatin1String("urn:schemas-microsoft-com:office:spreadsheet")))
        return QStringLiteral("这是Excel 2003 XML表格，请在Excel中另存为.xlsx后再导入");
    if (head.contains(QLatin1String("<html"), Qt::CaseInsensitive)
        || head.contains(QLatin1String("<table"), Qt::CaseInsensitive)
        || head.startsWith(QLatin1String("<!DOCTYPE html"), Qt::CaseInsensitive))
        return QStringLiteral("这是网页（HTML）文件，不是表格文件，请在Excel中打开后另存为.xlsx再导入");
    return QString();
}

void CsvTableSource::chooseSeparator()
{
    // The header is short; a line of megabytes is no header and needs no full look.
    const QStringRef head = m_text.midRef(m_pos, 64 * 1024);
    int at = 0;
    while (at < head.size() && head.at(at).isSpace())
        ++at;
    int end = at;
    bool quoted = false;
    for (; end < head.size(); ++end) {
        const QChar c = head.at(end);
        if (!quoted && (c == QLatin1Char('\n') || c == QLatin1Char('\r')))
            break;
        if (c == QLatin1Char('"'))
            quoted = !quoted;
    }
    const QStringRef line = head.mid(at, end - at);
    const QString code = QStringLiteral("证券代码");
    int best = -1;
    for (const QChar separator : {QLatin1Char(','), QLatin1Char('\t'), QLatin1Char(';')}) {
        const QVector<QStringRef> cells = line.split(separator);
        for (const QStringRef &cell : cells) {
            QStringRef name = cell.trimmed();
            if (name.size() >= 2 && name.startsWith(QLatin1Char('"'))
                && name.endsWith(QLatin1Char('"')))
                name = name.mid(1, name.size() - 2).trimmed();
            if (name == code) {
                m_separator = separator;
                return;
            }
        }
        if (cells.size() - 1 > best) {
            best = cells.size() - 1;
            m_separator = separator;
        }
    }
}

bool CsvTableSource::open(QFile &file, QString &error)
{
    Encoding encoding = Utf8;
    int mark = 0;
    if (!chooseEncoding(file, encoding, mark, error) || !decode(file, encoding, mark, error))
        return false;
    if (!m_text.isEmpty() && m_text.at(0) == QChar(0xFEFF))
        m_pos = 1;
    error = kindOfMarkup();
    if (!error.isEmpty())
        return false;
    chooseSeparator();
    return true;
}

// One record; a quoted field may hold separators, doubled quotes and line breaks, so one
// record can span several lines of the file but is one spreadsheet row.
bool CsvTableSource::readRow(TableRow &row, QString &error)
{
    const int n = m_text.size();
    if (m_pos >= n)
        return false;
    if (m_rowNumber >= TableFileReader::MaxRows) {
        error = QStringLiteral("文件超过了Excel的上限%1行").arg(TableFileReader::MaxRows);
        m_pos = n;
        return false;
    }
    const QChar *d = m_text.constData();
    const QChar separator = m_separator;
    row.number = ++m_rowNumber;
    beginRow(row);
    int column = 0;
    const auto tooLong = [&] {
        error = QStringLiteral("文件第%1行的单元格超过了Excel的上限%2个字符")
                    .arg(QString::number(row.number), QString::number(MaxCellLength));
        m_pos = n;
        return false;
    };
    // A wanted cell is copied once; another is only looked at for text.
    const auto put = [&](QString &&field) {
        if (field.size() > 0 && (field.at(0).isSpace() || field.at(field.size() - 1).isSpace()))
            field = std::move(field).trimmed();
        if (m_undecodable && field.contains(QChar::ReplacementCharacter)) {
            row.faults.append({column, TableCellFault::Undecodable});
            field.clear();
        }
        putCell(row, column, std::move(field));
    };
    int i = m_pos;
    for (;;) {
        if (column >= TableFileReader::MaxColumns) {
            error = QStringLiteral("文件第%1行超过了Excel的上限%2列")
                        .arg(QString::number(row.number),
                             QString::number(TableFileReader::MaxColumns));
            m_pos = n;
            return false;
        }
        const bool wanted = isWanted(column);
        if (i < n && d[i] == QLatin1Char('"')) {
            QString field;
            int start = ++i;
            for (;;) {
                i = m_text.indexOf(QLatin1Char('"'), i);
                if (i < 0) {
                    error = QStringLiteral("文件格式错误：第%1行的引号没有配对").arg(row.number);
                    m_pos = n;
                    return false;
                }
                if (wanted)
                    field.append(d + start, i - start);
                else if (!row.otherText)
                    row.otherText = !isBlank(d + start, i - start);
                if (i + 1 < n && d[i + 1] == QLatin1Char('"')) {
                    if (wanted)
                        field.append(QLatin1Char('"'));
                    row.otherText = row.otherText || !wanted;
                    i += 2;
                    start = i;
                    continue;
                }
                ++i;
                break;
            }
            // Text between the closing quote and the separator is kept, as Excel does.
            const int rest = i;
            while (i < n && !isEnd(d[i], separator))
                ++i;
            if (wanted) {
                field.append(d + rest, i - rest);
                if (field.size() > MaxCellLength)
                    return tooLong();
                put(std::move(field));
            } else if (!row.otherText) {
                row.otherText = !isBlank(d + rest, i - rest);
            }
        } else {
            const int start = i;
            while (i < n && !isEnd(d[i], separator))
                ++i;
            if (wanted) {
                if (i - start > MaxCellLength)
                    return tooLong();
                put(QString(d + start, i - start));
            } else if (!row.otherText) {
                row.otherText = !isBlank(d + start, i - start);
            }
        }
        ++column;
        if (i >= n)
            break;
        if (d[i] == separator) {
            ++i;
            continue;
        }
        if (d[i] == QLatin1Char('\r') && i + 1 < n && d[i + 1] == QLatin1Char('\n'))
            ++i;
        ++i;
        break;
    }
    endRow(row);
    m_pos = i;
    return true;
}
