#pragma once

#include <QtGlobal>

#if defined(LINKFRAMEWORK_LIBRARY)
#define LINKFRAMEWORK_EXPORT Q_DECL_EXPORT
#else
#define LINKFRAMEWORK_EXPORT Q_DECL_IMPORT
#endif
