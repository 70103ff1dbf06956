#pragma once

#include "tzplatform_global.h"

#include "portfoliodetailbasicinfo.h"

// Platform-side access to the fields that pages only read: prices of a line, the
// delete flag and parameter type of a portfolio (set when it is loaded from the back
// end), the import path, and the type and status of a strategy label.
class TZPLATFORM_EXPORT PortfolioRecordAccess
{
public:
    static void setPrices(PortfolioItem &item, double customerPrice, double algoLimitPrice)
    {
        item.m_customerPrice = customerPrice;
        item.m_algoLimitPrice = algoLimitPrice;
    }
    static void setDeleteFlag(PortfolioDetailBasicInfo &info, bool flag) { info.m_deleteFlag = flag; }
    static void setPortParamType(PortfolioDetailBasicInfo &info, int type) { info.m_portParamType = type; }
    static QString portFilePath(const PortfolioDetailBasicInfo &info) { return info.m_portFilePath; }
    static void setStrategyTypeAndStatus(PortfolioStrategyInfo &info, const QString &type,
                                         const QString &status)
    {
        info.m_type = type;
        info.m_status = status;
    }
};
