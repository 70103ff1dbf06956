#pragma once

#include <QString>

// Events the host itself puts on the bus (menu commands, the options dialog) carry this
// source id: no page's presenter has it, so every subscribed page receives them.
namespace HostEvents {
inline const QString sourceId = QStringLiteral("TZApp.Host");
}
