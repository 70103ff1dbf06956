#include "portfoliodetailbasicinfo.h"
#include "tzportfolioquote.h"

#include <QMetaType>

// Portfolio records cross queued connections between the auto-import worker, the bus
// thread and the GUI thread; they are registered as soon as the library is loaded.
static void registerPortfolioMetaTypes()
{
    qRegisterMetaType<PortfolioItem>("PortfolioItem");
    qRegisterMetaType<PortfolioDetailBasicInfo>("PortfolioDetailBasicInfo");
    qRegisterMetaType<PortfolioDetailExtraInfo>("PortfolioDetailExtraInfo");
    qRegisterMetaType<PortfolioStrategyInfo>("PortfolioStrategyInfo");
    qRegisterMetaType<TzPortfolioQuote>("TzPortfolioQuote");
    qRegisterMetaType<TzPortfolioExecutionReport>("TzPortfolioExecutionReport");
}
Q_CONSTRUCTOR_FUNCTION(registerPortfolioMetaTypes)
