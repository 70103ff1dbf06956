#pragma once

#include <QString>

// Market keys. A symbol carries a suffix of its listing place ("600519.SH", "00700.HK");
// a Hong-Kong stock reached through Stock Connect trades on two markets, the Shanghai
// link (hhk) and the Shenzhen link (szhk).
namespace Exchange {
inline const QString sh = QStringLiteral("SH");
inline const QString sz = QStringLiteral("SZ");
inline const QString bj = QStringLiteral("BJ");
inline const QString hk = QStringLiteral("HK");
inline const QString hhk = QStringLiteral("HHK");
inline const QString szhk = QStringLiteral("SZHK");
}

namespace OrderSide {
inline const QString buy = QStringLiteral("买入");
inline const QString sell = QStringLiteral("卖出");
inline const QString unspecified = QStringLiteral("未指定");
}

namespace EntrustType {
inline const QString NewOrder = QStringLiteral("0");
}

namespace EntrustProp {
inline const QString trading = QStringLiteral("0");
}

// Security classes as the reference data knows them.
namespace SecurityType {
inline const QString mainBoard = QStringLiteral("A股主板");
inline const QString star = QStringLiteral("科创板");
inline const QString chinext = QStringLiteral("创业板");
inline const QString bse = QStringLiteral("北交所");
inline const QString bShare = QStringLiteral("B股");
inline const QString etf = QStringLiteral("ETF");
inline const QString hkConnect = QStringLiteral("港股通");
inline const QString convertible = QStringLiteral("可转债");
}
