#pragma once

#include "tzcommon_global.h"

#include <QByteArray>
#include <QString>
#include <cstring>
#include <vector>

class QIODevice;

// Reads XML one token at a time from a device, in chunks, never holding the document.
// The import uses it for the parts of a workbook that grow with the basket, the sheet
// and its shared strings: QXmlStreamReader alone spends some 65 ms of CPU on the 3 MB
// sheet of a 10,000-line basket, more than the whole import may take. Those parts use a
// small part of XML (elements, attributes, text, the five named and the numeric
// character references, CDATA, comments, processing instructions), which this reads at
// memory speed while still refusing what is not well-formed. A document type
// declaration is refused as well: spreadsheet parts never have one, and it is how entity
// bombs come in. Text and attributes come back as UTF-8 bytes.
class TZCOMMON_EXPORT XmlPullScanner
{
public:
    enum Token { StartElement, EndElement, Text, EndDocument, Invalid };

    // Bytes inside the scanner's buffer, valid until the next call that reads on.
    struct Bytes
    {
        const char *data = nullptr;
        int size = 0;
    };

    // Bounds for what a small damaged or hostile file could inflate to.
    static constexpr int MaxTokenBytes = 16 * 1024 * 1024;
    static constexpr int MaxDepth = 256;

    // readSize is how much is read from the device at a time.
    explicit XmlPullScanner(QIODevice *device, int readSize = 256 * 1024)
        : m_device(device), m_readSize(qMax(readSize, 1))
    {
    }

    Token next();

    // Of the current start or end element, compared without a namespace prefix.
    bool isElement(const char *localName) const
    {
        const size_t length = std::strlen(localName);
        return size_t(m_name.end - m_localName) == length
               && std::memcmp(m_buffer.constData() + m_localName, localName, length) == 0;
    }
    QByteArray localName() const;
    bool isSelfClosing() const { return m_selfClosing; }
    // An attribute of the current start element as written, references unresolved
    // (null data when absent). For names, numbers and cell references, which have none.
    Bytes rawAttribute(const char *localName) const
    {
        const char *data = m_buffer.constData();
        const size_t length = std::strlen(localName);
        for (const Attribute &a : m_attributes) {
            if (size_t(a.nameEnd - a.localName) == length
                && std::memcmp(data + a.localName, localName, length) == 0)
                return {data + a.valueBegin, a.valueEnd - a.valueBegin};
        }
        return {};
    }
    // An attribute, references resolved; empty when absent. Without references it shares
    // the scanner's buffer: use it before next().
    QByteArray attributeBytes(const char *localName) const;
    // The current text, references resolved, as UTF-8 appended to out.
    void appendText(QByteArray &out) const;
    // Skips the rest of the element whose start was just read.
    bool skipElement();
    // For the element whose start was just read: when all it holds is one child element
    // of that name around text without markup, or an empty one, and all of it is
    // already read in, gives that text as written, whether it holds references (to
    // resolve with decode()), moves past the element's end tag and returns true.
    // Otherwise false, and nothing is consumed, unless the text holds a reference that
    // is not well-formed: then false with errorString() set. A cell written as
    // <c r="A2"><v>100</v></c> is read so in one step instead of five tokens.
    bool readSimpleContent(const char *child, Bytes &text, bool &references);
    // Text with references checked by the scanner, resolved, appended to out as UTF-8.
    static void decode(Bytes text, QByteArray &out);

    bool deviceFailed() const { return m_deviceFailed; }
    QString errorString() const { return m_error; }
    int lineNumber() const;

private:
    struct Range
    {
        int begin;
        int end;
    };
    struct Attribute
    {
        int localName;  // after the prefix, if any
        int nameEnd;
        int valueBegin;
        int valueEnd;
    };

    Token fail(const QString &reason);
    bool fill();
    int find(const char *what, int from);
    enum TagScan { TagDone, TagIncomplete, TagFailed };
    bool readTag();
    TagScan scanTag();
    bool closeElement(const char *name, int length);
    bool checkReferences(int begin, int end);
    static void appendDecoded(const char *begin, const char *end, QByteArray &out);

    QIODevice *m_device;
    int m_readSize;
    QByteArray m_buffer;
    int m_pos = 0;
    int m_linesDropped = 0;
    bool m_atEnd = false;
    bool m_deviceFailed = false;
    bool m_rootSeen = false;
    bool m_rootClosed = false;
    QString m_error;

    Range m_name = {0, 0};
    int m_localName = 0;
    bool m_isEndTag = false;
    bool m_selfClosing = false;
    std::vector<Attribute> m_attributes;
    Range m_text = {0, 0};
    bool m_textIsCData = false;
    std::vector<char> m_openNames;  // names of the open elements, one after another
    std::vector<int> m_openLengths;
};
