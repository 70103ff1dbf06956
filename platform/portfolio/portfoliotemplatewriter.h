#pragma once

#include "tzplatform_global.h"

#include "veltrautils.h"

#include <QString>

// Writes the templates of the portfolio import and of the rebalance targets: the header
// row the import expects and a few example lines of real securities, which import as
// they stand. An .xlsx template has a second sheet that explains each column (the import
// reads the first sheet only); a .csv template (chosen by the file's suffix) is UTF-8
// with a byte order mark, so that Excel shows its Chinese headers.
//
// The rebalance template (PortfolioPosAdjust) comes in two variants: "权重" (target
// weights: 证券代码, 市场, 相对权重) and "数量" (target quantities: 证券代码, 市场,
// 委托数量); without a variant it has both target columns.
class TZPLATFORM_EXPORT PortfolioTemplateWriter
{
public:
    static QString suggestedFileName(VeltraConstants::TemplateFileType type,
                                     const QString &variant = QString());
    static QString caption(VeltraConstants::TemplateFileType type, const QString &variant = QString());

    // False with a reason when the file cannot be written.
    static bool write(VeltraConstants::TemplateFileType type, const QString &path,
                      QString *error = nullptr, const QString &variant = QString());
};
