// The bit trace: a record of which bit ranges of an encoding belong to which
// field, printed as a table once the work is done.
//
// Every list function accepts a null list and then does nothing; the inline
// wrappers below make that test before any call, so that without a trace a
// call costs one comparison.
#ifndef RTXDIAGBITTRACE_H
#define RTXDIAGBITTRACE_H

#include "rtxContext.h"

struct VXRTMEMBUF;

// One traced field. elemName and nameSuffix may be null.
struct VXRTDiagBitField {
   char* elemName;
   const char* nameSuffix;
   uint64_t bitOffset;
   uint64_t bitCount;
   VXRTDiagBitFieldList* pOpenTypeFields;
};

// The line being printed: up to 4 bytes, carried over from field to field.
struct VXRTDiagBitDumpState {
   uint8_t byteValue;
   uint8_t bitMask;
   char bitsText[40];
   char hexText[10];
   char asciiText[12];
   int32_t bitsCount;
   int32_t hexCount;
   int32_t asciiCount;
};

struct VXRTDiagBitFieldList {
   uint16_t disabled;
   VXRTSList fieldList;  // data: VXRTDiagBitField*; pctxt: the traced context
   VXRTMEMBUF* pCaptureBuf;
   VXRTDiagBitDumpState dumpState;
   VXRTSListNode* curNode;
};

// Allocates and initialises the context's list (pBitFldList); -10 on
// exhaustion, which is also recorded in the context.
int rtxDiagCtxtBitFieldListInit(VXCTXT* pctxt);

// Zeroes the list and binds it to the context. With a live stream that is
// not a memory stream, a capture buffer is set on it for the printer.
void rtxDiagBitFieldListInit(VXCTXT* pctxt, VXRTDiagBitFieldList* pBFList);

// Drops every recorded field and restarts the printing state.
void rtxDiagBitFieldListReset(VXRTDiagBitFieldList* pBFList);

// Out-of-line workers; call the inline forms below.
VXRTDiagBitField* rtxDiagNewBitFieldImpl(VXRTDiagBitFieldList* pBFList, const char* nameSuffix);
void rtxDiagSetBitFldOffsetImpl(VXRTDiagBitFieldList* pBFList);
void rtxDiagSetBitFldCountImpl(VXRTDiagBitFieldList* pBFList);
void rtxDiagSetBitFldNameSuffixImpl(VXRTDiagBitFieldList* pBFList, const char* nameSuffix);
void rtxDiagBitFldAppendNamePartImpl(VXRTDiagBitFieldList* pBFList, const char* namePart);
void rtxDiagInsBitFieldLenImpl(VXRTDiagBitFieldList* pBFList);
VXRTDiagBitField* rtxDiagAddBitFieldImpl(VXRTDiagBitFieldList* pBFList, const char* nameSuffix,
                                         uint64_t bitCount);

// Appends a field that starts at the current bit position. Null while the
// list is null or disabled, or when memory is exhausted.
VX_INLINE VXRTDiagBitField* rtxDiagNewBitField(VXRTDiagBitFieldList* pBFList,
                                               const char* nameSuffix)
{
   return pBFList ? rtxDiagNewBitFieldImpl(pBFList, nameSuffix) : nullptr;
}

// Appends a complete field of bitCount bits that ends at the current bit
// position: a field of known width just read or written.
VX_INLINE VXRTDiagBitField* rtxDiagAddBitField(VXRTDiagBitFieldList* pBFList,
                                               const char* nameSuffix, uint64_t bitCount)
{
   return pBFList ? rtxDiagAddBitFieldImpl(pBFList, nameSuffix, bitCount) : nullptr;
}

// The last field, if it has no bit count yet, starts at the current position.
VX_INLINE void rtxDiagSetBitFldOffset(VXRTDiagBitFieldList* pBFList)
{
   if (pBFList) rtxDiagSetBitFldOffsetImpl(pBFList);
}

// The last field ends at the current position.
VX_INLINE void rtxDiagSetBitFldCount(VXRTDiagBitFieldList* pBFList)
{
   if (pBFList) rtxDiagSetBitFldCountImpl(pBFList);
}

VX_INLINE void rtxDiagSetBitFldNameSuffix(VXRTDiagBitFieldList* pBFList, const char* nameSuffix)
{
   if (pBFList) rtxDiagSetBitFldNameSuffixImpl(pBFList, nameSuffix);
}

// Extends the last field's name by "." and namePart (or gives it the name
// of the element name stack if it has none).
VX_INLINE void rtxDiagBitFldAppendNamePart(VXRTDiagBitFieldList* pBFList, const char* namePart)
{
   if (pBFList) rtxDiagBitFldAppendNamePartImpl(pBFList, namePart);
}

// Splits the last field: the bits so far become a "length" field and a new
// field with the old suffix starts at the current position.
VX_INLINE void rtxDiagInsBitFieldLen(VXRTDiagBitFieldList* pBFList)
{
   if (pBFList) rtxDiagInsBitFieldLenImpl(pBFList);
}

// A list for the fields of a value nested in an open type, recorded while
// that value is coded: its first field is the base field (no name, no
// count) at the position where the value begins. Null on exhaustion.
VXRTDiagBitFieldList* rtxDiagNewNestedList(VXCTXT* pctxt);

// Hangs `nested` (from rtxDiagNewNestedList) under the last field of
// `outer`, the field of the open type's octets: the nested positions become
// positions from the byte where that field begins, so that the printer
// shows them against those bytes. Does nothing with a null list.
void rtxDiagAttachNestedList(VXRTDiagBitFieldList* outer, VXRTDiagBitFieldList* nested);

// Adds one to (value true) or takes one from the disabled counter. A null
// list counts as disabled. Returns whether the list is now disabled.
bool rtxDiagSetBitFldDisabled(VXRTDiagBitFieldList* pBFList, bool value);

// Prints every field not printed before, through rtxPrintToStream.
void rtxDiagBitTracePrint(VXRTDiagBitFieldList* pBFList, const char* varname);

#endif
