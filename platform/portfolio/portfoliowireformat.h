#pragma once

#include "tzplatform_global.h"

#include "portfoliodetailbasicinfo.h"

// Conversion between portfolio records and the rows the back end sends and takes.
namespace PortfolioWireFormat {
// A portfolio row of queryPortfolioRequest's answer, lines in its "details" list.
TZPLATFORM_EXPORT PortfolioDetailBasicInfo portfolioFromRow(const QVariantMap &row);
TZPLATFORM_EXPORT PortfolioItem itemFromRow(const QVariantMap &row);
TZPLATFORM_EXPORT PortfolioStrategyInfo strategyFromRow(const QVariantMap &row);
}
