#include "importvalue.h"

#include <QDate>
#include <QTime>
#include <cmath>

namespace {

bool isDigit(QChar c)
{
    return c.unicode() >= '0' && c.unicode() <= '9';
}

// Full-width digits and signs, as a Chinese input method types them, as ASCII.
QString halfWidth(const QString &text)
{
    QString out = text;
    for (QChar &c : out) {
        if (c.unicode() >= 0xFF01 && c.unicode() <= 0xFF5E)
            c = QChar(c.unicode() - 0xFEE0);
        else if (c.unicode() == 0x3000)
            c = QLatin1Char(' ');
    }
    return out.trimmed();
}

// Whether the whole part before the decimal point is grouped by sep in threes: 1,234,567.
bool groupedInThrees(const QString &integer, QChar sep)
{
    const QStringList groups = integer.split(sep);
    if (groups.size() < 2 || groups.first().isEmpty() || groups.first().size() > 3)
        return false;
    for (int i = 0; i < groups.size(); ++i) {
        if (i > 0 && groups.at(i).size() != 3)
            return false;
        for (QChar c : groups.at(i)) {
            if (!isDigit(c))
                return false;
        }
    }
    return true;
}

// The number is what Excel shows: 15 significant digits.
double asShown(double value)
{
    return QString::number(value, 'g', 15).toDouble();
}

int digitsAt(const QString &text, int &at, int most)
{
    int value = 0;
    int count = 0;
    while (at < text.size() && count < most && isDigit(text.at(at))) {
        value = value * 10 + (text.at(at).unicode() - '0');
        ++at;
        ++count;
    }
    return count == 0 ? -1 : value;
}

// "9:30", "09:30:00" or "09:30:00.5" from at to the end of text.
bool clockAt(const QString &text, int at, QTime &time)
{
    const int hour = digitsAt(text, at, 2);
    if (hour < 0 || at >= text.size() || text.at(at) != QLatin1Char(':'))
        return false;
    ++at;
    const int minute = digitsAt(text, at, 2);
    int second = 0;
    if (minute < 0)
        return false;
    if (at < text.size() && text.at(at) == QLatin1Char(':')) {
        ++at;
        second = digitsAt(text, at, 2);
        if (second < 0)
            return false;
        if (at < text.size() && text.at(at) == QLatin1Char('.')) {
            ++at;
            if (digitsAt(text, at, 9) < 0)
                return false;
        }
    }
    time = QTime(hour, minute, second);
    return at == text.size() && time.isValid();
}

// Formatted without a time zone: a local clock change must not move the time.
QString dateTimeText(const QDate &date, const QTime &time)
{
    return date.toString(QStringLiteral("yyyy-MM-dd ")) + time.toString(QStringLiteral("HH:mm:ss"));
}

// What readNumber says of a text that is no number; each kind of value says instead what
// it should be.
QString notANumber()
{
    return QStringLiteral("不是数");
}

QString orExpected(const QString &problem, const QString &expected)
{
    return problem == notANumber() ? expected : problem;
}

// "1234.5" or "-0.25" with at most 15 digits, the usual cell: exact digits over an exact
// power of ten give the correctly rounded value, so no general conversion is needed.
bool readPlainDecimal(const QString &text, double &value)
{
    static const double powers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                    1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    const QChar *p = text.constData();
    const int n = text.size();
    int i = n > 0 && p[0] == QLatin1Char('-') ? 1 : 0;
    const bool negative = i == 1;
    qint64 digits = 0;
    int count = 0;
    int fraction = -1;
    for (; i < n; ++i) {
        const ushort c = p[i].unicode();
        if (c >= '0' && c <= '9') {
            digits = digits * 10 + (c - '0');
            if (++count > 15)
                return false;
            if (fraction >= 0)
                ++fraction;
        } else if (c == '.' && fraction < 0) {
            fraction = 0;
        } else {
            return false;
        }
    }
    if (count == 0)
        return false;
    value = double(digits) / powers[fraction < 0 ? 0 : fraction];
    if (negative)
        value = -value;
    return true;
}

// A number of one kind: what readNumber says, with "not a number" told as what the kind
// should be.
QString readKind(const QString &text, bool decimalComma, bool percent, bool scientific,
                 const QString &expected, double &value)
{
    ImportValue::NumberRules rules;
    rules.decimalComma = decimalComma;
    rules.percent = percent;
    rules.scientific = scientific;
    return orExpected(ImportValue::readNumber(text, rules, value), expected);
}

} // namespace

