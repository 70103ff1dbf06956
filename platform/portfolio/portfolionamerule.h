#pragma once

#include "tzplatform_global.h"

#include <QString>

// What a portfolio name may be, checked wherever a trader types one: at most 25
// characters, no leading or trailing blanks, not blanks only, and no characters the back
// end cannot store (control characters, broken surrogate pairs).
namespace PortfolioNameRule {
constexpr int maxLength = 25;
// An empty text when the name is acceptable, else the reason. An empty name is the
// caller's to refuse with its own text.
TZPLATFORM_EXPORT QString check(const QString &name);
}
