#pragma once

namespace PortfolioDetailConstants {
// Host identifier of the page: the instance key under which the host opens it.
const char PAGE_ID[] = "TZApp.PortfolioDetail";
const char PAGE_CLASS[] = "PortfolioDetailWidget";
const char PAGE_TITLE[] = "组合明细";
}