namespace ImportValue {

QString quoted(const QString &text)
{
    constexpr int shown = 20;
    QString part = text.left(shown);
    if (!part.isEmpty() && part.at(part.size() - 1).isHighSurrogate())
        part.chop(1);
    for (QChar &c : part) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7F || c == QChar::LineSeparator
            || c == QChar::ParagraphSeparator)
            c = QLatin1Char(' ');
    }
    if (text.size() > shown)
        part += QStringLiteral("…");
    return QStringLiteral("“") + part + QStringLiteral("”");
}

QString withoutFormulaQuotes(const QString &text)
{
    if (text.size() < 3 || !text.startsWith(QLatin1String("=\""))
        || !text.endsWith(QLatin1Char('"')))
        return text;
    const QString inner = text.mid(2, text.size() - 3);
    return inner.contains(QLatin1Char('"')) ? text : inner.trimmed();
}

QString readNumber(const QString &text, const NumberRules &rules, double &value)
{
    value = 0.0;
    if (!rules.decimalComma && readPlainDecimal(text, value))
        return QString();
    QString s = halfWidth(text);
    bool percent = false;
    if (s.endsWith(QLatin1Char('%'))) {
        if (!rules.percent)
            return QStringLiteral("不能写成百分数");
        percent = true;
        s.chop(1);
        s = s.trimmed();
    }
    const QString notNumber = notANumber();
    bool exponent = false;
    for (QChar c : qAsConst(s)) {
        if (c == QLatin1Char('e') || c == QLatin1Char('E'))
            exponent = true;
        else if (!isDigit(c) && c != QLatin1Char('.') && c != QLatin1Char(',')
                 && c != QLatin1Char('-') && c != QLatin1Char('+'))
            return notNumber;
    }
    if (exponent && !rules.scientific)
        return QStringLiteral("是科学计数法，数值可能已被Excel截断，"
                              "请把该列设为数值格式后重新导出");
    const int commas = s.count(QLatin1Char(','));
    const int dots = s.count(QLatin1Char('.'));
    const bool signed_ = s.startsWith(QLatin1Char('-')) || s.startsWith(QLatin1Char('+'));
    const QString unsignedText = signed_ ? s.mid(1) : s;
    if (rules.decimalComma) {
        // Comma is the decimal point; dots can only group thousands.
        if (commas > 1)
            return notNumber;
        const int comma = unsignedText.indexOf(QLatin1Char(','));
        const QString integer = comma < 0 ? unsignedText : unsignedText.left(comma);
        if (dots > 1 || (dots == 1 && commas == 1)) {
            if (!groupedInThrees(integer, QLatin1Char('.')))
                return QStringLiteral("其中的“.”只能用作千位分隔符（每三位一组）");
            s.remove(QLatin1Char('.'));
        } else if (dots == 1 && !exponent) {
            const int dot = unsignedText.indexOf(QLatin1Char('.'));
            const bool threeAfter = unsignedText.size() - dot - 1 == 3;
            if (threeAfter && dot >= 1 && dot <= 3 && unsignedText.at(0) != QLatin1Char('0'))
                return QStringLiteral("无法确定其中的“.”是小数点还是千位分隔符");
        }
        s.replace(QLatin1Char(','), QLatin1Char('.'));
    } else if (commas > 0) {
        const int dot = unsignedText.indexOf(QLatin1Char('.'));
        if (!groupedInThrees(dot < 0 ? unsignedText : unsignedText.left(dot), QLatin1Char(',')))
            return QStringLiteral("其中的逗号只能用作千位分隔符（每三位一组）");
        s.remove(QLatin1Char(','));
    }
    bool ok = false;
    value = s.toDouble(&ok);
    if (!ok || !std::isfinite(value)) {
        value = 0.0;
        return notNumber;
    }
    if (percent)
        value /= 100.0;
    return QString();
}

QString readQuantity(const QString &text, bool decimalComma, qint64 &quantity)
{
    quantity = 0;
    if (text.isEmpty())
        return QString();
    // Plain digits, the usual cell, need none of the rules below.
    if (text.size() <= 15) {
        qint64 digits = 0;
        int i = 0;
        for (; i < text.size() && isDigit(text.at(i)); ++i)
            digits = digits * 10 + (text.at(i).unicode() - '0');
        if (i == text.size()) {
            quantity = digits;
            return QString();
        }
    }
    double value = 0.0;
    const QString whole = QStringLiteral("应为不小于0的整数");
    const QString problem = readKind(text, decimalComma, false, false, whole, value);
    if (!problem.isEmpty())
        return problem;
    const double shown = asShown(value);
    if (shown < 0 || shown != std::floor(shown))
        return whole;
    if (shown >= 1e15)
        return QStringLiteral("数值过大");
    quantity = qint64(shown);
    return QString();
}

