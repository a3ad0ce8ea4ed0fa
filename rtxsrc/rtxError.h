// Error records, the status text tables and the report.
//
// A failure is recorded where it is noticed with rtxErrSetData (or
// rtxErrSetNewData); callers passing the status on call rtxErrSetData again
// to add their position. Text parameters are added before the status is set:
// they are collected in the context's reserved record and move into the
// record that the next rtxErrSetData fills.
#ifndef RTXERROR_H
#define RTXERROR_H

#include "rtxContext.h"

// Parameters. Each returns 1 if the parameter was stored, 0 if five are
// collected already or memory failed.
int rtxErrAddStrParm(VXCTXT* pctxt, const char* text);  // null: "(null)"
int rtxErrAddStrnParm(VXCTXT* pctxt, const char* text, size_t length);
int rtxErrAddIntParm(VXCTXT* pctxt, int value);
int rtxErrAddUIntParm(VXCTXT* pctxt, unsigned value);
int rtxErrAddInt64Parm(VXCTXT* pctxt, int64_t value);
int rtxErrAddUInt64Parm(VXCTXT* pctxt, uint64_t value);
int rtxErrAddSizeParm(VXCTXT* pctxt, size_t value);
int rtxErrAddDoubleParm(VXCTXT* pctxt, double value);  // "%E"
// The element name stack joined with ".", or "?" when it is empty.
int rtxErrAddElemNameParm(VXCTXT* pctxt);

// Recording. rtxErrSetData / rtxErrSetNewData are declared in rtxCommon.h;
// both return rtxErrGetStatus afterwards (-50 once two fatal records stand).
VXRTErrInfo* rtxErrNewNode(VXCTXT* pctxt);
void rtxErrSetNonFatal(VXCTXT* pctxt);
int rtxErrInvUIntOpt(VXCTXT* pctxt, uint32_t value);  // adds value, returns -9
[[noreturn]] void rtxErrAssertionFailed(const char* condition, int lineno, const char* file);

// Reading.
int rtxErrGetStatus(VXCTXT* pctxt);
int rtxErrGetFirstError(VXCTXT* pctxt);
int rtxErrGetLastError(VXCTXT* pctxt);
uint64_t rtxErrGetErrorCnt(VXCTXT* pctxt);
// The report of all records. With a null buffer or pSize the report goes into
// a heap allocation of an estimated size (stored in *pSize if given); null if
// that allocation fails.
char* rtxErrGetText(VXCTXT* pctxt, char* buffer, size_t* pSize);
char* rtxErrGetTextBuf(VXCTXT* pctxt, char* buffer, size_t size);
char* rtxErrFmtMsg(VXRTErrInfo* pErrInfo, char* buffer, size_t size);
char* rtxErrFmtMsgText(VXRTErrInfo* pErrInfo, const char* tmpl, char* buffer, size_t size);
void rtxErrPrint(VXCTXT* pctxt);
void rtxErrPrintElement(VXRTErrInfo* pErrInfo);
// Messages only, one line each, without status lines and positions. The heap
// form puts "Element: <name>" on a line before a message that has a name.
char* rtxErrGetMsgText(VXCTXT* pctxt);
char* rtxErrGetMsgTextBuf(VXCTXT* pctxt, char* buffer, size_t size);

// Clearing.
void rtxErrFreeParms(VXCTXT* pctxt);
void rtxErrResetErrInfo(VXCTXT* pctxt);
void rtxErrReset(VXCTXT* pctxt);
void rtxErrResetLastErrors(VXCTXT* pctxt, int count);
// Copies of the records of pSrcCtxt (parameters and element names copied into
// the destination's heap, source paths shared). rtxErrCopy replaces the
// destination's records, rtxErrAppend adds behind them. 0 or -10.
int rtxErrCopy(VXCTXT* pDestCtxt, VXCTXT* pSrcCtxt);
int rtxErrAppend(VXCTXT* pDestCtxt, VXCTXT* pSrcCtxt);

// Status text tables. A table is an array of templates for start, start - 1,
// ... ending with a null entry; statuses <= start and > end belong to it. An
// empty template marks a status without text. Returns 1 if added, 0 if the
// table is registered already or five tables stand.
int rtxErrAddErrorTableEntry(const char* const* templates, int start, int end);
// The template of a status, or null if no registered table has one.
const char* rtxErrGetTemplate(int status);
int rtxErrInit();

#define VX_ASSERT(cond)                                               \
   do {                                                               \
      if (!(cond)) rtxErrAssertionFailed(#cond, __LINE__, VX_MODULE); \
   } while (0)

#endif
