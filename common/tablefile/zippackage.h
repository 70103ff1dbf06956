#pragma once

#include "tzcommon_global.h"

#include <QByteArray>
#include <QString>
#include <memory>

class QFile;
class QIODevice;

// The parts of a zip package (an .xlsx is one), read straight from the file.
//
// The central directory is read once, with one read, and looked up by scanning it: a
// directory whose entries carry huge extra fields costs its size once per look-up, not
// once per entry and look-up. A part is inflated in chunks as it is read, never held
// whole unless its caller asks, and it fails instead of yielding bytes that cannot be
// trusted: data that does not inflate, a CRC-32 or a size other than the directory
// records, or more bytes than the caller allows for that part, whatever the directory
// claims.
class TZCOMMON_EXPORT ZipPackage
{
public:
    struct Entry
    {
        QByteArray name;
        quint16 flags = 0;
        quint16 method = 0;
        quint32 crc = 0;
        qint64 packedSize = 0;
        qint64 size = 0;
        qint64 headerOffset = 0;
    };

    enum Lookup { Found, Missing, Duplicate };

    // The file must stay open and unread by others while parts are read.
    explicit ZipPackage(QFile *file);
    ~ZipPackage();
    ZipPackage(const ZipPackage &) = delete;
    ZipPackage &operator=(const ZipPackage &) = delete;

    // Reads the end record and the central directory; false with a reason when the file
    // is no zip archive or a damaged one.
    bool open(QString &error);

    // Looks a part up by name, ignoring ASCII case as package part names do. Two parts of
    // one name make the package ambiguous: which one a writer meant cannot be told.
    Lookup find(const QByteArray &name, Entry &entry) const;
    bool contains(const QByteArray &name) const;

    // A sequential device over the inflated bytes of the part, or null with a reason when
    // the part cannot be read at all (encrypted, unknown compression, outside the file,
    // larger than limit). Reading fails (-1, errorString() says why in Chinese, naming
    // the part by what) on damaged data, a wrong CRC-32 or size, or past limit bytes.
    // The device reads from file, another handle of the same file, when one is given, so
    // that two parts can be read on two threads.
    std::unique_ptr<QIODevice> openPart(const Entry &entry, qint64 limit, const QString &what,
                                        QString &error, QFile *file = nullptr) const;
    // The whole part at once, for the small ones.
    bool readPart(const Entry &entry, qint64 limit, const QString &what, QByteArray &out,
                  QString &error) const;

    // Bounds against damaged or hostile files: Excel itself writes far fewer parts.
    static constexpr int MaxEntries = 1 << 20;

private:
    bool readEndRecord(qint64 &directoryOffset, qint64 &directorySize, QString &error);

    QFile *m_file;
    qint64 m_fileSize = 0;
    QByteArray m_directory;
};
