// The PER side of the bit trace: switching it on and printing it, and the
// inline helpers the PER primitives bracket each coded field with.
//
// Every helper tests the context's trace flag first and makes no call when
// the trace is off. A list that could not be allocated stays null, which
// the list functions accept.
#ifndef PU_TRACE_H
#define PU_TRACE_H

#include "rtxDiagBitTrace.h"

// Non-zero value: set up the context's bit field list and set the trace
// flag; 0: clear the flag. Returns the former state of the flag.
bool pu_setTrace(VXCTXT* pctxt, bool value);

// Prints the trace recorded so far; varname starts every name line.
void pu_bindump(VXCTXT* pctxt, const char* varname);

VX_INLINE bool pu_isTraceOn(const VXCTXT* pctxt)
{
   return VX_UNLIKELY((pctxt->flags & VXCTXT_FLAG_TRACE) != 0);
}

// Starts a field named by the literal suffix ("length", "ConsInteger", ...).
VX_INLINE void PU_NEWFIELD(VXCTXT* pctxt, const char* suffix)
{
   if (pu_isTraceOn(pctxt)) rtxDiagNewBitField(pctxt->pBitFldList, suffix);
}

// Records a field of nbits that ends at the current position: a field of
// known width that was just read or written.
VX_INLINE void PU_ADDFIELD(VXCTXT* pctxt, const char* suffix, uint64_t nbits)
{
   if (pu_isTraceOn(pctxt)) rtxDiagAddBitField(pctxt->pBitFldList, suffix, nbits);
}

// Ends the last field at the current position.
VX_INLINE void PU_SETBITCOUNT(VXCTXT* pctxt)
{
   if (pu_isTraceOn(pctxt)) rtxDiagSetBitFldCount(pctxt->pBitFldList);
}

// Moves the start of the last field to the current position (after an
// alignment step).
VX_INLINE void PU_SETBITOFFSET(VXCTXT* pctxt)
{
   if (pu_isTraceOn(pctxt)) rtxDiagSetBitFldOffset(pctxt->pBitFldList);
}

// Splits off the bits so far of the last field as its "length".
VX_INLINE void PU_INSLENFLD(VXCTXT* pctxt)
{
   if (pu_isTraceOn(pctxt)) rtxDiagInsBitFieldLen(pctxt->pBitFldList);
}

VX_INLINE void PU_SETNAMESUFFIX(VXCTXT* pctxt, const char* suffix)
{
   if (pu_isTraceOn(pctxt)) rtxDiagSetBitFldNameSuffix(pctxt->pBitFldList, suffix);
}

VX_INLINE void PU_APPENDNAMEPART(VXCTXT* pctxt, const char* namePart)
{
   if (pu_isTraceOn(pctxt)) rtxDiagBitFldAppendNamePart(pctxt->pBitFldList, namePart);
}

// Suspends (true) or resumes (false) recording, counted, e.g. around a
// primitive that calls other traced primitives.
VX_INLINE void PU_DISABLETRACE(VXCTXT* pctxt, bool value)
{
   if (pu_isTraceOn(pctxt)) rtxDiagSetBitFldDisabled(pctxt->pBitFldList, value);
}

// Empties the list (pe_resetBuffer).
VX_INLINE void PU_RESETTRACE(VXCTXT* pctxt)
{
   if (pctxt->pBitFldList) rtxDiagBitFieldListReset(pctxt->pBitFldList);
}

#endif
