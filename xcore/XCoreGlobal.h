#pragma once

#include <QtCore/qglobal.h>

#if defined(XCORE_BUILD_SHARED)
#define XCORE_EXPORT Q_DECL_EXPORT
#elif defined(XCORE_USE_SHARED)
#define XCORE_EXPORT Q_DECL_IMPORT
#else
#define XCORE_EXPORT
#endif
