// Symbol visibility of the two shared libraries. Both are built with hidden
// visibility; what carries ZQ_CORE_API or ZQ_CV_API is their interface.
#pragma once

#if defined(_WIN32)
#define ZQ_EXPORT_ATTR
#else
#define ZQ_EXPORT_ATTR __attribute__((visibility("default")))
#endif

#define ZQ_CORE_API ZQ_EXPORT_ATTR
#define ZQ_CV_API ZQ_EXPORT_ATTR
