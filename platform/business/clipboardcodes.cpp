#include "clipboardcodes.h"

#include "exchange.h"
#include "importsecurityresolver.h"
#include "securitycatalog.h"

#include <QHash>
#include <QRegularExpression>
#include <QSet>

namespace {

// Stand in for the separators inside a number that is plainly no code (1,000 or
// 10:30), so that it stays one token instead of falling apart into short numbers.
const QChar kJoinedComma(0xE000);
const QChar kJoinedColon(0xE001);

bool isSeparator(QChar c)
{
    // Full-width forms (，；：（）) arrive here already folded to their ASCII twins.
    static const QString separators =
        QStringLiteral(",;、|()[]{}<>【】《》〈〉「」『』\"'“”‘’:。!?");
    return c.isSpace() || separators.contains(c);
}

// ASCII, or a stand-in joining a number: the part of a token a code is written in.
bool isCodeChar(QChar c)
{
    return c.unicode() < 0x80 || c == kJoinedComma || c == kJoinedColon;
}

// Market words a trader writes in the cell after a code (or before it): exchange keys,
// the suffixes of data vendors and the Chinese names of the places.
QString marketOfWord(const QString &word)
{
    static const QHash<QString, QString> markets = {
        {QStringLiteral("SH"), Exchange::sh},     {QStringLiteral("SS"), Exchange::sh},
        {QStringLiteral("XSHG"), Exchange::sh},   {QStringLiteral("SZ"), Exchange::sz},
        {QStringLiteral("XSHE"), Exchange::sz},   {QStringLiteral("BJ"), Exchange::bj},
        {QStringLiteral("HK"), Exchange::hk},     {QStringLiteral("HHK"), Exchange::hk},
        {QStringLiteral("SZHK"), Exchange::hk},   {QStringLiteral("沪"), Exchange::sh},
        {QStringLiteral("沪市"), Exchange::sh},   {QStringLiteral("上海"), Exchange::sh},
        {QStringLiteral("上交所"), Exchange::sh}, {QStringLiteral("深"), Exchange::sz},
        {QStringLiteral("深市"), Exchange::sz},   {QStringLiteral("深圳"), Exchange::sz},
        {QStringLiteral("深交所"), Exchange::sz}, {QStringLiteral("京"), Exchange::bj},
        {QStringLiteral("北京"), Exchange::bj},   {QStringLiteral("北交所"), Exchange::bj},
        {QStringLiteral("港"), Exchange::hk},     {QStringLiteral("港股"), Exchange::hk},
        {QStringLiteral("香港"), Exchange::hk},   {QStringLiteral("港交所"), Exchange::hk},
        {QStringLiteral("港股通"), Exchange::hk}, {QStringLiteral("沪港通"), Exchange::hk},
        {QStringLiteral("深港通"), Exchange::hk},
    };
    return markets.value(word.toUpper());
}

// Hong Kong codes have at most five digits, mainland ones six.
bool fitsListing(const QString &digits, const QString &listing)
{
    return digits.size() <= (listing == Exchange::hk ? 5 : 6);
}

struct Piece
{
    enum Kind {
        Word,    // no code: a name, a header, a decimal, a percentage
        Full,    // six digits, or five with a leading zero
        Short,   // fewer digits: a code that lost its leading zeros, or a quantity
        Listed,  // digits with the listing written with them
        Market,  // a market word
    };
    QString text;     // as written
    QString digits;
    QString listing;  // SH, SZ, BJ or HK for Listed
    Kind kind = Word;
    bool embedded = false;  // written against a name without a blank
    bool taken = false;     // a code, or a market word that belongs to one

