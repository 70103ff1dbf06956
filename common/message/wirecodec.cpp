#include "wirecodec.h"

#include <QCborStreamReader>
#include <QCborValue>
#include <QHash>
#include <QVarLengthArray>

#include <cstring>
#include <limits>

namespace {
const QString kHeader = QStringLiteral("h");
const QString kRows = QStringLiteral("r");

// Scalars that bodies carry by the thousand are written straight into the frame and
// read straight off it; anything else (nested lists, dates, byte arrays) goes through
// QCborValue, so a value decodes to what QCborValue::toVariant would give either way.
// (QCborStreamWriter writes through a QIODevice, a virtual call per item.)
class CborOut
{
public:
    explicit CborOut(QByteArray &out) : m_out(out) {}

    void head(quint8 major, quint64 n)
    {
        const char type = char(major << 5);
        if (n < 24) {
            m_out += char(type | char(n));
        } else if (n <= 0xff) {
            m_out += char(type | 24);
            bigEndian(n, 1);
        } else if (n <= 0xffff) {
            m_out += char(type | 25);
            bigEndian(n, 2);
        } else if (n <= 0xffffffffu) {
            m_out += char(type | 26);
            bigEndian(n, 4);
        } else {
            m_out += char(type | 27);
            bigEndian(n, 8);
        }
    }
    void integer(qint64 v) { v >= 0 ? head(0, quint64(v)) : head(1, ~quint64(v)); }
    void text(const QString &s)
    {
        const QByteArray utf8 = s.toUtf8();
        head(3, quint64(utf8.size()));
        m_out += utf8;
    }
    void real(double v)
    {
        quint64 bits;
        memcpy(&bits, &v, sizeof bits);
        m_out += char(0xfb);
        bigEndian(bits, 8);
    }
    void boolean(bool v) { m_out += char(v ? 0xf5 : 0xf4); }
    void value(const QVariant &v)
    {
        switch (int(v.type())) {
        case QVariant::String: text(v.toString()); return;
        case QVariant::Int:
        case QVariant::LongLong:
        case QVariant::UInt: integer(v.toLongLong()); return;
        case QVariant::Double: real(v.toDouble()); return;
        case QVariant::Bool: boolean(v.toBool()); return;
        default: m_out += QCborValue::fromVariant(v).toCbor();
        }
    }
    void map(const QVariantMap &map)
    {
        head(5, quint64(map.size()));
        for (auto it = map.cbegin(); it != map.cend(); ++it) {
            text(it.key());
            value(it.value());
        }
    }

private:
    void bigEndian(quint64 n, int bytes)
    {
        for (int i = bytes - 1; i >= 0; --i)
            m_out += char((n >> (8 * i)) & 0xff);
    }
    QByteArray &m_out;
};

// Field names repeat in every row and many values (markets, accounts, currencies) in
// most: short texts are decoded once per body and shared after that. The table is
// bounded so that a hostile body cannot grow it.
class TextTable
{
public:
    explicit TextTable(qsizetype bodySize) : m_bodySize(bodySize) {}
    // No string can be longer than the body that holds it, whatever its head claims.
    bool fits(qsizetype size) const { return size >= 0 && size <= m_bodySize; }

