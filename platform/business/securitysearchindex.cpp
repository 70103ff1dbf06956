#include "securitysearchindex.h"

#include "referencetable.h"
#include "securitycatalog.h"

#include <QDebug>
#include <QHash>
#include <QRegularExpression>
#include <array>

namespace {

constexpr int kDigitBit = 26;

quint64 maskOfLatin(QChar c)
{
    const ushort u = c.toLower().unicode();
    if (u >= 'a' && u <= 'z')
        return quint64(1) << (u - 'a');
    if (u >= '0' && u <= '9')
        return quint64(1) << (kDigitBit + u - '0');
    return 0;
}

struct CharInitials
{
    quint64 all = 0;     // the letters all its readings start with
    quint64 common = 0;  // the letter of its most common reading
};

// Character -> initials, from the data folder's pinyin table, which lists a character's
// initials in the order of its readings, the most common first.
QHash<QChar, CharInitials> loadInitials()
{
    QHash<QChar, CharInitials> table;
    ReferenceTable file;
    QString error;
    if (!file.load(QStringLiteral("pinyin_initials.csv"), &error)) {
        qWarning().noquote() << "SecuritySearchIndex" << error
                             << "- names will be found by their characters only";
        return table;
    }
    table.reserve(file.rows().size());
    for (const QStringList &row : file.rows()) {
        if (row.size() < 2 || row.at(0).size() != 1)
            continue;
        CharInitials initials;
        for (QChar letter : row.at(1))
            initials.all |= maskOfLatin(letter);
        initials.common = row.at(1).isEmpty() ? 0 : maskOfLatin(row.at(1).at(0));
        if (initials.all && initials.common)
            table.insert(row.at(0).at(0), initials);
    }
    return table;
}

// Upper- and lower-case, full- and half-width all become one form.
QString fold(const QString &text)
{
    return text.normalized(QString::NormalizationForm_KC).toLower();
}

struct CodeQuery
{
    bool valid = false;
    QString code;
    QString listing;  // SH, SZ, BJ, HK or empty
};

CodeQuery parseCode(const QString &folded)
{
    static const QRegularExpression pattern(
        QStringLiteral("^(?:(sh|sz|bj|hk)\\.?)?([0-9]{1,6})(?:\\.(sh|sz|bj|hk))?$"));
    const QRegularExpressionMatch m = pattern.match(folded);
    CodeQuery q;
    if (!m.hasMatch())
        return q;
    q.valid = true;
    q.code = m.captured(2);
    q.listing = (m.captured(1).isEmpty() ? m.captured(3) : m.captured(1)).toUpper();
    return q;
}

} // namespace

const SecuritySearchIndex &SecuritySearchIndex::instance()
{
    static const SecuritySearchIndex index;
    return index;
}

SecuritySearchIndex::SecuritySearchIndex()
{
    const QHash<QChar, CharInitials> initials = loadInitials();
    const std::vector<SecurityInfo> &all = SecurityCatalog::instance().all();
    m_entries.reserve(all.size());
    for (const SecurityInfo &s : all) {
        Entry e;
        e.security = &s;
        e.folded = fold(s.name);
        e.initials.reserve(size_t(e.folded.size()));
        e.common.reserve(size_t(e.folded.size()));
        for (QChar c : qAsConst(e.folded)) {
            const CharInitials of = c.unicode() < 0x80 ? CharInitials{maskOfLatin(c), maskOfLatin(c)}
                                                       : initials.value(c);
            if (of.all) {
                e.initials.push_back(of.all);
                e.common.push_back(of.common);
            }
        }
        m_entries.push_back(std::move(e));
    }
}

int SecuritySearchIndex::codeDigits(const QString &text)
{
    const CodeQuery code = parseCode(fold(text).remove(QLatin1Char(' ')));
    return code.valid ? code.code.size() : -1;
}

