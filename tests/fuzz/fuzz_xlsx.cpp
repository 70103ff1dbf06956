// The input as the parts of a workbook, packed into a valid zip: mutations reach the
// workbook, relationship, sheet and shared-string readers instead of failing a CRC.
// Parts are separated by the byte 0x1E; a missing part is the usual one.

#include "fuzzinput.h"
#include "zipwriter.h"

#include <cstdint>

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    startFuzzing();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QList<QByteArray> given =
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), int(size)).split('\x1e');
    // Sheet first, as an input without separators is a sheet; then shared strings,
    // workbook and relationships.
    QList<ZipPart> parts = workbookParts(given.value(0), given.value(1));
    if (given.size() > 2)
        parts[0].data = given.at(2);
    if (given.size() > 3)
        parts[1].data = given.at(3);
    for (ZipPart &part : parts)
        part.deflate = false;
    importBytes(zipArchive(parts), ".xlsx");
    return 0;
}
