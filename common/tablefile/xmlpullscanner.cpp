#include "xmlpullscanner.h"

#include <QIODevice>

namespace {

// Byte classes of a tag: what ends a name (a '<' too, which is an error there), what
// ends an attribute value, white space.
enum : quint8 { NameEnd = 1, ValueStop = 2, Space = 4 };

struct ByteClasses
{
    quint8 of[256] = {};
    constexpr ByteClasses()
    {
        for (const char c : {' ', '\t', '\r', '\n'})
            of[quint8(c)] |= NameEnd | Space;
        for (const char c : {'/', '>', '=', '"', '\'', '<'})
            of[quint8(c)] |= NameEnd;
        for (const char c : {'"', '\'', '<', '&'})
            of[quint8(c)] |= ValueStop;
    }
};
constexpr ByteClasses classes;

inline bool isSpace(char c)
{
    return classes.of[quint8(c)] & Space;
}

inline bool isNameEnd(char c)
{
    return classes.of[quint8(c)] & NameEnd;
}

int countLines(const char *begin, const char *end)
{
    int lines = 0;
    while (begin < end) {
        const void *at = std::memchr(begin, '\n', size_t(end - begin));
        if (!at)
            break;
        ++lines;
        begin = static_cast<const char *>(at) + 1;
    }
    return lines;
}

} // namespace

XmlPullScanner::Token XmlPullScanner::fail(const QString &reason)
{
    if (m_error.isEmpty())
        m_error = reason;
    return Invalid;
}

int XmlPullScanner::lineNumber() const
{
    const int upto = qMin(m_pos, m_buffer.size());
    const char *data = m_buffer.constData();
    return m_linesDropped + countLines(data, data + upto) + 1;
}

// Drops what has been read and appends the next chunk. False at the end of the part.
bool XmlPullScanner::fill()
{
    if (m_atEnd)
        return false;
    if (m_pos > 0) {
        const char *data = m_buffer.constData();
        m_linesDropped += countLines(data, data + m_pos);
        m_buffer.remove(0, m_pos);
        m_pos = 0;
    }
    const int old = m_buffer.size();
    if (old > MaxTokenBytes) {
        m_error = QStringLiteral("单个标签或文本超过%1 MiB").arg(MaxTokenBytes / (1024 * 1024));
        m_atEnd = true;
        return false;
    }
    // A token longer than one read is read on in ever larger steps, so that scanning it
    // again after each read stays linear in its length.
    const int readSize = qMax(m_readSize, old);
    m_buffer.resize(old + readSize);
    const qint64 got = m_device->read(m_buffer.data() + old, readSize);
    m_buffer.resize(old + int(qMax<qint64>(got, 0)));
    if (got < 0)
        m_deviceFailed = true;
    if (got <= 0)
        m_atEnd = true;
    return got > 0;
}

// Offset of what at or after from, reading more as needed; -1 when the part ends first.
// Offsets before the call stay valid relative to m_pos, which fill() moves to 0.
int XmlPullScanner::find(const char *what, int from)
{
    const int length = int(qstrlen(what));
    for (;;) {
        const int at = m_buffer.indexOf(what, from);
        if (at >= 0)
            return at;
        const int keep = qMax(m_pos, m_buffer.size() - length + 1);
        const int shift = m_pos;
        if (!fill())
            return -1;
        from = keep - shift;
    }
}

QByteArray XmlPullScanner::localName() const
{
    return m_buffer.mid(m_localName, m_name.end - m_localName);
}

QByteArray XmlPullScanner::attributeBytes(const char *localName) const
{
    const Bytes value = rawAttribute(localName);
    if (!value.data)
        return QByteArray();
    if (!std::memchr(value.data, '&', size_t(value.size)))
        return QByteArray::fromRawData(value.data, value.size);
    QByteArray out;
    appendDecoded(value.data, value.data + value.size, out);
    return out;
}

void XmlPullScanner::appendText(QByteArray &out) const
{
    const char *data = m_buffer.constData();
    if (m_textIsCData)
        out.append(data + m_text.begin, m_text.end - m_text.begin);
    else
        appendDecoded(data + m_text.begin, data + m_text.end, out);
}

