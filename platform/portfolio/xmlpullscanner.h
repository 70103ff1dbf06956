#pragma once

#include "tzplatform_global.h"

#include <QByteArray>
#include <QString>
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
class TZPLATFORM_EXPORT XmlPullScanner
{
public:
    enum Token { StartElement, EndElement, Text, EndDocument, Invalid };

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
    bool isElement(const char *localName) const;
    QByteArray localName() const;
    bool isSelfClosing() const { return m_selfClosing; }
    // An attribute of the current start element, references resolved; empty when
    // absent. Without references it shares the scanner's buffer: use it before next().
    QByteArray attributeBytes(const char *localName) const;
    // The current text, references resolved, as UTF-8 appended to out.
    void appendText(QByteArray &out) const;
    // Skips the rest of the element whose start was just read.
    bool skipElement();

    bool deviceFailed() const { return m_deviceFailed; }
    QString errorString() const { return m_error; }
    int lineNumber() const;

private:
    struct Range
    {
        int begin;
        int end;
    };

    Token fail(const QString &reason);
    bool fill();
    int find(const char *what, int from);
    bool readTag();
    bool checkReferences(int begin, int end);
    static void appendDecoded(const char *begin, const char *end, QByteArray &out);
    static bool equalLocal(const char *begin, const char *end, const char *localName);

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
    bool m_selfClosing = false;
    std::vector<Range> m_attributes;  // name, value, name, value, ...
    Range m_text = {0, 0};
    bool m_textIsCData = false;
    QByteArray m_openNames;        // names of the open elements, one after another
    std::vector<int> m_openLengths;
};
