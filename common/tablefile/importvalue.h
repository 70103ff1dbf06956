#pragma once

#include "tzcommon_global.h"

#include <QString>

// How the cells of an import file are read as values: what a trader obviously meant is
// taken, what could mean two things is refused. A function that refuses returns the
// reason (to follow the quoted cell in a message); an empty text means accepted.
namespace ImportValue {

// A cell's text as it may appear in a message: in quotes, shortened, on one line.
TZCOMMON_EXPORT QString quoted(const QString &text);

// ="600519", the way other programs write a code into a CSV file so that Excel keeps
// its leading zeros, is 600519.
TZCOMMON_EXPORT QString withoutFormulaQuotes(const QString &text);

struct NumberRules
{
    bool decimalComma = false;  // a semicolon-separated file: "0,5" is a half
    bool percent = false;       // "30%" is 0.3
    bool scientific = true;     // "1E-4"; not for quantities, which Excel cuts so
};

// A number as written in a spreadsheet or a text table: thousands separators in groups
// of three ("1,000"), a percent sign where allowed, full-width digits. In a file with a
// decimal comma, "1.500" could be one and a half or fifteen hundred and is refused.
TZCOMMON_EXPORT QString readNumber(const QString &text, const NumberRules &rules,
                                     double &value);

// A quantity of shares: a whole number not below 0. A value Excel shows as a whole
// number (700.0000000000001 is 700 to its 15 significant digits) is that number. An
// empty cell is 0.
TZCOMMON_EXPORT QString readQuantity(const QString &text, bool decimalComma,
                                       qint64 &quantity);

// A weight (percentages allowed) or a price: a finite number not below 0; empty is 0.
TZCOMMON_EXPORT QString readNonNegative(const QString &text, bool decimalComma, bool percent,
                                          double &number);

// The share of market volume an algorithm may take: 0.1 or 10% are a tenth; a number
// above 1 without a percent sign (is 10 ten percent or ten times?) is refused.
TZCOMMON_EXPORT QString readParticipationRate(const QString &text, bool decimalComma,
                                                QString &rate);

// A clock time ("9:30", "09:30:00", Excel's fraction of a day 0.395833) becomes
// "HH:mm:ss"; a date and time (Excel's serial 45366.62, "2024-03-15 14:52") becomes
// "yyyy-MM-dd HH:mm:ss".
TZCOMMON_EXPORT QString readTime(const QString &text, QString &normalized);

// An account number that Excel turned into "1.00012E+11": its digits are lost.
TZCOMMON_EXPORT bool isScientificNotation(const QString &text);

} // namespace ImportValue