namespace {

// The character a reference at amp (up to end) stands for, and its length with '&' and
// ';'; false when it is none the scanner accepts. No allocation: a part may hold millions.
bool parseReference(const char *amp, const char *end, char32_t &character, int &length)
{
    const char *p = amp + 1;
    const char *limit = qMin(end, amp + 13);
    const char *semi = p;
    while (semi < limit && *semi != ';')
        ++semi;
    if (semi >= limit)
        return false;
    length = int(semi - amp) + 1;
    const auto named = [&](const char *name, char32_t c) {
        const int n = int(std::strlen(name));
        if (semi - p != n || std::memcmp(p, name, size_t(n)) != 0)
            return false;
        character = c;
        return true;
    };
    if (named("amp", '&') || named("lt", '<') || named("gt", '>') || named("quot", '"')
        || named("apos", '\''))
        return true;
    if (p >= semi || *p != '#')
        return false;
    ++p;
    const bool hex = p < semi && *p == 'x';
    if (hex)
        ++p;
    if (p >= semi)
        return false;
    quint32 code = 0;
    for (; p < semi; ++p) {
        const char c = *p;
        quint32 digit;
        if (c >= '0' && c <= '9')
            digit = quint32(c - '0');
        else if (hex && c >= 'a' && c <= 'f')
            digit = quint32(c - 'a' + 10);
        else if (hex && c >= 'A' && c <= 'F')
            digit = quint32(c - 'A' + 10);
        else
            return false;
        code = code * (hex ? 16 : 10) + digit;
        if (code > 0x10FFFF)
            return false;
    }
    if (code == 0 || (code >= 0xD800 && code <= 0xDFFF))
        return false;
    character = char32_t(code);
    return true;
}

// Writes c as UTF-8 at to; returns how many bytes.
int writeUtf8(char32_t c, char *to)
{
    if (c < 0x80) {
        to[0] = char(c);
        return 1;
    }
    if (c < 0x800) {
        to[0] = char(0xC0 | (c >> 6));
        to[1] = char(0x80 | (c & 0x3F));
        return 2;
    }
    if (c < 0x10000) {
        to[0] = char(0xE0 | (c >> 12));
        to[1] = char(0x80 | ((c >> 6) & 0x3F));
        to[2] = char(0x80 | (c & 0x3F));
        return 3;
    }
    to[0] = char(0xF0 | (c >> 18));
    to[1] = char(0x80 | ((c >> 12) & 0x3F));
    to[2] = char(0x80 | ((c >> 6) & 0x3F));
    to[3] = char(0x80 | (c & 0x3F));
    return 4;
}

} // namespace

// Resolves the references of text checked when it was read. A reference is never
// shorter than what it stands for in UTF-8, so the text is written in place at once.
void XmlPullScanner::appendDecoded(const char *begin, const char *end, QByteArray &out)
{
    const int old = out.size();
    out.resize(old + int(end - begin));
    char *to = out.data() + old;
    while (begin < end) {
        const char *amp = static_cast<const char *>(std::memchr(begin, '&', size_t(end - begin)));
        const char *plainEnd = amp ? amp : end;
        std::memcpy(to, begin, size_t(plainEnd - begin));
        to += plainEnd - begin;
        if (!amp)
            break;
        char32_t c = 0;
        int length = 1;
        if (parseReference(amp, end, c, length))
            to += writeUtf8(c, to);
        begin = amp + length;
    }
    out.resize(int(to - out.constData()));
}

void XmlPullScanner::decode(Bytes text, QByteArray &out)
{
    appendDecoded(text.data, text.data + text.size, out);
}