QString readNonNegative(const QString &text, bool decimalComma, bool percent, double &number)
{
    number = 0.0;
    if (text.isEmpty())
        return QString();
    const QString expected = QStringLiteral("应为不小于0的数");
    const QString problem = readKind(text, decimalComma, percent, true, expected, number);
    if (!problem.isEmpty())
        return problem;
    return number < 0 ? expected : QString();
}

QString readParticipationRate(const QString &text, bool decimalComma, QString &rate)
{
    rate.clear();
    if (text.isEmpty())
        return QString();
    double value = 0.0;
    const QString expected = QStringLiteral("应为0到1之间的小数（如0.1）或百分数（如10%）");
    const QString problem = readKind(text, decimalComma, true, true, expected, value);
    if (!problem.isEmpty())
        return problem;
    if (value <= 0 || value > 1)
        return expected;
    rate = QString::number(asShown(value), 'g', 15);
    return QString();
}

QString readTime(const QString &text, QString &normalized)
{
    normalized.clear();
    if (text.isEmpty())
        return QString();
    const QString wrong = QStringLiteral("不是有效的时间，应为时:分:秒（如09:30:00）或日期时间");
    bool number = false;
    const double serial = text.toDouble(&number);
    if (number) {
        // Excel's day count from 1899-12-30, the fraction being the time of day.
        if (!std::isfinite(serial) || serial < 0 || serial >= 2958466)
            return wrong;
        const qint64 seconds = std::llround(serial * 86400.0);
        const QTime time = QTime(0, 0).addSecs(int(seconds % 86400));
        if (seconds < 86400)
            normalized = time.toString(QStringLiteral("HH:mm:ss"));
        else
            normalized = dateTimeText(QDate(1899, 12, 30).addDays(seconds / 86400), time);
        return QString();
    }
    const QString s = halfWidth(text);
    QTime time;
    if (clockAt(s, 0, time)) {
        normalized = time.toString(QStringLiteral("HH:mm:ss"));
        return QString();
    }
    // 2024-03-15 14:52, 2024/3/15 14:52:48, 2024-03-15T14:52:48 (a date cell of a workbook).
    int at = 0;
    const int year = digitsAt(s, at, 4);
    if (year < 1900 || at >= s.size())
        return wrong;
    const QChar sep = s.at(at);
    if (sep != QLatin1Char('-') && sep != QLatin1Char('/') && sep != QLatin1Char('.'))
        return wrong;
    ++at;
    const int month = digitsAt(s, at, 2);
    if (month < 0 || at >= s.size() || s.at(at) != sep)
        return wrong;
    ++at;
    const int day = digitsAt(s, at, 2);
    const QDate date(year, month, day);
    if (day < 0 || !date.isValid() || at >= s.size()
        || (s.at(at) != QLatin1Char(' ') && s.at(at) != QLatin1Char('T')))
        return wrong;
    while (at < s.size() && (s.at(at) == QLatin1Char(' ') || s.at(at) == QLatin1Char('T')))
        ++at;
    if (!clockAt(s, at, time))
        return wrong;
    normalized = dateTimeText(date, time);
    return QString();
}

bool isScientificNotation(const QString &text)
{
    const QString s = halfWidth(text);
    int at = 0;
    if (at < s.size() && (s.at(at) == QLatin1Char('+') || s.at(at) == QLatin1Char('-')))
        ++at;
    int mantissa = 0;
    while (at < s.size() && (isDigit(s.at(at)) || s.at(at) == QLatin1Char('.'))) {
        mantissa += isDigit(s.at(at));
        ++at;
    }
    if (mantissa == 0 || at >= s.size()
        || (s.at(at) != QLatin1Char('e') && s.at(at) != QLatin1Char('E')))
        return false;
    ++at;
    if (at < s.size() && (s.at(at) == QLatin1Char('+') || s.at(at) == QLatin1Char('-')))
        ++at;
    const int exponentStart = at;
    while (at < s.size() && isDigit(s.at(at)))
        ++at;
    return at == s.size() && at > exponentStart;
}

} // namespace ImportValue
