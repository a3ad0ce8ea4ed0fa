// PER encoding of open types and of the unknown extension additions that a
// record carries as open types.
#include "asn1per.h"

int pe_OpenType(VXCTXT* pctxt, uint64_t numocts, const uint8_t* data)
{
   // An empty value still takes one octet: 0x00.
   static const uint8_t zeroOctet = 0;
   if (numocts == 0) {
      numocts = 1;
      data = &zeroOctet;
   }
   if (data == nullptr) return VX_LOG_ERR(pctxt, RTERR_INVPARAM);
   uint64_t done = 0;
   bool fragment = false;
   for (;;) {
      int c = pe_LengthFrag(pctxt, numocts - done, &fragment);
      if (c < 0) return VX_LOG_ERR(pctxt, c);
      PU_NEWFIELD(pctxt, "OpenType");
      pe_byte_align(pctxt);
      int stat = rtxEncBitsFromByteArray(pctxt, data + done, (uint64_t)c * 8);
      PU_SETBITCOUNT(pctxt);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
      if (numocts - done <= (uint64_t)c || c == 0) break;
      done += (uint64_t)c;
   }
   // A value ending with a whole fragment closes with a length of 0.
   if (fragment) {
      int c = pe_Length(pctxt, 0);
      if (c < 0) return VX_LOG_ERR(pctxt, c);
   }
   return 0;
}

int pe_OpenTypeExtBits(VXCTXT* pctxt, const ASN1TSeqExt* pList)
{
   if (pList == nullptr) return 0;
   for (const VXRTDListNode* node = pList->head; node != nullptr; node = node->next) {
      int stat = rtxEncBit(pctxt, node->data != nullptr);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   }
   return 0;
}

int pe_OpenTypeExt(VXCTXT* pctxt, const ASN1TSeqExt* pList)
{
   if (pList == nullptr) return 0;
   PU_NEWFIELD(pctxt, "OpenTypeExt");
   for (const VXRTDListNode* node = pList->head; node != nullptr; node = node->next) {
      // An entry without octets has its presence bit but no content.
      const ASN1OpenType* ot = (const ASN1OpenType*)node->data;
      if (ot == nullptr || ot->numocts == 0) continue;
      pe_byte_align(pctxt);
      int stat = pe_OpenType(pctxt, ot->numocts, ot->data);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   }
   PU_SETBITCOUNT(pctxt);
   return 0;
}
