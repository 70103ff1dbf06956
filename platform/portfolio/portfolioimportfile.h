#pragma once

#include "tzplatform_global.h"

#include "portfolioitem.h"

#include <QList>
#include <QString>
#include <QVariantMap>

// Reads the lines of a portfolio from a user's .xlsx, .xlsm or .csv file.
//
// The first non-blank row holds the column names, in any order; columns the client
// does not know are left alone, a known one that appears twice is refused. "证券代码" is
// required, and "委托数量" or "相对权重" (or both). An algorithm portfolio file has the
// portfolio-level columns "资金账号", "算法名称", "开始时间", "结束时间" and "参与率"
// besides; their first value on an accepted line holds for the whole portfolio.
//
// What a trader obviously meant is taken: codes that lost their leading zeros, a code
// written ="600519", weights as "30%", a quantity with floating noise that Excel shows as
// a whole number, times as Excel's fractions of a day or serial dates. What could mean
// two things is refused, never guessed: a code that stands for an A share and a Hong Kong
// stock alike with no market or name to tell them apart, a name that belongs to another
// security, a formula without its result, an account number Excel put in scientific
// notation (ImportLineReader, ImportSecurityResolver, ImportValue hold the rules).
//
// Lines that cannot become a portfolio line are skipped, and error names the file and
// then each of the first twenty of them as "第N行：reason" (N is the row the spreadsheet
// shows), counting the rest; the good lines are returned. When the file itself cannot be
// used, or no line is good, the list is empty and error names the file and says why.
// extension receives Portfolio::portType ("normal" or "algo") and, for an algorithm
// portfolio, Portfolio::algoParam.
class TZPLATFORM_EXPORT PortfolioImportFile
{
public:
    // More data lines than this are refused: no trading desk sends such a basket at once.
    static constexpr int MaxDataLines = 100000;
    // Bad lines named one by one; the others are counted.
    static constexpr int ShownFaults = 20;

    static QList<PortfolioItem> read(const QString &path, QString &error, QVariantMap &extension);
};
