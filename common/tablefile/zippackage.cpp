#include "zippackage.h"

#include <QFile>
#include <QIODevice>
#include <QtEndian>
#include <cstring>
#include <zlib.h>

namespace {

constexpr quint32 LocalHeaderSignature = 0x04034b50;
constexpr quint32 DirectoryHeaderSignature = 0x02014b50;
constexpr quint32 EndSignature = 0x06054b50;
constexpr quint32 Zip64LocatorSignature = 0x07064b50;
constexpr quint32 Zip64EndSignature = 0x06064b50;
constexpr int LocalHeaderSize = 30;
constexpr int DirectoryHeaderSize = 46;
constexpr int EndRecordSize = 22;
constexpr int Zip64LocatorSize = 20;
constexpr int Zip64EndSize = 56;
constexpr quint16 EncryptedFlag = 0x0001;
constexpr quint16 Stored = 0;
constexpr quint16 Deflated = 8;

quint16 u16(const char *p)
{
    return qFromLittleEndian<quint16>(p);
}

quint32 u32(const char *p)
{
    return qFromLittleEndian<quint32>(p);
}

quint64 u64(const char *p)
{
    return qFromLittleEndian<quint64>(p);
}

QString mebibytes(qint64 bytes)
{
    return QString::number((bytes + (1 << 20) - 1) >> 20);
}

// Reads length bytes at offset; false when the file ends first.
bool readAt(QFile *file, qint64 offset, char *into, qint64 length)
{
    return file->seek(offset) && file->read(into, length) == length;
}

bool equalIgnoringCase(const char *a, const char *b, int length)
{
    for (int i = 0; i < length; ++i) {
        char x = a[i];
        char y = b[i];
        if (x >= 'A' && x <= 'Z')
            x = char(x - 'A' + 'a');
        if (y >= 'A' && y <= 'Z')
            y = char(y - 'A' + 'a');
        if (x != y)
            return false;
    }
    return true;
}

// The sizes and offset of a directory entry that did not fit 32 bits are in its
// ZIP64 extra field, in this order, each present only when its 32-bit field is all ones.
bool readZip64Extra(const char *extra, int length, ZipPackage::Entry &entry, bool wideSize,
                    bool widePacked, bool wideOffset)
{
    int at = 0;
    while (at + 4 <= length) {
        const quint16 id = u16(extra + at);
        const int size = u16(extra + at + 2);
        if (at + 4 + size > length)
            return false;
        if (id == 0x0001) {
            const char *field = extra + at + 4;
            int used = 0;
            const auto take = [&](qint64 &into) {
                if (used + 8 > size)
                    return false;
                into = qint64(u64(field + used));
                used += 8;
                return into >= 0;
            };
            return (!wideSize || take(entry.size)) && (!widePacked || take(entry.packedSize))
                   && (!wideOffset || take(entry.headerOffset));
        }
        at += 4 + size;
    }
    return !wideSize && !widePacked && !wideOffset;
}

// Inflates one part as it is read. Unbuffered: the reader's own buffer is the only one.
class PartDevice : public QIODevice
{
public:
    PartDevice(QFile *file, const ZipPackage::Entry &entry, qint64 dataOffset,
               const QString &what)
        : m_file(file), m_entry(entry), m_inputAt(dataOffset), m_inputLeft(entry.packedSize),
          m_what(what)
    {
        if (m_entry.method == Deflated) {
            std::memset(&m_stream, 0, sizeof m_stream);
            m_streamReady = inflateInit2(&m_stream, -MAX_WBITS) == Z_OK;
        }
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

    ~PartDevice() override
    {
        if (m_streamReady)
            inflateEnd(&m_stream);
    }

    bool isSequential() const override { return true; }

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    qint64 fail(const QString &reason)
    {
        m_failed = true;
        setErrorString(m_what + reason);
        return -1;
    }
    bool refill();
    qint64 finish();

    QFile *m_file;
    ZipPackage::Entry m_entry;
    qint64 m_inputAt;
    qint64 m_inputLeft;
    QString m_what;
    z_stream m_stream;
    bool m_streamReady = false;
    QByteArray m_input;
    qint64 m_produced = 0;
    uLong m_crc = crc32_z(0, nullptr, 0);
    bool m_inputDone = false;
    bool m_failed = false;
    bool m_ended = false;
};

bool PartDevice::refill()
{
    constexpr qint64 chunk = 128 * 1024;
    const qint64 length = qMin(chunk, m_inputLeft);
    m_input.resize(int(length));
    if (!readAt(m_file, m_inputAt, m_input.data(), length))
        return false;
    m_inputAt += length;
    m_inputLeft -= length;
    m_stream.next_in = reinterpret_cast<Bytef *>(m_input.data());
    m_stream.avail_in = uInt(length);
    return true;
}

// The part has ended: it must be exactly what the directory recorded.
qint64 PartDevice::finish()
{
    m_ended = true;
    if (m_produced != m_entry.size)
        return fail(QStringLiteral("已损坏：解压后的大小与记录不符"));
    if (m_crc != m_entry.crc)
        return fail(QStringLiteral("已损坏：校验和（CRC）不符"));
    return 0;
}

qint64 PartDevice::readData(char *data, qint64 maxSize)
{
    if (m_failed)
        return -1;
    if (m_ended)
        return 0;
    if (m_inputDone)
        return finish();
    // Never ask for more than one byte past the recorded size: a part that inflates
    // further is refused there, however much more it would inflate to.
    const qint64 wanted = qMin(maxSize, m_entry.size - m_produced + 1);
    qint64 got = 0;
    if (m_entry.method == Stored) {
        got = qMin(wanted, m_inputLeft);
        if (got > 0 && !readAt(m_file, m_inputAt, data, got))
            return fail(QStringLiteral("已损坏：数据不完整"));
        m_inputAt += got;
        m_inputLeft -= got;
        m_inputDone = m_inputLeft == 0;
    } else {
        if (!m_streamReady)
            return fail(QStringLiteral("无法解压：内存不足"));
        m_stream.next_out = reinterpret_cast<Bytef *>(data);
        m_stream.avail_out = uInt(qMin<qint64>(wanted, 1 << 30));
        while (m_stream.avail_out > 0) {
            if (m_stream.avail_in == 0 && (m_inputLeft == 0 || !refill()))
                return fail(QStringLiteral("已损坏：数据不完整"));
            const int result = inflate(&m_stream, Z_NO_FLUSH);
            if (result == Z_STREAM_END) {
                m_inputDone = true;
                break;
            }
            if (result != Z_OK && !(result == Z_BUF_ERROR && m_stream.avail_in == 0))
                return fail(QStringLiteral("已损坏：解压失败"));
        }
        got = qint64(reinterpret_cast<char *>(m_stream.next_out) - data);
    }
    m_crc = crc32_z(m_crc, reinterpret_cast<const Bytef *>(data), size_t(got));
    m_produced += got;
    if (m_produced > m_entry.size)
        return fail(QStringLiteral("已损坏：解压后的数据比记录的多"));
    return got > 0 ? got : finish();
}

} // namespace

ZipPackage::ZipPackage(QFile *file)
    : m_file(file)
{
}

ZipPackage::~ZipPackage() = default;

bool ZipPackage::readEndRecord(qint64 &directoryOffset, qint64 &directorySize, QString &error)
{
    const QString damaged = QStringLiteral("压缩包不完整或已损坏（找不到文件目录）");
    // The end record is the last thing in the file, followed only by its comment.
    const qint64 tailSize = qMin<qint64>(m_fileSize, EndRecordSize + 0xFFFF);
    QByteArray tail(int(tailSize), Qt::Uninitialized);
    if (!readAt(m_file, m_fileSize - tailSize, tail.data(), tailSize)) {
        error = damaged;
        return false;
    }
    int at = -1;
    for (int i = int(tailSize) - EndRecordSize; i >= 0; --i) {
        if (u32(tail.constData() + i) == EndSignature
            && i + EndRecordSize + u16(tail.constData() + i + 20) <= tailSize) {
            at = i;
            break;
        }
    }
    if (at < 0) {
        error = damaged;
        return false;
    }
    const char *end = tail.constData() + at;
    const qint64 endOffset = m_fileSize - tailSize + at;
    if (u16(end + 4) != 0 && u16(end + 4) != 0xFFFF) {
        error = QStringLiteral("这是分卷压缩包的一部分，不是完整的工作簿");
        return false;
    }
    directorySize = u32(end + 12);
    directoryOffset = u32(end + 16);
    qint64 directoryEnd = endOffset;
    if (directoryOffset == 0xFFFFFFFF || directorySize == 0xFFFFFFFF) {
        char locator[Zip64LocatorSize];
        char record[Zip64EndSize];
        if (endOffset < Zip64LocatorSize
            || !readAt(m_file, endOffset - Zip64LocatorSize, locator, Zip64LocatorSize)
            || u32(locator) != Zip64LocatorSignature) {
            error = damaged;
            return false;
        }
        const qint64 recordOffset = qint64(u64(locator + 8));
        if (recordOffset < 0 || recordOffset > endOffset - Zip64LocatorSize - Zip64EndSize
            || !readAt(m_file, recordOffset, record, Zip64EndSize)
            || u32(record) != Zip64EndSignature) {
            error = damaged;
            return false;
        }
        directorySize = qint64(u64(record + 40));
        directoryOffset = qint64(u64(record + 48));
        directoryEnd = recordOffset;
    }
    if (directoryOffset < 0 || directorySize < 0 || directoryOffset > directoryEnd
        || directorySize > directoryEnd - directoryOffset) {
        error = damaged;
        return false;
    }
    return true;
}

bool ZipPackage::open(QString &error)
{
    m_directory.clear();
    m_fileSize = m_file->size();
    qint64 offset = 0;
    qint64 size = 0;
    if (!readEndRecord(offset, size, error))
        return false;
    // The directory is no larger than the file, which the caller has bounded.
    m_directory.resize(int(size));
    if (!readAt(m_file, offset, m_directory.data(), size)) {
        error = QStringLiteral("压缩包已损坏：无法读取文件目录");
        return false;
    }
    // Every entry must parse, so that a look-up never stops at a damaged one.
    int at = 0;
    int count = 0;
    Entry entry;
    const int total = m_directory.size();
    const char *data = m_directory.constData();
    while (at < total) {
        if (total - at < DirectoryHeaderSize || u32(data + at) != DirectoryHeaderSignature
            || ++count > MaxEntries) {
            error = QStringLiteral("压缩包已损坏：文件目录无法识别");
            return false;
        }
        const char *h = data + at;
        const int length = DirectoryHeaderSize + u16(h + 28) + u16(h + 30) + u16(h + 32);
        if (length > total - at) {
            error = QStringLiteral("压缩包已损坏：文件目录无法识别");
            return false;
        }
        at += length;
    }
    return true;
}

ZipPackage::Lookup ZipPackage::find(const QByteArray &name, Entry &entry) const
{
    Lookup result = Missing;
    const char *data = m_directory.constData();
    const int total = m_directory.size();
    for (int at = 0; at < total;) {
        const char *h = data + at;
        const int nameLength = u16(h + 28);
        const int extraLength = u16(h + 30);
        const int length = DirectoryHeaderSize + nameLength + extraLength + u16(h + 32);
        if (nameLength == name.size()
            && equalIgnoringCase(h + DirectoryHeaderSize, name.constData(), nameLength)) {
            if (result == Found)
                return Duplicate;
            result = Found;
            entry.name = QByteArray(h + DirectoryHeaderSize, nameLength);
            entry.flags = u16(h + 8);
            entry.method = u16(h + 10);
            entry.crc = u32(h + 16);
            entry.packedSize = u32(h + 20);
            entry.size = u32(h + 24);
            entry.headerOffset = u32(h + 42);
            const bool wideSize = entry.size == 0xFFFFFFFF;
            const bool widePacked = entry.packedSize == 0xFFFFFFFF;
            const bool wideOffset = entry.headerOffset == 0xFFFFFFFF;
            if ((wideSize || widePacked || wideOffset)
                && !readZip64Extra(h + DirectoryHeaderSize + nameLength, extraLength, entry,
                                   wideSize, widePacked, wideOffset)) {
                // Unreadable sizes: openPart refuses an entry outside the file.
                entry.headerOffset = m_fileSize;
            }
        }
        at += length;
    }
    return result;
}

bool ZipPackage::contains(const QByteArray &name) const
{
    Entry entry;
    return find(name, entry) != Missing;
}

std::unique_ptr<QIODevice> ZipPackage::openPart(const Entry &entry, qint64 limit,
                                                const QString &what, QString &error,
                                                QFile *file) const
{
    if (!file)
        file = m_file;
    if (entry.flags & EncryptedFlag) {
        error = what + QStringLiteral("设有密码（已加密），无法读取");
        return nullptr;
    }
    if (entry.method != Stored && entry.method != Deflated) {
        error = what + QStringLiteral("采用了不支持的压缩方式（%1），请在Excel中另存后再导入")
                           .arg(QString::number(entry.method));
        return nullptr;
    }
    if (entry.size > limit) {
        error = what + QStringLiteral("解压后有%1 MiB，超过了%2 MiB的上限，无法导入")
                           .arg(mebibytes(entry.size), mebibytes(limit));
        return nullptr;
    }
    char header[LocalHeaderSize];
    if (entry.headerOffset > m_fileSize - LocalHeaderSize
        || !readAt(file, entry.headerOffset, header, LocalHeaderSize)
        || u32(header) != LocalHeaderSignature) {
        error = what + QStringLiteral("已损坏：在压缩包中找不到它的数据");
        return nullptr;
    }
    const qint64 dataOffset = entry.headerOffset + LocalHeaderSize + u16(header + 26)
                              + u16(header + 28);
    if (entry.packedSize > m_fileSize - dataOffset
        || (entry.method == Stored && entry.packedSize != entry.size)) {
        error = what + QStringLiteral("已损坏：数据超出了文件末尾");
        return nullptr;
    }
    return std::make_unique<PartDevice>(file, entry, dataOffset, what);
}

bool ZipPackage::readPart(const Entry &entry, qint64 limit, const QString &what,
                          QByteArray &out, QString &error) const
{
    std::unique_ptr<QIODevice> part = openPart(entry, limit, what, error);
    if (!part)
        return false;
    out.resize(int(entry.size));
    qint64 done = 0;
    for (;;) {
        // One byte of room past the recorded size lets the device tell a longer part.
        if (done == out.size())
            out.resize(out.size() + 1);
        const qint64 got = part->read(out.data() + done, out.size() - done);
        if (got < 0) {
            error = part->errorString();
            return false;
        }
        if (got == 0)
            break;
        done += got;
    }
    out.resize(int(done));
    return true;
}
