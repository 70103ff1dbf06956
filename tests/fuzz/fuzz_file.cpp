// The input as a whole import file with the suffix TZ_FUZZ_SUFFIX: as ".csv" it reaches
// the text table reader (encodings, separators, quoting) and the line checks; as ".xlsx"
// the zip container (directory, local headers, inflating, CRC-32 and size checks) and
// everything behind it.

#include "fuzzinput.h"

#include <cstdint>

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    startFuzzing();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    importBytes(QByteArray(reinterpret_cast<const char *>(data), int(size)), TZ_FUZZ_SUFFIX);
    return 0;
}
