#pragma once

#include "tzplatform_global.h"

#include <QString>

// Static look-ups of the business data service.
class TZPLATFORM_EXPORT VeltraBusinessDataInterface
{
public:
    // ("600519", "SH") -> "600519.SH"; ("00700", "HHK") -> "00700.HK". Empty when the
    // code does not trade on that market.
    static QString GetSymbolBySecurityIDAndExchange(const QString &securityID, const QString &exchange);
};
