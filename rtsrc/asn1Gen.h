// asn1Gen.h: what the generated codecs of every format share.
#ifndef ASN1GEN_H
#define ASN1GEN_H

#include "rtxContext.h"
#include "rtxDList.h"
#include "rtxEnum.h"
#include "rtxError.h"

// A row of an ASN1T_<T>_ENUMTAB: the fields of VXRTEnumItem, then the
// index of the row that holds value i (the table is sorted by name).
struct VXEnumItem {
   const char* name;
   int32_t value;
   uint16_t namelen;
   uint16_t transidx;
};

// A row of a g_ASN1T_<T>_NAMEDBITTAB, in bit order, closed by a zero row.
struct VXBitMapItem {
   const char* name;
   uint16_t bitnum;
   uint16_t namelen;
};

// The end of a top-level decoder: a constraint violation recorded anywhere
// on the way fails the message, even when every step returned 0.
inline int rtGenConsVioPending(VXCTXT* pctxt)
{
   for (const VXRTDListNode* node = pctxt->errInfo.head; node != 0; node = node->next) {
      const VXRTErrInfo* info = (const VXRTErrInfo*)node->data;
      if (info != 0 && info->status == RTERR_CONSVIO) return RTERR_CONSVIO;
   }
   return 0;
}

#endif
