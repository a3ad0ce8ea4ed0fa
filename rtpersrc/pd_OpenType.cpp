// PER decoding of open types: the octets are kept undecoded.
#include "asn1per.h"

int pd_OpenType(VXCTXT* pctxt, const uint8_t** pdata, uint64_t* pnumocts)
{
   int stat;
   if (pdata == nullptr) {
      uint64_t n = 0;
      stat = pd_OctetString64(pctxt, &n, nullptr, 0);  // skipped
      if (stat == 0 && pnumocts) *pnumocts = n;
   } else {
      ASN1TDynOctStr64 value = {0, nullptr};
      stat = pd_DynOctetString64(pctxt, &value);
      if (stat == 0) {
         *pdata = value.data;
         if (pnumocts) *pnumocts = value.numocts;
      }
   }
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   // The octets read are the open type's value: the trace names them so,
   // as the writing side does.
   PU_SETNAMESUFFIX(pctxt, "OpenType");
   return 0;
}
