#pragma once

#include "tzplatform_global.h"

#include <QString>

// Order-batch state of portfolios, asked from the back end.
class TZPLATFORM_EXPORT PortfolioOrderMgr
{
public:
    static PortfolioOrderMgr *GetInstance();

    // True when every order batch of the portfolio is finished (or it never had one);
    // false while a batch is unfinished. When the back end cannot be asked the answer
    // is false, so that nothing with possibly live orders is deleted.
    bool GetBatchNosState(const QString &portfolioNo);

private:
    PortfolioOrderMgr() = default;
};
