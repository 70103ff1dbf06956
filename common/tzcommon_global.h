#pragma once

#include <QtGlobal>

#if defined(TZCOMMON_LIBRARY)
#define TZCOMMON_EXPORT Q_DECL_EXPORT
#else
#define TZCOMMON_EXPORT Q_DECL_IMPORT
#endif
