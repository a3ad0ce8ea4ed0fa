// JSON writer: unknown extension additions and open type values.
#include <cstdio>

#include "rtJson.h"
#include "rtxBuffer.h"
#include "rtxError.h"
#include "rtxMemory.h"

// True when the octets are what a text decoder left: a NUL-terminated run of
// printable 7-bit text (a complete "key":value member).
static bool isRawText(const ASN1OpenType* ot) {
   if (ot->numocts == 0 || ot->data[ot->numocts - 1] != 0) return false;
   for (uint64_t i = 0; i + 1 < ot->numocts; i++) {
      if (ot->data[i] < 0x20 || ot->data[i] > 0x7F) return false;
   }
   return true;
}

int rtJsonEncExtElemWithSuffix(VXCTXT* pctxt, const ASN1OpenType* pOpenType, int suffix) {
   if (isRawText(pOpenType)) return rtJsonEncStringRaw(pctxt, (const char*)pOpenType->data);
   char key[64];
   if (suffix == 0)
      snprintf(key, sizeof key, "_ext");
   else
      snprintf(key, sizeof key, "_ext_%d", suffix);
   int stat = rtJsonEncStringValue2(pctxt, key, strlen(key));
   if (stat == 0) stat = rtJsonEncChar(pctxt, ':');
   if (stat == 0) stat = rtJsonEncHexStr(pctxt, pOpenType->numocts, pOpenType->data);
   return stat;
}

int rtJsonAsn1EncExtElem(VXCTXT* pctxt, const ASN1OpenType* pOpenType) {
   return rtJsonEncExtElemWithSuffix(pctxt, pOpenType, 0);
}

// All additions of one object on one line, separated by bare commas. The
// status of each member is not looked at: the loop always ends with 0.
int rtJsonAsn1EncOpenTypeExt(VXCTXT* pctxt, const ASN1TSeqExt* pList, bool writeNulls) {
   bool written = false;
   int pos = 0;
   for (const VXRTDListNode* node = pList ? pList->head : nullptr; node; node = node->next) {
      pos++;
      if (node->data == nullptr && !writeNulls) continue;
      if (written) rtJsonEncChar(pctxt, ',');
      if (node->data != nullptr)
         rtJsonEncExtElemWithSuffix(pctxt, (const ASN1OpenType*)node->data, pos);
      else
         rtJsonEncStringNull(pctxt);
      written = true;
   }
   return 0;
}

// An open type's octets must be one JSON value (text a text decoder put
// there); it is validated by the free-form parser on a temporary context and
// written as {"value" : "<text>"}.
int rtJsonAsn1EncOpenType(VXCTXT* pctxt, const uint8_t* data, uint64_t numocts) {
   if (data == nullptr || numocts == 0) return 0;
   VXCTXT tmp;
   int stat = rtInitContext(&tmp);
   if (stat == 0) stat = rtxInitContextBuffer(&tmp, (uint8_t*)data, numocts);
   char* text = nullptr;
   if (stat == 0) stat = rtJsonDecAnyType(&tmp, &text);
   if (stat == 0) rtJsonEncStringObject(pctxt, "value", text);
   rtFreeContext(&tmp);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   return 0;
}
