// Print streams: where diagnostic and trace text goes. A context may carry
// its own {callback, user data} pair; otherwise a process-wide pair is used;
// otherwise the text goes to standard output.
#ifndef RTXPRINTSTREAM_H
#define RTXPRINTSTREAM_H

#include <cstdarg>

#include "rtxContext.h"

typedef void (*rtxPrintCallback)(void* pPrntStrmInfo, const char* fmtspec, va_list arglist);

struct VXRTPrintStream {
   rtxPrintCallback pfPrintFunc;
   void* pPrntStrmInfo;
};

// Installs a print stream on the context (-20 for a null callback) and
// resets the indentation. The pair is allocated with the system allocator
// so that it survives rtxMemFree.
int rtxSetPrintStream(VXCTXT* pctxt, rtxPrintCallback myCallback, void* pStrmInfo);

// Installs the process-wide print stream; a null callback removes it.
int rtxSetGlobalPrintStream(rtxPrintCallback myCallback, void* pStrmInfo);

// Prints through the context's stream, the global one, or standard output
// (followed by fflush). Returns 0, or -20 for a null format.
int rtxPrintToStream(VXCTXT* pctxt, const char* fmtspec, ...) __attribute__((format(printf, 2, 3)));
int rtxDiagToStream(VXCTXT* pctxt, const char* fmtspec, va_list arglist);

// Frees the context's print stream pair; 0 also when there is none.
int rtxPrintStreamRelease(VXCTXT* pctxt);

#endif