bool XmlPullScanner::checkReferences(int begin, int end)
{
    const char *data = m_buffer.constData();
    const char *at = data + begin;
    const char *stop = data + end;
    while (at < stop) {
        const char *amp = static_cast<const char *>(std::memchr(at, '&', size_t(stop - at)));
        if (!amp)
            return true;
        char32_t c = 0;
        int length = 0;
        if (!parseReference(amp, stop, c, length)) {
            const char *semi = static_cast<const char *>(std::memchr(amp, ';', size_t(stop - amp)));
            if (!semi || semi - amp > 12)
                fail(QStringLiteral("“&”后没有完整的字符引用"));
            else
                fail(QStringLiteral("未知的字符引用“%1”")
                         .arg(QString::fromUtf8(amp, int(semi - amp) + 1)));
            return false;
        }
        at = amp + length;
    }
    return true;
}

// Pops the innermost open element, which must have this name.
bool XmlPullScanner::closeElement(const char *name, int length)
{
    const int open = m_openLengths.empty() ? -1 : m_openLengths.back();
    if (open != length
        || std::memcmp(m_openNames.data() + m_openNames.size() - size_t(length), name,
                       size_t(length))
               != 0) {
        fail(QStringLiteral("结束标签</%1>与开始标签不匹配")
                 .arg(QString::fromUtf8(name, length)));
        return false;
    }
    m_openLengths.pop_back();
    m_openNames.resize(m_openNames.size() - size_t(length));
    if (m_openLengths.empty())
        m_rootClosed = true;
    return true;
}

// Reads the start or end tag at m_pos ('<' seen, not a comment, CDATA or instruction),
// reading more of the part while the tag is incomplete.
bool XmlPullScanner::readTag()
{
    for (;;) {
        const TagScan scan = scanTag();
        if (scan == TagDone)
            break;
        if (scan == TagFailed)
            return false;
        if (!fill()) {
            fail(m_error.isEmpty() ? QStringLiteral("文件在标签中间结束") : m_error);
            return false;
        }
    }
    const char *data = m_buffer.constData();
    const int length = m_name.end - m_name.begin;
    if (m_isEndTag)
        return closeElement(data + m_name.begin, length);
    if (m_rootClosed) {
        fail(QStringLiteral("根元素之后还有元素"));
        return false;
    }
    m_rootSeen = true;
    if (m_selfClosing) {
        if (m_openLengths.empty())
            m_rootClosed = true;
        return true;
    }
    if (m_openLengths.size() >= size_t(MaxDepth)) {
        fail(QStringLiteral("元素嵌套超过%1层").arg(MaxDepth));
        return false;
    }
    m_openNames.insert(m_openNames.end(), data + m_name.begin, data + m_name.end);
    m_openLengths.push_back(length);
    return true;
}

