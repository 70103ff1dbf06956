#pragma once

#include "tzplatform_global.h"

#include "portfoliodetailbasicinfo.h"

#include <QVariantMap>

// Builds portfolios from ready-made baskets.
class TZPLATFORM_EXPORT PortfolioInfoMgr
{
public:
    static PortfolioInfoMgr *GetInstance();

    // Fills out's lines from basket rows (an ETF's components, the members of an industry
    // or an index), one line per row in row order. A row names its security by
    // Security::symbol, or by Security::securityID with UserAccount::securityExchange;
    // UserAccount::securityExchange, when given, is also the market the line trades on.
    // Security::nominalQty is the quantity (0 or more), Security::weight the relative
    // weight (optional; an index weight in percent serves as it is), Security::side the
    // side (optional, buy by default). Returns an empty text on success, else the reason:
    // no rows, or the first row whose security is unknown or restricted, whose market is
    // not one the security trades on, or whose quantity or weight is unusable; out is then
    // unchanged.
    QString GetPortfolioDetailByBasketData(const QList<QVariantMap> &rows, PortfolioDetailBasicInfo &out);
    // The same for the component rows of an ETF's creation basket.
    QString GetPortfolioDetailByEtfData(const QList<QVariantMap> &rows, PortfolioDetailBasicInfo &out);

private:
    PortfolioInfoMgr() = default;
};