QVector<int> SecuritySearchIndex::positionsOf(const QStringList &symbols) const
{
    QHash<QString, int> wanted;
    wanted.reserve(symbols.size());
    for (const QString &s : symbols)
        wanted.insert(s, 0);
    QVector<int> positions;
    positions.reserve(symbols.size());
    for (int i = 0; i < int(m_entries.size()); ++i) {
        if (wanted.contains(m_entries[size_t(i)].security->symbol))
            positions.append(i);
    }
    return positions;
}

bool SecuritySearchIndex::prefixMatchesAt(const std::vector<quint64> &initials, size_t at,
                                         const std::vector<quint64> &query)
{
    if (at + query.size() > initials.size())
        return false;
    for (size_t i = 0; i < query.size(); ++i) {
        if (!(initials[at + i] & query[i]))
            return false;
    }
    return true;
}

QVector<SecuritySearchHit> SecuritySearchIndex::search(const QString &text,
                                                       const QVector<int> &positions,
                                                       int minCodeLength, int maxHits) const
{
    QVector<SecuritySearchHit> hits;
    const QString query = fold(text).remove(QLatin1Char(' '));
    if (query.isEmpty() || maxHits <= 0)
        return hits;

    constexpr int kRanks = SecuritySearchHit::InitialsContains + 1;
    std::array<QVector<const SecurityInfo *>, kRanks> buckets;
    auto add = [&](SecuritySearchHit::Rank rank, const SecurityInfo *s) {
        if (buckets[rank].size() < maxHits)
            buckets[rank].append(s);
    };

    const CodeQuery code = parseCode(query);
    if (code.valid) {
        // Digits are a code: names are not searched for them.
        const bool prefixAllowed = code.code.size() >= minCodeLength;
        for (int position : positions) {
            const SecurityInfo *s = m_entries[size_t(position)].security;
            if (!code.listing.isEmpty() && s->listing != code.listing)
                continue;
            if (s->code == code.code)
                add(SecuritySearchHit::ExactCode, s);
            else if (prefixAllowed && s->code.startsWith(code.code))
                add(SecuritySearchHit::CodePrefix, s);
        }
    } else {
        std::vector<quint64> letters;
        bool latinOnly = true;
        for (QChar c : query) {
            const quint64 mask = maskOfLatin(c);
            latinOnly = latinOnly && mask != 0;
            letters.push_back(mask);
        }
        for (int position : positions) {
            const Entry &e = m_entries[size_t(position)];
            if (latinOnly && prefixMatchesAt(e.initials, 0, letters)) {
                add(prefixMatchesAt(e.common, 0, letters) ? SecuritySearchHit::InitialsPrefix
                                                           : SecuritySearchHit::InitialsPrefixOtherReading,
                    e.security);
                continue;
            }
            const int at = e.folded.indexOf(query);
            if (at == 0) {
                add(SecuritySearchHit::NamePrefix, e.security);
                continue;
            }
            if (at > 0) {
                add(SecuritySearchHit::NameContains, e.security);
                continue;
            }
            if (!latinOnly)
                continue;
            for (size_t start = 1; start < e.initials.size(); ++start) {
                if (prefixMatchesAt(e.initials, start, letters)) {
                    add(SecuritySearchHit::InitialsContains, e.security);
                    break;
                }
            }
        }
    }

    for (int rank = 0; rank < kRanks && hits.size() < maxHits; ++rank) {
        for (const SecurityInfo *s : buckets[size_t(rank)]) {
            if (hits.size() == maxHits)
                break;
            hits.append({s, SecuritySearchHit::Rank(rank)});
        }
    }
    return hits;
}

QString SecuritySearchIndex::initialsOf(const QString &symbol) const
{
    for (const Entry &e : m_entries) {
        if (e.security->symbol != symbol)
            continue;
        QString text;
        for (quint64 mask : e.initials) {
            text += QLatin1Char('[');
            for (int bit = 0; bit < kDigitBit + 10; ++bit) {
                if (mask & (quint64(1) << bit))
                    text += bit < kDigitBit ? QChar('a' + bit) : QChar('0' + bit - kDigitBit);
            }
            text += QLatin1Char(']');
        }
        return text;
    }
    return QString();
}
