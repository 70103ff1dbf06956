#pragma once

#include "tzplatform_global.h"

#include <QString>
#include <QStringList>

// Reads security codes out of text a trader copied: a column of a spreadsheet, a chat
// message, a line of a research note.
//
// Codes stand one per line or are separated by blanks, tabs, commas, semicolons, 、,
// slashes, bars or brackets (half- or full-width). A code is taken in these forms:
//   600519, 000001, 00700              six digits (A share, ETF, bond), or five digits
//                                      with a leading zero (a Hong Kong stock)
//   600519.SH, 700.HK, 600519.XSHG     with the suffix of its listing (SS = SH)
//   sh600519, SZ000001, hk00700        with the listing in front
//   600519 SH, 700 港股, 1 深圳         followed by a market word in the next cell
//   贵州茅台600519                      written against a name, without a blank
// A shorter number (1, 700: a code a spreadsheet kept as a number lost its leading
// zeros) counts only when its line holds no other code, only the first such number of
// the line, and only when the catalogue knows it; other numbers on a line with a code
// are quantities, weights or amounts. Words, headers, names, decimals (1.5), percentages
// (30%), dates and numbers with thousands separators (1,000) are not codes.
//
// A code is looked up the way the file importer does (ImportSecurityResolver): leading
// zeros that were lost are restored, and where a number may mean more than one security
// (700 is 000700.SZ and 00700.HK) a market word or a security name on the same line
// decides. What still cannot be decided, and a code the catalogue does not know, is kept
// as the trader wrote it (a market written with it in the form 123456.SH), so that the
// portfolio list names it among the codes it cannot use. A number the catalogue does
// not know counts as a code only as the first code of its line; written against a name
// it does not count at all.
class TZPLATFORM_EXPORT ClipboardCodes
{
public:
    struct Result
    {
        // The symbols in the order they first appear, each once: catalogue symbols
        // ("600519.SH", "00700.HK") and the codes kept as written.
        QStringList symbols;
        // Tokens taken as codes, repeats included.
        int codeCount = 0;
        // Codes kept as written: unknown to the catalogue or meaning several securities.
        QStringList unresolved;
        // Tokens that were not taken as codes, as written.
        QStringList ignored;

        bool isEmpty() const { return symbols.isEmpty(); }
    };

    static Result parse(const QString &text);
};
