#pragma once

#include "tzplatform_global.h"

#include <QString>
#include <QVector>
#include <vector>

struct SecurityInfo;

// What a search found: the security, and how well the text matched it.
struct SecuritySearchHit
{
    // InitialsPrefix reads every character by its most common reading (平安 "pa");
    // InitialsPrefixOtherReading needs a rarer one for some character (百 read mò in
    // 贵州百灵 for "gzm"), so it comes after.
    enum Rank { ExactCode, CodePrefix, InitialsPrefix, InitialsPrefixOtherReading, NamePrefix, NameContains,
                InitialsContains };

    const SecurityInfo *security = nullptr;
    Rank rank = ExactCode;
};

// Everything a code search box matches against, derived once per process from the
// security catalogue and the pinyin table of the data folder (pinyin_initials.csv): per
// security its code, its name folded to lower case, and per character of the name the
// set of letters a trader may type for it. A character with several readings offers all
// their initials (行 in 银行 matches h and x), a Latin letter or digit stands for itself.
// Read-only once built, so any thread may search.
class TZPLATFORM_EXPORT SecuritySearchIndex
{
public:
    static const SecuritySearchIndex &instance();

    // Positions in the catalogue's order of the securities whose symbol is listed; unknown
    // symbols are left out.
    QVector<int> positionsOf(const QStringList &symbols) const;

    // Matches text against the securities at the given positions, best first and, within a
    // rank, in the order of positions; at most maxHits hits.
    // - A code, with or without a market ("600519", "600519.SH", "SH600519"), matches the
    //   securities whose code starts with it once it is minCodeLength long; a whole code
    //   matches at any length (Hong Kong codes have five digits).
    // - Any other text matches from its first character: the name's initials from the
    //   start, the name from the start, anywhere in the name, the initials anywhere.
    QVector<SecuritySearchHit> search(const QString &text, const QVector<int> &positions,
                                      int minCodeLength, int maxHits) const;

    // How many digits of a code the text holds when it reads as a code (with or without a
    // market); -1 for any other text.
    static int codeDigits(const QString &text);

    int size() const { return int(m_entries.size()); }
    // The initials a name offers, one set of letters per character, written as text
    // ("[p][ab][y][hx]"); for tests and diagnostics.
    QString initialsOf(const QString &symbol) const;

private:
    SecuritySearchIndex();

    struct Entry
    {
        const SecurityInfo *security = nullptr;
        QString folded;                // name, lower case
        std::vector<quint64> initials; // per name character: bit 0..25 a..z, 26..35 0..9
        std::vector<quint64> common;   // the same, for the most common reading only
    };

    static bool prefixMatchesAt(const std::vector<quint64> &initials, size_t at,
                               const std::vector<quint64> &query);

    std::vector<Entry> m_entries;  // catalogue order
};
