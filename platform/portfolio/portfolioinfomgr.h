#pragma once

#include "portfoliodetailbasicinfo.h"

#include <QVariantMap>

// Builds portfolios from ready-made baskets.
class TZPLATFORM_EXPORT PortfolioInfoMgr
{
public:
    static PortfolioInfoMgr *GetInstance();

    // Fills out's lines from ETF component rows: each row names its security by
    // Security::symbol, or by Security::securityID with UserAccount::securityExchange, and
    // carries the component quantity per creation unit in Security::nominalQty. Lines
    // are buy lines in row order. Returns an empty text on success, else the reason (no
    // rows, or the first row whose security or quantity is unusable); out is then
    // unchanged.
    QString GetPortfolioDetailByEtfData(const QList<QVariantMap> &rows, PortfolioDetailBasicInfo &out);

private:
    PortfolioInfoMgr() = default;
};
