#pragma once

#include <QString>

class PortfolioDetailModel;

// Writes the rows a detail model shows (filtered and sorted as on screen) with the
// model's column titles to a table file, by the file's suffix:
// - .xlsx: one sheet named after the portfolio; codes as text (leading zeros kept),
//   figures as numbers with the formats the page shows (percentages as percentages);
// - .csv: UTF-8 with a byte order mark, so that Excel shows the Chinese texts; figures
//   without thousands separators, so that they read back as numbers.
// Cells without a figure ("--", "仅权重") are written as the text shown.
namespace PortfolioDetailExport {

// A file name to offer: "组合明细_<name>_<yyyyMMdd>.xlsx", without characters a file
// name cannot hold.
QString suggestedFileName(const QString &portfolioName);

// False with the reason (naming the path) when the file cannot be written.
bool write(const PortfolioDetailModel &model, const QString &sheetTitle, const QString &path, QString *error);

}
