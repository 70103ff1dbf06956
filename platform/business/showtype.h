#pragma once

#include <QMetaType>

// How quantities and amounts are shown in tables.
enum ShowType {
    ShowPlain = 0,       // 1234567.89
    ShowThousands = 1,   // 1,234,567.89
    ShowWanYi = 2,       // 123.46万, 1.23亿 (10^4 and 10^8, as Chinese desks read amounts)
};

Q_DECLARE_METATYPE(ShowType)