    // The code as the trader wrote it, a listing in the form 123456.SH.
    QString written() const
    {
        if (kind != Listed)
            return digits;
        const int width = listing == Exchange::hk ? 5 : 6;
        return digits.rightJustified(width, QLatin1Char('0')) + QLatin1Char('.') + listing;
    }
};

void classify(Piece &piece)
{
    static const QRegularExpression suffix(
        QStringLiteral("^(\\d{1,6})\\.(SH|SZ|BJ|HK|SS|XSHG|XSHE)$"),
        QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression prefix(QStringLiteral("^(SH|SZ|BJ|HK)\\.?(\\d{1,6})$"),
                                           QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression digits(QStringLiteral("^\\d+$"));

    // A full stop or dash after a code ends a sentence ("买入600519."); after a short
    // number it numbers a list ("1. 贵州茅台") and makes it no code.
    QString text = piece.text;
    while (text.endsWith(QLatin1Char('.')) || text.endsWith(QLatin1Char('-')))
        text.chop(1);
    const bool trimmed = text.size() != piece.text.size();

    QRegularExpressionMatch m = suffix.match(text);
    const bool suffixForm = m.hasMatch();
    if (!suffixForm)
        m = prefix.match(text);
    if (m.hasMatch()) {
        piece.digits = m.captured(suffixForm ? 1 : 2);
        piece.listing = marketOfWord(m.captured(suffixForm ? 2 : 1));
        piece.kind = fitsListing(piece.digits, piece.listing) ? Piece::Listed : Piece::Word;
        return;
    }
    if (digits.match(text).hasMatch()) {
        piece.digits = text;
        if (text.size() == 6 || (text.size() == 5 && text.at(0) == QLatin1Char('0')))
            piece.kind = Piece::Full;
        else if (text.size() < 6 && !trimmed)
            piece.kind = Piece::Short;
        return;
    }
    if (!marketOfWord(piece.text).isEmpty())
        piece.kind = Piece::Market;
}

bool mayBeName(const QString &text)
{
    if (text.size() < 2 || !marketOfWord(text).isEmpty())
        return false;
    for (QChar c : text) {
        if (!isCodeChar(c))
            return true;
    }
    return false;
}

void attachMarket(Piece &number, Piece &word)
{
    if ((number.kind != Piece::Full && number.kind != Piece::Short) || word.kind != Piece::Market
        || word.taken)
        return;
    const QString listing = marketOfWord(word.text);
    if (!fitsListing(number.digits, listing))
        return;
    number.listing = listing;
    number.kind = Piece::Listed;
    word.taken = true;
}

// One line's tokens; a token that mixes a name and a code ("贵州茅台600519") gives one
// piece for each part. names receives what may be a security's name.
QList<Piece> piecesOf(const QString &line, QStringList &names)
{
    QList<Piece> pieces;
    int i = 0;
    while (i < line.size()) {
        if (isSeparator(line.at(i))) {
            ++i;
            continue;
        }
        int end = i;
        while (end < line.size() && !isSeparator(line.at(end)))
            ++end;
        const QString token = line.mid(i, end - i);
        i = end;

        QList<Piece> parts;
        int start = 0;
        for (int k = 1; k <= token.size(); ++k) {
            if (k == token.size() || isCodeChar(token.at(k)) != isCodeChar(token.at(k - 1))) {
                Piece piece;
                piece.text = token.mid(start, k - start);
                parts.append(piece);
                start = k;
            }
        }
        bool holdsCode = false;
        for (Piece &part : parts) {
            part.embedded = parts.size() > 1;
            classify(part);
            holdsCode = holdsCode || (part.kind != Piece::Word && part.kind != Piece::Market);
        }
        // A token of name characters ("贵州茅台", "TCL科技", "万科A") may be a security's
        // name; so may the name part of a token that also holds a code ("贵州茅台600519").
        if (!holdsCode) {
            if (mayBeName(token))
                names << token;
        } else {
            for (const Piece &part : qAsConst(parts)) {
                if (part.kind == Piece::Word && mayBeName(part.text))
                    names << part.text;
            }
        }
        pieces += parts;
    }

    // A market word next to a number names its listing: the one after it first (600519
    // SH, 700 港股), else the one before it (HK 700).
    for (int k = 0; k + 1 < pieces.size(); ++k)
        attachMarket(pieces[k], pieces[k + 1]);
    for (int k = 0; k + 1 < pieces.size(); ++k)
        attachMarket(pieces[k + 1], pieces[k]);
    return pieces;
}

// Names compare without case and blanks (the text is width-folded already).
QString nameKey(const QString &name)
{
    QString key = name.toUpper();
    key.remove(QLatin1Char(' '));
    return key;
}

bool nameFits(const SecurityInfo *security, const QString &name)
{
    const QString a = nameKey(security->name);
    const QString b = nameKey(name);
    return a.contains(b) || b.contains(a);
}

class Lookup
{
public:
    enum Outcome {
        Unknown,    // the catalogue knows no security by this code
        Known,      // one tradable security: symbol
        Undecided,  // several securities, or only a delisted one
    };

    // Every security of the catalogue the code may stand for, leading zeros restored
    // as the importer restores them: a five-digit code with a leading zero is a Hong
    // Kong one, six digits a mainland one, any shorter number may be either.
    QList<const SecurityInfo *> readings(const Piece &piece) const
    {
        const QString &digits = piece.digits;
        const QString &listing = piece.listing;
        const bool hongKongOnly = listing == Exchange::hk
                                  || (listing.isEmpty() && digits.size() == 5
                                      && digits.at(0) == QLatin1Char('0'));
        const bool mainlandOnly = (!listing.isEmpty() && listing != Exchange::hk)
                                  || (listing.isEmpty() && digits.size() == 6);
        QList<const SecurityInfo *> found;
        if (!hongKongOnly && digits.size() <= 6) {
            for (const SecurityInfo *s : m_catalog.byCode(digits.rightJustified(6, QLatin1Char('0')))) {
                if (s->listing != Exchange::hk && (listing.isEmpty() || s->listing == listing))
                    found << s;
            }
        }
        if (!mainlandOnly && digits.size() <= 5) {
            for (const SecurityInfo *s : m_catalog.byCode(digits.rightJustified(5, QLatin1Char('0')))) {
                if (s->listing == Exchange::hk)
                    found << s;
            }
        }
        return found;
    }

    // The security the code means; a name of the line decides between several.
    Outcome find(const Piece &piece, const QStringList &names, QString &symbol) const
    {
        const QString code = piece.listing.isEmpty() ? piece.digits
                                                      : piece.digits + QLatin1Char('.') + piece.listing;
        QString key, reason;
        if (const SecurityInfo *s = m_resolver.resolve(code, QString(), QString(), key, reason)) {
            symbol = s->symbol;
            return Known;
        }
        if (readings(piece).isEmpty())
            return Unknown;
        return byName(code, names, symbol) ? Known : Undecided;
    }

    // A short number counts only for a tradable security; beside a name, only for the
    // security of that name (else it numbers a list or counts something).
    Outcome findShort(const Piece &piece, const QStringList &names, QString &symbol) const
    {
        if (names.isEmpty()) {
            const Outcome outcome = find(piece, names, symbol);
            if (outcome != Undecided)
                return outcome;
            int listed = 0;
            for (const SecurityInfo *s : readings(piece))
                listed += s->delisted ? 0 : 1;
            return listed > 1 ? Undecided : Unknown;
        }
        return byName(piece.digits, names, symbol) ? Known : Unknown;
    }

private:
    // The security of this code that bears one of the names (the importer's name rules:
    // exact, else the one name that contains or is contained in it).
    bool byName(const QString &code, const QStringList &names, QString &symbol) const
    {
        QString key, reason;
        for (const QString &name : names) {
            const SecurityInfo *s = m_resolver.resolve(code, QString(), name, key, reason);
            // The resolver also takes a lone security whatever the name says.
            if (s && nameFits(s, name)) {
                symbol = s->symbol;
                return true;
            }
        }
        return false;
    }


    const SecurityCatalog &m_catalog = SecurityCatalog::instance();
    ImportSecurityResolver m_resolver;
};

// Numbers that are plainly no code although made of digits and separators: thousands
// separators (1,000 and 12,345.67), clock times (10:30, 09:15:00).
QString joinPlainNumbers(QString line)
{
    static const QRegularExpression plain(QStringLiteral(
        "(?<![0-9A-Za-z.])(?:\\d{1,3}(?:,\\d{3})+(?:\\.\\d+)?|\\d{1,2}(?::\\d{2}){1,2})(?![0-9A-Za-z])"));
    QRegularExpressionMatchIterator it = plain.globalMatch(line);
    while (it.hasNext()) {
        const QRegularExpressionMatch m = it.next();
        for (int k = m.capturedStart(); k < m.capturedEnd(); ++k) {
            if (line.at(k) == QLatin1Char(','))
                line[k] = kJoinedComma;
            else if (line.at(k) == QLatin1Char(':'))
                line[k] = kJoinedColon;
        }
    }
    return line;
}

QString unjoined(QString text)
{
    text.replace(kJoinedComma, QLatin1Char(','));
    text.replace(kJoinedColon, QLatin1Char(':'));
    return text;
}

// Width-folded: full-width digits, letters, blanks and punctuation become ASCII; the
// zero-width marks and byte-order marks that web pages and chats leave go.
QString folded(const QString &text)
{
    const QString wide = text.normalized(QString::NormalizationForm_KC);
    QString out;
    out.reserve(wide.size());
    for (QChar c : wide) {
        if (c.category() != QChar::Other_Format)
            out.append(c);
    }
    return out;
}

} // namespace

ClipboardCodes::Result ClipboardCodes::parse(const QString &text)
{
    Result result;
    QSet<QString> seen;
    QSet<QString> undecided;
    const Lookup lookup;
    const auto take = [&](Piece &piece, const QString &symbol, bool asWritten) {
        piece.taken = true;
        ++result.codeCount;
        if (!seen.contains(symbol)) {
            seen.insert(symbol);
            result.symbols << symbol;
        }
        if (asWritten && !undecided.contains(symbol)) {
            undecided.insert(symbol);
            result.unresolved << symbol;
        }
    };

    static const QRegularExpression lineBreak(QStringLiteral("\r\n|[\r\n\u2028\u2029]"));
    const QStringList lines = folded(text).split(lineBreak);
    for (const QString &rawLine : lines) {
        const QString line = joinPlainNumbers(rawLine);
        QStringList names;
        QList<Piece> pieces = piecesOf(line, names);

        bool lineHasCode = false;
        for (Piece &piece : pieces) {
            if (piece.kind != Piece::Full && piece.kind != Piece::Listed)
                continue;
            QString symbol;
            switch (lookup.find(piece, names, symbol)) {
            case Lookup::Known:
                take(piece, symbol, false);
                break;
            case Lookup::Undecided:
                take(piece, piece.written(), true);
                break;
            case Lookup::Unknown:
                // Written with its market it is meant as a code; a bare number the
                // catalogue does not know is one only in front of the line (later it
                // is a quantity or an amount), and never against a name.
                if (!piece.embedded && (piece.kind == Piece::Listed || !lineHasCode))
                    take(piece, piece.written(), true);
                break;
            }
            lineHasCode = lineHasCode || piece.taken;
        }
        if (!lineHasCode) {
            for (Piece &piece : pieces) {
                if (piece.kind != Piece::Short || piece.embedded)
                    continue;
                QString symbol;
                const Lookup::Outcome outcome = lookup.findShort(piece, names, symbol);
                if (outcome == Lookup::Known)
                    take(piece, symbol, false);
                else if (outcome == Lookup::Undecided)
                    take(piece, piece.written(), true);
                break;
            }
        }
        for (const Piece &piece : qAsConst(pieces)) {
            if (!piece.taken)
                result.ignored << unjoined(piece.text);
        }
    }
    return result;
}
