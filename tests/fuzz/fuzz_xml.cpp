// The input as XML for the pull scanner, read in small pieces so that every token also
// meets a read boundary, with the calls the sheet reader makes.

#include "xmlpullscanner.h"

#include <QBuffer>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    QBuffer buffer;
    buffer.setData(reinterpret_cast<const char *>(data) + 1, int(size) - 1);
    buffer.open(QIODevice::ReadOnly);
    XmlPullScanner xml(&buffer, 1 + data[0] % 64);
    QByteArray text;
    for (;;) {
        const XmlPullScanner::Token token = xml.next();
        if (token == XmlPullScanner::EndDocument || token == XmlPullScanner::Invalid)
            break;
        if (token == XmlPullScanner::Text) {
            xml.appendText(text);
        } else if (token == XmlPullScanner::StartElement) {
            text += xml.attributeBytes("r");
            XmlPullScanner::Bytes simple;
            bool references = false;
            if (xml.readSimpleContent("v", simple, references)) {
                if (references)
                    XmlPullScanner::decode(simple, text);
            } else if (xml.isElement("skip") && !xml.skipElement()) {
                break;
            }
        }
        if (text.size() > (1 << 20))
            text.clear();
    }
    return 0;
}
