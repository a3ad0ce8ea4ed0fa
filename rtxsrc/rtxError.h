// Error records, the status text tables and the report.
#ifndef RTXERROR_H
#define RTXERROR_H

#include "rtxContext.h"

int rtxErrAddStrParm(VXCTXT* pctxt, const char* text);
int rtxErrAddStrnParm(VXCTXT* pctxt, const char* text, size_t length);
int rtxErrAddIntParm(VXCTXT* pctxt, int value);
int rtxErrAddUIntParm(VXCTXT* pctxt, unsigned value);
int rtxErrAddInt64Parm(VXCTXT* pctxt, int64_t value);
int rtxErrAddUInt64Parm(VXCTXT* pctxt, uint64_t value);
int rtxErrAddSizeParm(VXCTXT* pctxt, size_t value);
int rtxErrAddDoubleParm(VXCTXT* pctxt, double value);
int rtxErrAddElemNameParm(VXCTXT* pctxt);

// rtxErrSetData / rtxErrSetNewData are declared in rtxCommon.h.
VXRTErrInfo* rtxErrNewNode(VXCTXT* pctxt);
void rtxErrSetNonFatal(VXCTXT* pctxt);
int rtxErrInvUIntOpt(VXCTXT* pctxt, uint32_t value);
[[noreturn]] void rtxErrAssertionFailed(const char* condition, int lineno, const char* file);

int rtxErrGetStatus(VXCTXT* pctxt);
int rtxErrGetFirstError(VXCTXT* pctxt);
int rtxErrGetLastError(VXCTXT* pctxt);
uint64_t rtxErrGetErrorCnt(VXCTXT* pctxt);
char* rtxErrGetText(VXCTXT* pctxt, char* buffer, size_t* pSize);
char* rtxErrGetTextBuf(VXCTXT* pctxt, char* buffer, size_t size);
char* rtxErrFmtMsg(VXRTErrInfo* pErrInfo, char* buffer, size_t size);
char* rtxErrFmtMsgText(VXRTErrInfo* pErrInfo, const char* tmpl, char* buffer, size_t size);
void rtxErrPrint(VXCTXT* pctxt);
void rtxErrPrintElement(VXRTErrInfo* pErrInfo);
char* rtxErrGetMsgText(VXCTXT* pctxt);
char* rtxErrGetMsgTextBuf(VXCTXT* pctxt, char* buffer, size_t size);

void rtxErrFreeParms(VXCTXT* pctxt);
void rtxErrResetErrInfo(VXCTXT* pctxt);
void rtxErrReset(VXCTXT* pctxt);
void rtxErrResetLastErrors(VXCTXT* pctxt, int count);
int rtxErrCopy(VXCTXT* pDestCtxt, VXCTXT* pSrcCtxt);
int rtxErrAppend(VXCTXT* pDestCtxt, VXCTXT* pSrcCtxt);

int rtxErrAddErrorTableEntry(const char* const* templates, int start, int end);
int rtxErrInit();
int rtErrASN1Init();
int rtErrXmlInit();

#define VX_ASSERT(cond) \
   do { if (!(cond)) rtxErrAssertionFailed(#cond, __LINE__, VX_MODULE); } while (0)

#endif
