#pragma once

#include <QtGlobal>

#if defined(TZPLATFORM_LIBRARY)
#define TZPLATFORM_EXPORT Q_DECL_EXPORT
#else
#define TZPLATFORM_EXPORT Q_DECL_IMPORT
#endif
