// Record types shared by the run-time and the generated per-type code.
#ifndef ASN1TYPE_H
#define ASN1TYPE_H

#include "rtContext.h"
#include "rtxContext.h"

// An undecoded value: PER octets, or text when a text decoder built it.
struct ASN1OpenType {
   uint64_t numocts;
   const uint8_t* data;
};

// Unknown extension additions of a SEQUENCE: node data are ASN1OpenType*,
// or null for an addition marked absent.
typedef VXRTDList ASN1TSeqExt;

// SEQUENCE OF records: node data point to the element records.
typedef VXRTDList ASN1TSeqOfList;

// A bit string of at most 32 bits held in place, left-aligned.
struct ASN1TBitStr32 {
   uint32_t numbits;
   uint8_t data[4];
};

// An OCTET STRING of unbounded size.
struct ASN1TDynOctStr64 {
   uint64_t numocts;
   uint8_t* data;
};

// A bit string of unbounded size.
struct ASN1TDynBitStr64 {
   uint64_t numbits;
   uint8_t* data;
};

// Frees each node of a list of open type extensions (ASN1OpenType*) with its
// data, unless the heap is empty, and clears the list.
void rtxMemFreeOpenSeqExt(VXCTXT* pctxt, VXRTDList* pElemList);

#endif
