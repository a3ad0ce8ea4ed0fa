// Diagnostics: lines the run-time prints while it works, switched on per
// context (flag VXCTXT_FLAG_DIAG) or for the whole process (g_DiagEnabled).
//
// rtxDiagPrint and rtxDiagStream are macros over the out-of-line printers of
// the same name, so that with diagnostics off a call costs two flag tests and
// no call. The printers re-check the switches, so calling them directly
// (e.g. through a function pointer) is also correct.
#ifndef RTXDIAG_H
#define RTXDIAG_H

#include <cstdarg>

#include "rtxContext.h"

extern uint8_t g_DiagEnabled;

// Diagnostic levels: each admits the lines of the levels below it.
#define RTX_DIAG_ERROR 0
#define RTX_DIAG_WARNING 1
#define RTX_DIAG_INFO 2
#define RTX_DIAG_DEBUG 3

VX_INLINE bool rtxDiagEnabled(const VXCTXT* pctxt)
{
   return VX_UNLIKELY(g_DiagEnabled != 0) ||
          (pctxt != nullptr && VX_UNLIKELY((pctxt->flags & VXCTXT_FLAG_DIAG) != 0));
}

// Switch the context's diagnostics on or off; returns the former state.
bool rtxSetDiag(VXCTXT* pctxt, bool value);
// Switch the process-wide flag; returns its former value.
bool rtxSetGlobalDiag(bool value);

// Turns diagnostics on and stores the level.
void rtxDiagSetTraceLevel(VXCTXT* pctxt, uint8_t level);
// False when diagnostics are off; else whether `level` is within diagLevel.
bool rtxDiagTraceLevelEnabled(VXCTXT* pctxt, uint8_t level);

// Whether a format passes the context's level: formats starting with "~X"
// are filtered by the letter X (E, W, I, D); all others always pass.
bool checkDiagLevel(VXCTXT* pctxt, const char* fmtspec);

// Printers: vprintf to standard output, or through the print stream.
void(rtxDiagPrint)(VXCTXT* pctxt, const char* fmtspec, ...) __attribute__((format(printf, 2, 3)));
void(rtxDiagStream)(VXCTXT* pctxt, const char* fmtspec, ...) __attribute__((format(printf, 2, 3)));

#define rtxDiagPrint(pctxt, ...) \
   (rtxDiagEnabled(pctxt) ? (rtxDiagPrint)(pctxt, __VA_ARGS__) : (void)0)
#define rtxDiagStream(pctxt, ...) \
   (rtxDiagEnabled(pctxt) ? (rtxDiagStream)(pctxt, __VA_ARGS__) : (void)0)

// Dumps of bytes, characters or bits, printed only when enabled.
void rtxDiagHexDump(VXCTXT* pctxt, const uint8_t* data, size_t numocts);
void rtxDiagPrintChars(VXCTXT* pctxt, const char* data, size_t nchars);
void rtxDiagStreamHexDump(VXCTXT* pctxt, const uint8_t* data, size_t numocts);
void rtxDiagStreamPrintChars(VXCTXT* pctxt, const char* data, size_t nchars);
void rtxDiagStreamPrintBits(VXCTXT* pctxt, const char* prefix, const uint8_t* data,
                            size_t bitOffset, size_t bitCount);

#endif