    QString text(const char *data, int size)
    {
        if (size > kShortText)
            return QString::fromUtf8(data, size);
        const QByteArray probe = QByteArray::fromRawData(data, size);
        const auto it = m_texts.constFind(probe);
        if (it != m_texts.cend())
            return *it;
        const QString text = QString::fromUtf8(data, size);
        if (m_texts.size() < kMaxTexts)
            m_texts.insert(QByteArray(data, size), text);
        return text;
    }

private:
    static constexpr int kShortText = 48;
    static constexpr int kMaxTexts = 4096;
    qsizetype m_bodySize;
    QHash<QByteArray, QString> m_texts;
};

bool readString(QCborStreamReader &reader, TextTable &table, QString &out)
{
    QVarLengthArray<char, 256> bytes;
    for (;;) {
        const qsizetype chunk = reader.currentStringChunkSize();
        if (!table.fits(chunk + bytes.size()) || chunk > std::numeric_limits<int>::max() - bytes.size())
            return false;
        const int at = bytes.size();
        bytes.resize(at + int(chunk));
        const auto result = reader.readStringChunk(bytes.data() + at, chunk);
        if (result.status == QCborStreamReader::EndOfString) {
            bytes.resize(at);
            out = table.text(bytes.constData(), bytes.size());
            return true;
        }
        if (result.status != QCborStreamReader::Ok)
            return false;
        bytes.resize(at + int(result.data));
    }
}

bool readValue(QCborStreamReader &reader, TextTable &table, QVariant &out)
{
    switch (reader.type()) {
    case QCborStreamReader::UnsignedInteger:
        if (reader.toUnsignedInteger() > quint64(std::numeric_limits<qint64>::max()))
            break;
        out = qlonglong(reader.toUnsignedInteger());
        return reader.next();
    case QCborStreamReader::NegativeInteger:
        if (quint64(reader.toNegativeInteger()) > quint64(std::numeric_limits<qint64>::max()))
            break;
        out = -qlonglong(quint64(reader.toNegativeInteger()));
        return reader.next();
    case QCborStreamReader::String: {
        QString text;
        if (!readString(reader, table, text))
            return false;
        out = text;
        return true;
    }
    case QCborStreamReader::Double:
        out = reader.toDouble();
        return reader.next();
    default:
        break;
    }
    out = QCborValue::fromCbor(reader).toVariant();
    return reader.lastError() == QCborError::NoError;
}

bool readMap(QCborStreamReader &reader, TextTable &table, QVariantMap &out)
{
    if (!reader.isMap() || !reader.enterContainer())
        return false;
    QString key;
    QVariant value;
    while (reader.lastError() == QCborError::NoError && reader.hasNext()) {
        // Bodies are keyed by field names; any other key makes the body malformed.
        if (!reader.isString() || !readString(reader, table, key) || !readValue(reader, table, value))
            return false;
        out.insert(key, value);
    }
    return reader.lastError() == QCborError::NoError && reader.leaveContainer();
}

bool readRows(QCborStreamReader &reader, TextTable &table, QList<QVariantMap> &rows)
{
    if (!reader.isArray())
        return false;
    if (reader.isLengthKnown() && reader.length() < 1u << 24)
        rows.reserve(int(reader.length()));
    if (!reader.enterContainer())
        return false;
    while (reader.lastError() == QCborError::NoError && reader.hasNext()) {
        QVariantMap row;
        if (!readMap(reader, table, row))
            return false;
        rows.append(row);
    }
    return reader.lastError() == QCborError::NoError && reader.leaveContainer();
}
} // namespace

namespace WireCodec {

QByteArray encodeBody(const QVariantMap &header, const QList<QVariantMap> &rows)
{
    QByteArray cbor;
    cbor.reserve(64 + 96 * rows.size());
    CborOut out(cbor);
    out.head(5, rows.isEmpty() ? 1 : 2);
    out.text(kHeader);
    out.map(header);
    if (!rows.isEmpty()) {
        out.text(kRows);
        out.head(4, quint64(rows.size()));
        for (const QVariantMap &row : rows)
            out.map(row);
    }
    return cbor;
}

bool decodeBody(const QByteArray &cbor, QVariantMap &header, QList<QVariantMap> &rows)
{
    if (cbor.isEmpty())
        return false;
    QCborStreamReader reader(cbor);
    if (!reader.isMap() || !reader.enterContainer())
        return false;
    QVariantMap decodedHeader;
    QList<QVariantMap> decodedRows;
    TextTable table(cbor.size());
    QString key;
    while (reader.lastError() == QCborError::NoError && reader.hasNext()) {
        if (!reader.isString() || !readString(reader, table, key))
            return false;
        bool ok = true;
        if (key == kHeader)
            ok = readMap(reader, table, decodedHeader);
        else if (key == kRows)
            ok = readRows(reader, table, decodedRows);
        else
            ok = reader.next();  // a field a newer peer added
        if (!ok)
            return false;
    }
    if (reader.lastError() != QCborError::NoError || !reader.leaveContainer())
        return false;
    header = decodedHeader;
    rows = decodedRows;
    return true;
}
QVariant bodyToVariant(const QVariantMap &header, const QList<QVariantMap> &rows)
{
    QVariantList list;
    list.reserve(rows.size());
    for (const QVariantMap &row : rows)
        list.append(row);
    return QVariantMap{{kHeader, header}, {kRows, list}};
}

bool variantToBody(const QVariant &v, QVariantMap &header, QList<QVariantMap> &rows)
{
    if (v.type() != QVariant::Map)
        return false;
    const QVariantMap map = v.toMap();
    if (!map.contains(kHeader))
        return false;
    header = map.value(kHeader).toMap();
    const QVariantList list = map.value(kRows).toList();
    for (const QVariant &row : list)
        rows.append(row.toMap());
    return true;
}

} // namespace WireCodec
