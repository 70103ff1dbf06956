#pragma once

namespace PortfoliosListConstants {
// Host identifier of the page: the instance key under which the host opens it.
const char PAGE_ID[] = "TZApp.PortfoliosList";
const char PAGE_CLASS[] = "PortfoliosListWidget";
const char PAGE_TITLE[] = "组合列表";
}
