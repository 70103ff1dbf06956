#pragma once

// Writes zip archives byte by byte, for files no well-behaved writer makes: a CRC-32 or
// a size that lies, extra fields of any length, data deflated elsewhere.

#include <QByteArray>
#include <QList>
#include <QtEndian>
#include <zlib.h>

struct ZipPart
{
    ZipPart(const QByteArray &partName = {}, const QByteArray &partData = {})
        : name(partName), data(partData)
    {
    }

    QByteArray name;
    QByteArray data;
    bool deflate = true;
    // When set, written instead of the real values.
    bool lieAboutCrc = false;
    quint32 crc = 0;
    bool lieAboutSize = false;
    quint32 size = 0;
    // Already deflated bytes (raw deflate) to store as they are; data is then unused and
    // crc and size must be given.
    QByteArray deflated;
    int extraFieldBytes = 0;
};

inline QByteArray rawDeflate(const QByteArray &data, int flush = Z_FINISH)
{
    z_stream z = {};
    deflateInit2(&z, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 9, Z_DEFAULT_STRATEGY);
    QByteArray out(int(deflateBound(&z, uLong(data.size()))) + 64, '\0');
    z.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data.constData()));
    z.avail_in = uInt(data.size());
    z.next_out = reinterpret_cast<Bytef *>(out.data());
    z.avail_out = uInt(out.size());
    deflate(&z, flush);
    out.resize(int(z.total_out));
    deflateEnd(&z);
    return out;
}

// A part made of pieces, each repeated so many times, deflated without ever holding the
// whole part: for parts as large as a reader allows.
inline ZipPart repeatedPart(const QByteArray &name, const QList<QPair<QByteArray, int>> &pieces)
{
    ZipPart part(name);
    uLong crc = crc32(0, nullptr, 0);
    quint64 size = 0;
    for (const auto &piece : pieces) {
        part.deflated += rawDeflate(piece.first, Z_FULL_FLUSH).repeated(piece.second);
        for (int i = 0; i < piece.second; ++i)
            crc = crc32(crc, reinterpret_cast<const Bytef *>(piece.first.constData()),
                        uInt(piece.first.size()));
        size += quint64(piece.first.size()) * quint64(piece.second);
    }
    part.deflated += QByteArray::fromHex("0300");
    part.crc = quint32(crc);
    part.size = quint32(size);
    return part;
}

inline QByteArray zipArchive(const QList<ZipPart> &parts)
{
    const auto u16 = [](QByteArray &to, quint16 v) {
        char b[2];
        qToLittleEndian(v, b);
        to.append(b, 2);
    };
    const auto u32 = [](QByteArray &to, quint32 v) {
        char b[4];
        qToLittleEndian(v, b);
        to.append(b, 4);
    };
    QByteArray file;
    QByteArray directory;
    for (const ZipPart &part : parts) {
        const bool given = !part.deflated.isEmpty();
        const QByteArray packed =
            given ? part.deflated : (part.deflate ? rawDeflate(part.data) : part.data);
        const quint16 method = given || part.deflate ? 8 : 0;
        quint32 crc = part.crc;
        if (!part.lieAboutCrc && !given)
            crc = quint32(crc32(0, reinterpret_cast<const Bytef *>(part.data.constData()),
                                uInt(part.data.size())));
        const quint32 size = part.lieAboutSize || given ? part.size : quint32(part.data.size());
        const QByteArray extra(part.extraFieldBytes > 0 ? part.extraFieldBytes + 4 : 0, 'x');
        QByteArray extraField = extra;
        if (!extraField.isEmpty()) {
            // A private field: id 0xCAFE and its length, then filler.
            extraField[0] = char(0xFE);
            extraField[1] = char(0xCA);
            extraField[2] = char(part.extraFieldBytes & 0xFF);
            extraField[3] = char((part.extraFieldBytes >> 8) & 0xFF);
        }
        const quint32 offset = quint32(file.size());
        u32(file, 0x04034b50);
        u16(file, 20);
        u16(file, 0);
        u16(file, method);
        u32(file, 0);
        u32(file, crc);
        u32(file, quint32(packed.size()));
        u32(file, size);
        u16(file, quint16(part.name.size()));
        u16(file, quint16(extraField.size()));
        file += part.name;
        file += extraField;
        file += packed;

        u32(directory, 0x02014b50);
        u16(directory, 20);
        u16(directory, 20);
        u16(directory, 0);
        u16(directory, method);
        u32(directory, 0);
        u32(directory, crc);
        u32(directory, quint32(packed.size()));
        u32(directory, size);
        u16(directory, quint16(part.name.size()));
        u16(directory, quint16(extraField.size()));
        u16(directory, 0);
        u16(directory, 0);
        u16(directory, 0);
        u32(directory, 0);
        u32(directory, offset);
        directory += part.name;
        directory += extraField;
    }
    const quint32 directoryOffset = quint32(file.size());
    file += directory;
    u32(file, 0x06054b50);
    u16(file, 0);
    u16(file, 0);
    u16(file, quint16(parts.size()));
    u16(file, quint16(parts.size()));
    u32(file, quint32(directory.size()));
    u32(file, directoryOffset);
    u16(file, 0);
    return file;
}

// The smallest workbook around a sheet: one visible worksheet named "data", shared
// strings when given.
inline QList<ZipPart> workbookParts(const QByteArray &sheet, const QByteArray &shared = {},
                                    const QByteArray &workbookExtra = {})
{
    const QByteArray workbook =
        "<workbook xmlns=\"http://schemas.openxmlformats.org/spreadsheetml/2006/main\" "
        "xmlns:r=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships\">"
        "<sheets><sheet name=\"data\" sheetId=\"1\" r:id=\"rId1\"/></sheets>"
        + workbookExtra + "</workbook>";
    QByteArray rels =
        "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
        "<Relationship Id=\"rId1\" Type=\"http://schemas.openxmlformats.org/officeDocument/"
        "2006/relationships/worksheet\" Target=\"worksheets/sheet1.xml\"/>";
    if (!shared.isEmpty())
        rels += "<Relationship Id=\"rId2\" Type=\"http://schemas.openxmlformats.org/"
                "officeDocument/2006/relationships/sharedStrings\" Target=\"sharedStrings.xml\"/>";
    rels += "</Relationships>";
    QList<ZipPart> parts = {{"xl/workbook.xml", workbook}, {"xl/_rels/workbook.xml.rels", rels},
                            {"xl/worksheets/sheet1.xml", sheet}};
    if (!shared.isEmpty())
        parts.append({"xl/sharedStrings.xml", shared});
    return parts;
}
