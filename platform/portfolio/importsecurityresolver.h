#pragma once

#include "tzplatform_global.h"

#include "securitycatalog.h"

#include <QHash>
#include <QString>
#include <QVarLengthArray>

// Finds the security an import line means from its code, market and name cells.
//
// A code is taken as written: six digits are an A share, ETF or bond, five digits with
// a leading zero a Hong Kong stock, a suffix (600519.SH, 700.HK) names the listing.
// Excel drops the leading zeros of a code kept as a number (000001 -> 1, 00700 -> 700),
// and such a code may stand for an A share and a Hong Kong stock at once (700 is
// 000700.SZ and 00700.HK). The market cell decides between them, else the name cell;
// when nothing decides, the line is refused rather than guessed. A name that belongs to
// another security the code could stand for is a contradiction and refused too; a name
// that matches none of them (an old or shortened name) is no reason to refuse.
class TZPLATFORM_EXPORT ImportSecurityResolver
{
public:
    ImportSecurityResolver();

    // The security, and in key the market it trades on for this line (its first market
    // when the market cell is empty). Null with the reason otherwise.
    const SecurityInfo *resolve(const QString &code, const QString &market,
                                const QString &name, QString &key, QString &reason) const;

private:
    using Securities = QVarLengthArray<const SecurityInfo *, 4>;
    struct CodeIndex
    {
        QHash<int, Securities> mainland;
        QHash<int, Securities> hongKong;
    };

    const CodeIndex &codeIndex() const;
    // Securities whose code is this number: six-digit codes, five-digit Hong Kong ones.
    void addReadings(int code, bool mainland, bool hongKong, Securities &into) const;
    static bool tradesOn(const SecurityInfo *security, const QString &market);
    static QString describe(const Securities &securities);

    const SecurityCatalog &m_catalog;
    QHash<QString, QString> m_markets;  // key or Chinese name, upper case -> market key
};
