#pragma once

#include "portfolioitem.h"

#include <QList>
#include <QString>
#include <QVariantMap>

// Reads the lines of a portfolio from a user's .xlsx or .csv file.
//
// Row 1 holds the column names, in any order; columns the client does not know are
// left alone. "证券代码" is required, and "委托数量" or "相对权重" (or both). An
// algorithm portfolio file has the portfolio-level columns "资金账号", "算法名称",
// "开始时间", "结束时间" and "参与率" besides; their first value on an accepted line
// holds for the whole portfolio.
//
// Lines that cannot become a portfolio line are skipped, each named in error as
// "第N行：reason" (N is the row the spreadsheet shows); the good lines are returned.
// When the file itself cannot be used, or no line is good, the list is empty and error
// says why. extension receives Portfolio::portType ("normal" or "algo") and, for an
// algorithm portfolio, Portfolio::algoParam.
class TZPLATFORM_EXPORT PortfolioImportFile
{
public:
    // More data lines than this are refused: no trading desk sends such a basket at once.
    static constexpr int MaxDataLines = 100000;

    static QList<PortfolioItem> read(const QString &path, QString &error, QVariantMap &extension);
};
