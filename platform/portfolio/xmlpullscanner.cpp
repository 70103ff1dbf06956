#include "xmlpullscanner.h"

#include <QIODevice>
#include <algorithm>
#include <cstring>

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
    return m_linesDropped + int(std::count(data, data + upto, '\n')) + 1;
}

// Drops what has been read and appends the next chunk. False at the end of the part.
bool XmlPullScanner::fill()
{
    if (m_atEnd)
        return false;
    if (m_pos > 0) {
        const char *data = m_buffer.constData();
        m_linesDropped += int(std::count(data, data + m_pos, '\n'));
        m_buffer.remove(0, m_pos);
        m_pos = 0;
    }
    const int old = m_buffer.size();
    if (old > MaxTokenBytes) {
        m_error = QStringLiteral("单个标签或文本超过%1 MiB").arg(MaxTokenBytes / (1024 * 1024));
        m_atEnd = true;
        return false;
    }
    m_buffer.resize(old + m_readSize);
    const qint64 got = m_device->read(m_buffer.data() + old, m_readSize);
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

bool XmlPullScanner::equalLocal(const char *begin, const char *end, const char *localName)
{
    const char *colon = static_cast<const char *>(memchr(begin, ':', size_t(end - begin)));
    if (colon)
        begin = colon + 1;
    const size_t length = qstrlen(localName);
    return size_t(end - begin) == length && memcmp(begin, localName, length) == 0;
}

bool XmlPullScanner::isElement(const char *localName) const
{
    const char *data = m_buffer.constData();
    return equalLocal(data + m_name.begin, data + m_name.end, localName);
}

QByteArray XmlPullScanner::localName() const
{
    QByteArray name = m_buffer.mid(m_name.begin, m_name.end - m_name.begin);
    const int colon = name.indexOf(':');
    return colon < 0 ? name : name.mid(colon + 1);
}

QByteArray XmlPullScanner::attributeBytes(const char *localName) const
{
    const char *data = m_buffer.constData();
    for (size_t i = 0; i + 1 < m_attributes.size(); i += 2) {
        const Range name = m_attributes[i];
        if (equalLocal(data + name.begin, data + name.end, localName)) {
            const Range value = m_attributes[i + 1];
            const int length = value.end - value.begin;
            if (!memchr(data + value.begin, '&', size_t(length)))
                return QByteArray::fromRawData(data + value.begin, length);
            QByteArray out;
            appendDecoded(data + value.begin, data + value.end, out);
            return out;
        }
    }
    return QByteArray();
}

void XmlPullScanner::appendText(QByteArray &out) const
{
    const char *data = m_buffer.constData();
    if (m_textIsCData)
        out.append(data + m_text.begin, m_text.end - m_text.begin);
    else
        appendDecoded(data + m_text.begin, data + m_text.end, out);
}

// Resolves &amp; &lt; &gt; &quot; &apos; and &#...; (checked when the text was read).
void XmlPullScanner::appendDecoded(const char *begin, const char *end, QByteArray &out)
{
    const char *amp = static_cast<const char *>(memchr(begin, '&', size_t(end - begin)));
    if (!amp) {
        out.append(begin, int(end - begin));
        return;
    }
    while (begin < end) {
        amp = static_cast<const char *>(memchr(begin, '&', size_t(end - begin)));
        if (!amp) {
            out.append(begin, int(end - begin));
            return;
        }
        out.append(begin, int(amp - begin));
        const char *semi = static_cast<const char *>(memchr(amp, ';', size_t(end - amp)));
        const QByteArray name(amp + 1, int(semi - amp - 1));
        if (name.startsWith('#')) {
            bool ok = false;
            const uint code = name.startsWith("#x") ? name.mid(2).toUInt(&ok, 16)
                                                    : name.mid(1).toUInt(&ok, 10);
            const char32_t c = char32_t(code);
            out.append(QString::fromUcs4(&c, 1).toUtf8());
        } else if (name == "amp") {
            out.append('&');
        } else if (name == "lt") {
            out.append('<');
        } else if (name == "gt") {
            out.append('>');
        } else if (name == "quot") {
            out.append('"');
        } else {
            out.append('\'');
        }
        begin = semi + 1;
    }
}

bool XmlPullScanner::checkReferences(int begin, int end)
{
    const char *data = m_buffer.constData();
    int at = begin;
    while (at < end) {
        const char *amp = static_cast<const char *>(memchr(data + at, '&', size_t(end - at)));
        if (!amp)
            return true;
        const int start = int(amp - data);
        const char *semi = static_cast<const char *>(memchr(amp, ';', size_t(end - start)));
        if (!semi || semi - amp > 12) {
            fail(QStringLiteral("“&”后没有完整的字符引用"));
            return false;
        }
        const QByteArray name(amp + 1, int(semi - amp - 1));
        bool ok = name == "amp" || name == "lt" || name == "gt" || name == "quot"
                  || name == "apos";
        if (!ok && name.startsWith('#')) {
            const uint code = name.startsWith("#x") ? name.mid(2).toUInt(&ok, 16)
                                                    : name.mid(1).toUInt(&ok, 10);
            ok = ok && code > 0 && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
        }
        if (!ok) {
            fail(QStringLiteral("未知的字符引用“&%1;”").arg(QString::fromUtf8(name)));
            return false;
        }
        at = int(semi - data) + 1;
    }
    return true;
}

// Reads the start or end tag at m_pos ('<' seen, not a comment, CDATA or instruction).
bool XmlPullScanner::readTag()
{
    // The tag ends at the first '>' outside quotes; a quoted value may hold '>'.
    int at = m_pos + 1;
    char quote = 0;
    for (;;) {
        const int size = m_buffer.size();
        const char *data = m_buffer.constData();
        while (at < size) {
            const char c = data[at];
            if (quote) {
                if (c == quote)
                    quote = 0;
                else if (c == '<')
                    break;
            } else if (c == '"' || c == '\'') {
                quote = c;
            } else if (c == '>' || c == '<') {
                break;
            }
            ++at;
        }
        if (at < size)
            break;
        const int offset = at - m_pos;
        if (!fill()) {
            fail(QStringLiteral("文件在标签中间结束"));
            return false;
        }
        at = m_pos + offset;
    }
    if (m_buffer.at(at) != '>') {
        fail(QStringLiteral("标签中出现了“<”"));
        return false;
    }
    const char *data = m_buffer.constData();
    const auto isSpace = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    const auto isNameEnd = [&](char c) {
        return isSpace(c) || c == '/' || c == '>' || c == '=' || c == '"' || c == '\'';
    };
    const int close = at;
    int i = m_pos + 1;
    const bool endTag = data[i] == '/';
    if (endTag)
        ++i;
    m_name.begin = i;
    while (i < close && !isNameEnd(data[i]))
        ++i;
    m_name.end = i;
    if (m_name.end == m_name.begin) {
        fail(QStringLiteral("标签没有名称"));
        return false;
    }
    m_attributes.clear();
    m_selfClosing = false;
    if (endTag) {
        while (i < close && isSpace(data[i]))
            ++i;
        if (i != close) {
            fail(QStringLiteral("结束标签格式错误"));
            return false;
        }
    } else {
        for (;;) {
            const int before = i;
            while (i < close && isSpace(data[i]))
                ++i;
            if (i == close)
                break;
            if (data[i] == '/' && i + 1 == close) {
                m_selfClosing = true;
                break;
            }
            if (i == before) {
                fail(QStringLiteral("属性之间缺少空格"));
                return false;
            }
            const int nameBegin = i;
            while (i < close && !isNameEnd(data[i]))
                ++i;
            const int nameEnd = i;
            while (i < close && isSpace(data[i]))
                ++i;
            if (nameEnd == nameBegin || i >= close || data[i] != '=') {
                fail(QStringLiteral("属性格式错误"));
                return false;
            }
            ++i;
            while (i < close && isSpace(data[i]))
                ++i;
            if (i >= close || (data[i] != '"' && data[i] != '\'')) {
                fail(QStringLiteral("属性值缺少引号"));
                return false;
            }
            const char q = data[i];
            const int valueBegin = ++i;
            while (i < close && data[i] != q)
                ++i;
            if (i >= close) {
                fail(QStringLiteral("属性值缺少引号"));
                return false;
            }
            if (!checkReferences(valueBegin, i))
                return false;
            m_attributes.push_back({nameBegin, nameEnd});
            m_attributes.push_back({valueBegin, i});
            ++i;
        }
    }
    m_pos = close + 1;

    const int length = m_name.end - m_name.begin;
    if (endTag) {
        const int open = m_openLengths.empty() ? -1 : m_openLengths.back();
        if (open != length
            || memcmp(m_openNames.constData() + m_openNames.size() - length,
                      m_buffer.constData() + m_name.begin, size_t(length))
                   != 0) {
            fail(QStringLiteral("结束标签</%1>与开始标签不匹配")
                     .arg(QString::fromUtf8(data + m_name.begin, length)));
            return false;
        }
        m_openLengths.pop_back();
        m_openNames.chop(length);
        if (m_openLengths.empty())
            m_rootClosed = true;
    } else {
        if (m_rootClosed) {
            fail(QStringLiteral("根元素之后还有元素"));
            return false;
        }
        m_rootSeen = true;
        if (!m_selfClosing) {
            if (m_openLengths.size() >= size_t(MaxDepth)) {
                fail(QStringLiteral("元素嵌套超过%1层").arg(MaxDepth));
                return false;
            }
            m_openNames.append(data + m_name.begin, length);
            m_openLengths.push_back(length);
        } else if (m_openLengths.empty()) {
            m_rootClosed = true;
        }
    }
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
            int end = m_buffer.indexOf('<', m_pos);
            while (end < 0 && !m_atEnd) {
                const int offset = m_buffer.size() - m_pos;
                fill();
                end = m_buffer.indexOf('<', m_pos + offset);
            }
            if (end < 0)
                end = m_buffer.size();
            const int begin = m_pos;
            m_pos = end;
            data = m_buffer.constData();
            bool blank = true;
            for (int i = begin; i < end && blank; ++i)
                blank = data[i] == ' ' || data[i] == '\t' || data[i] == '\r' || data[i] == '\n';
            if (m_openLengths.empty()) {
                // Only white space (and a byte order mark first) may stand outside the root.
                const bool bom = begin == 0 && m_linesDropped == 0 && end - begin >= 3
                                 && memcmp(data, "\xEF\xBB\xBF", 3) == 0 && !m_rootSeen;
                if (!blank && !bom)
                    return fail(QStringLiteral("根元素之外有文本"));
                continue;
            }
            if (!checkReferences(begin, end))
                return Invalid;
            m_text = {begin, end};
            m_textIsCData = false;
            return Text;
        }
        const char second = m_pos + 1 < m_buffer.size() ? data[m_pos + 1] : '\0';
        if (second != '?' && second != '!') {
            if (!readTag())
                return Invalid;
            return m_buffer.at(m_name.begin - 1) == '/' ? EndElement : StartElement;
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
