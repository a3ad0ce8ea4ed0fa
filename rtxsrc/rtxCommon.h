// Base definitions shared by every unit of the run-time: fixed-width types,
// the module-path macro used in error positions, and the error logging macros.
#ifndef RTXCOMMON_H
#define RTXCOMMON_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "rtxErrCodes.h"

// Every source unit is compiled with VX_MODULE set to its project-relative
// path without extension (see CMakeLists.txt); error reports print it.
#ifndef VX_MODULE
#define VX_MODULE __FILE__
#endif

#if defined(__GNUC__)
#define VX_LIKELY(x) __builtin_expect(!!(x), 1)
#define VX_UNLIKELY(x) __builtin_expect(!!(x), 0)
#define VX_INLINE inline __attribute__((always_inline))
#else
#define VX_LIKELY(x) (x)
#define VX_UNLIKELY(x) (x)
#define VX_INLINE inline
#endif

// Symbols callers of the shared library may use; everything else is hidden.
#define VX_EXPORT __attribute__((visibility("default")))

struct VXCTXT;

// Recording of an error at the place it is noticed (or passed on).
int rtxErrSetData(VXCTXT* pctxt, int status, const char* module, int lineno);
int rtxErrSetNewData(VXCTXT* pctxt, int status, const char* module, int lineno);

#define VX_LOG_ERR(pctxt, stat) rtxErrSetData(pctxt, stat, VX_MODULE, __LINE__)
#define VX_LOG_ERRNEW(pctxt, stat) rtxErrSetNewData(pctxt, stat, VX_MODULE, __LINE__)
// The same at a given line: generated code that reports the positions of a
// twin unit (the traced UPER codecs report those of the untraced ones).
#define VX_LOG_ERR_AT(pctxt, stat, lineno) rtxErrSetData(pctxt, stat, VX_MODULE, lineno)

#endif