// One pass over a tag: its name, its attributes and its end. A '>' inside a quoted value
// is text; a '<' anywhere in a tag is an error.
XmlPullScanner::TagScan XmlPullScanner::scanTag()
{
    const char *const data = m_buffer.constData();
    const char *const end = data + m_buffer.size();
    const char *p = data + m_pos + 1;
    if (p >= end)
        return TagIncomplete;
    const bool endTag = *p == '/';
    p += endTag;
    const char *const name = p;
    const char *local = p;
    while (p < end && !isNameEnd(*p)) {
        if (*p == ':')
            local = p + 1;
        ++p;
    }
    if (p >= end)
        return TagIncomplete;
    if (p == name) {
        fail(*p == '<' ? QStringLiteral("标签中出现了“<”") : QStringLiteral("标签没有名称"));
        return TagFailed;
    }
    m_name = {int(name - data), int(p - data)};
    m_localName = int(local - data);
    m_isEndTag = endTag;
    m_attributes.clear();
    m_selfClosing = false;
    if (endTag) {
        while (p < end && isSpace(*p))
            ++p;
        if (p >= end)
            return TagIncomplete;
        if (*p != '>') {
            fail(*p == '<' ? QStringLiteral("标签中出现了“<”")
                           : QStringLiteral("结束标签格式错误"));
            return TagFailed;
        }
        m_pos = int(p - data) + 1;
        return TagDone;
    }
    for (;;) {
        const char *before = p;
        while (p < end && isSpace(*p))
            ++p;
        if (p >= end)
            return TagIncomplete;
        if (*p == '>') {
            m_pos = int(p - data) + 1;
            return TagDone;
        }
        if (*p == '/') {
            if (p + 1 >= end)
                return TagIncomplete;
            if (p[1] != '>') {
                fail(QStringLiteral("属性格式错误"));
                return TagFailed;
            }
            m_selfClosing = true;
            m_pos = int(p - data) + 2;
            return TagDone;
        }
        if (*p == '<' || p == before) {
            fail(*p == '<' ? QStringLiteral("标签中出现了“<”")
                           : QStringLiteral("属性之间缺少空格"));
            return TagFailed;
        }
        const char *attribute = p;
        const char *attributeLocal = p;
        while (p < end && !isNameEnd(*p)) {
            if (*p == ':')
                attributeLocal = p + 1;
            ++p;
        }
        const char *attributeEnd = p;
        while (p < end && isSpace(*p))
            ++p;
        if (p >= end)
            return TagIncomplete;
        if (attributeEnd == attribute || *p != '=') {
            fail(*p == '<' ? QStringLiteral("标签中出现了“<”") : QStringLiteral("属性格式错误"));
            return TagFailed;
        }
        ++p;
        while (p < end && isSpace(*p))
            ++p;
        if (p >= end)
            return TagIncomplete;
        const char quote = *p;
        if (quote != '"' && quote != '\'') {
            fail(QStringLiteral("属性值缺少引号"));
            return TagFailed;
        }
        const char *value = ++p;
        bool reference = false;
        for (;; ++p) {
            while (p < end && !(classes.of[quint8(*p)] & ValueStop))
                ++p;
            if (p >= end)
                return TagIncomplete;
            if (*p == quote)
                break;
            if (*p == '<') {
                fail(QStringLiteral("标签中出现了“<”"));
                return TagFailed;
            }
            reference = reference || *p == '&';
        }
        if (reference && !checkReferences(int(value - data), int(p - data)))
            return TagFailed;
        m_attributes.push_back({int(attributeLocal - data), int(attributeEnd - data),
                                int(value - data), int(p - data)});
        ++p;
    }
}

bool XmlPullScanner::readSimpleContent(const char *child, Bytes &text, bool &references)
{
    references = false;
    if (m_selfClosing || m_openLengths.empty() || !m_error.isEmpty())
        return false;
    const char *data = m_buffer.constData();
    const char *p = data + m_pos;
    const char *end = data + m_buffer.size();
    int childLength = 0;
    while (child[childLength])
        ++childLength;
    const int parentLength = m_openLengths.back();
    const char *parent = m_openNames.data() + m_openNames.size() - parentLength;
    const auto nameAt = [&](const char *at, const char *name, int length) {
        for (int i = 0; i < length; ++i) {
            if (at[i] != name[i])
                return false;
        }
        return true;
    };
    // <child>text</child></parent> or <child/></parent>
    if (end - p < childLength + 2 || p[0] != '<' || !nameAt(p + 1, child, childLength))
        return false;
    const char *after = p + 1 + childLength;
    const char *close;
    if (after[0] == '/' && after + 1 < end && after[1] == '>') {
        text = {after, 0};
        close = after + 2;
    } else if (after[0] == '>') {
        const char *lt =
            static_cast<const char *>(std::memchr(after + 1, '<', size_t(end - after - 1)));
        if (!lt || end - lt < childLength + 3 || lt[1] != '/'
            || !nameAt(lt + 2, child, childLength) || lt[2 + childLength] != '>')
            return false;
        for (const char *c = after + 1; c < lt && !references; ++c)
            references = *c == '&';
        if (references && !checkReferences(int(after + 1 - data), int(lt - data)))
            return false;
        text = {after + 1, int(lt - after - 1)};
        close = lt + 3 + childLength;
    } else {
        return false;
    }
    if (end - close < parentLength + 3 || close[0] != '<' || close[1] != '/'
        || !nameAt(close + 2, parent, parentLength) || close[2 + parentLength] != '>')
        return false;
    m_pos = int(close - data) + 3 + parentLength;
    m_openLengths.pop_back();
    m_openNames.resize(m_openNames.size() - size_t(parentLength));
    if (m_openLengths.empty())
        m_rootClosed = true;
    return true;
}

