#pragma once

#include <QString>

// Kind of ETF by what its creation basket holds. A stock ETF is a cross-market one when
// its basket holds stocks listed on an exchange other than the ETF's own (a CSI 300 ETF
// in Shanghai holds Shenzhen stocks too); it is then a stock ETF as well.
enum class EtfCodeType { all, stock, bond, crossMarket };

// Trading status of the ETF itself.
enum class EtfStatus { all, listed, suspended };

// Static data of one ETF and of the index it tracks.
struct EtfInfo
{
    QString code;              // "510300"
    QString exchange;          // listing place: SH or SZ
    QString symbol;            // "510300.SH"
    QString name;
    QString trackedIndex;      // "000300.SH"
    QString trackedIndexName;  // "沪深300"
    int componentCount = 0;    // components of the creation basket the client can trade
};