XmlPullScanner::Token XmlPullScanner::next()
{
    if (!m_error.isEmpty())
        return Invalid;
    for (;;) {
        if (m_pos >= m_buffer.size() && !fill()) {
            if (m_deviceFailed)
                return fail(QStringLiteral("解压失败"));
            if (!m_error.isEmpty())
                return Invalid;
            if (!m_rootSeen || !m_rootClosed)
                return fail(QStringLiteral("内容不完整，文件提前结束"));
            return EndDocument;
        }
        if (m_buffer.size() - m_pos < 9 && !m_atEnd) {
            // Enough ahead to tell a tag from a comment, CDATA or an instruction.
            fill();
            continue;
        }
        const char *data = m_buffer.constData();
        if (data[m_pos] != '<') {
            // Text between tags is mostly short: a few bytes are looked at before a search.
            int end = -1;
            bool ampersand = false;
            const int near = qMin(m_buffer.size(), m_pos + 16);
            for (int i = m_pos; i < near; ++i) {
                if (data[i] == '<') {
                    end = i;
                    break;
                }
                ampersand = ampersand || data[i] == '&';
            }
            if (end < 0)
                end = m_buffer.indexOf('<', near);
            while (end < 0 && !m_atEnd) {
                const int offset = m_buffer.size() - m_pos;
                fill();
                end = m_buffer.indexOf('<', m_pos + offset);
            }
            if (!m_error.isEmpty())
                return Invalid;
            if (end < 0)
                end = m_buffer.size();
            const int begin = m_pos;
            m_pos = end;
            data = m_buffer.constData();
            if (m_openLengths.empty()) {
                // Only white space (and a byte order mark first) may stand outside the root.
                bool blank = true;
                for (int i = begin; i < end && blank; ++i)
                    blank = isSpace(data[i]);
                const bool bom = begin == 0 && m_linesDropped == 0 && end - begin >= 3
                                 && std::memcmp(data, "\xEF\xBB\xBF", 3) == 0 && !m_rootSeen;
                if (!blank && !bom)
                    return fail(QStringLiteral("根元素之外有文本"));
                continue;
            }
            if ((end - begin > 16 || ampersand) && !checkReferences(begin, end))
                return Invalid;
            m_text = {begin, end};
            m_textIsCData = false;
            return Text;
        }
        const char second = m_pos + 1 < m_buffer.size() ? data[m_pos + 1] : '\0';
        if (second != '?' && second != '!') {
            if (!readTag())
                return Invalid;
            return m_isEndTag ? EndElement : StartElement;
        }
        const QByteArray head = m_buffer.mid(m_pos, 9);
        if (head.startsWith("<?")) {
            const int end = find("?>", m_pos + 2);
            if (end < 0)
                return fail(QStringLiteral("处理指令没有结束"));
            m_pos = end + 2;
            continue;
        }
        if (head.startsWith("<!--")) {
            const int end = find("-->", m_pos + 4);
            if (end < 0)
                return fail(QStringLiteral("注释没有结束"));
            m_pos = end + 3;
            continue;
        }
        if (head.startsWith("<![CDATA[")) {
            if (m_openLengths.empty())
                return fail(QStringLiteral("根元素之外有文本"));
            const int end = find("]]>", m_pos + 9);
            if (end < 0)
                return fail(QStringLiteral("CDATA没有结束"));
            m_text = {m_pos + 9, end};
            m_textIsCData = true;
            m_pos = end + 3;
            return Text;
        }
        return fail(QStringLiteral("不支持文档类型声明"));
    }
}

bool XmlPullScanner::skipElement()
{
    if (m_selfClosing)
        return true;
    int depth = 1;
    while (depth > 0) {
        const Token token = next();
        if (token == StartElement && !m_selfClosing)
            ++depth;
        else if (token == EndElement)
            --depth;
        else if (token == Invalid || token == EndDocument)
            return false;
    }
    return true;
}
