// The steps of the direct XML readers (see xmlFastRead.h).
#include "xmlFastRead.h"

#include "rtXmlInternal.h"
#include "rtxStream.h"
#include "xmlGenRead.h"

namespace {

// The declaration the XML writer puts out.
const char kDecl[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

// Content up to the '<' of an end tag whose bytes all pass `accept`: its
// length, or -1 when another byte or the end of the input comes first.
template <typename Accept>
VX_INLINE ptrdiff_t leafLength(const XmlFastIn* in, Accept accept)
{
   const uint8_t* p = in->p;
   while (p < in->end && accept(*p)) p++;
   if (p == in->end || *p != '<') return -1;
   return p - in->p;
}

VX_INLINE unsigned hexDigit(uint8_t c)
{
   if ((unsigned)(c - '0') <= 9u) return (unsigned)(c - '0');
   unsigned l = (unsigned)(c | 0x20);
   return l - 'a' <= 5u ? l - 'a' + 10 : 16u;
}

}  // namespace

bool xmlFastInput(VXCTXT* pctxt, XmlFastIn* in)
{
   const XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info != nullptr && info->pXmlReader != nullptr) return false;
   const uint8_t* data;
   size_t size;
   if (!rtxStreamMemoryUnread(pctxt, &data, &size)) return false;
   in->p = data;
   in->end = data + size;
   in->pctxt = pctxt;
   return true;
}

bool xmlFastRoot(XmlFastIn* in, const char* name, size_t n)
{
   size_t declLen = sizeof kDecl - 1;
   if ((size_t)(in->end - in->p) >= declLen && memcmp(in->p, kDecl, declLen) == 0) {
      in->p += declLen;
      xmlFastBlanks(in);
   }
   // Blanks before the root are only allowed after a declaration.
   if (in->p < in->end && xmlFastIsBlank(*in->p)) return false;
   return xmlFastOpen(in, name, n) == 1;
}

bool xmlFastTail(XmlFastIn* in)
{
   xmlFastBlanks(in);
   return in->p == in->end;
}

void xmlFastConsumed(VXCTXT* pctxt) { pctxt->buffer.byteIndex = pctxt->buffer.size; }

int xmlFastBool(XmlFastIn* in, uint8_t* pvalue)
{
   int form = xmlFastOpen(in, "true", 4);
   if (form == 2) {
      *pvalue = 1;
      return 0;
   }
   if (form == 0 && xmlFastOpen(in, "false", 5) == 2) {
      *pvalue = 0;
      return 0;
   }
   return XML_FAST_NO;
}

int xmlFastEnum(XmlFastIn* in, const VXEnumItem* items, size_t count, uint32_t* pvalue)
{
   xmlFastBlanks(in);
   const uint8_t* p = in->p;
   const uint8_t* end = in->end;
   if (p == end || *p != '<') return XML_FAST_NO;
   const uint8_t* name = ++p;
   // Identifiers are letters, digits and '-'; ':' (a prefix) and every
   // other byte end the attempt.
   while (p < end && ((unsigned)((*p | 0x20) - 'a') <= 25u || (unsigned)(*p - '0') <= 9u ||
                      *p == '-' || *p == '_'))
      p++;
   size_t len = (size_t)(p - name);
   if (len == 0 || end - p < 2 || p[0] != '/' || p[1] != '>') return XML_FAST_NO;
   int row = rtxLookupEnum((const char*)name, len, items, count);
   if (row < 0) return XML_FAST_NO;
   in->p = p + 2;
   *pvalue = (uint32_t)items[row].value;
   return 0;
}

int xmlFastText(XmlFastIn* in, const char** ptext, size_t* plen)
{
   ptrdiff_t len = leafLength(in, [](uint8_t c) {
      return (unsigned)(c - 0x20) < 0x5Fu && c != '&' && c != '<' && c != ']';
   });
   if (len <= 0) return XML_FAST_NO;
   char* text = static_cast<char*>(rtxMemAlloc(in->pctxt, (size_t)len + 1));
   if (text == nullptr) return XML_FAST_NO;
   memcpy(text, in->p, (size_t)len);
   text[len] = 0;
   in->p += len;
   *ptext = text;
   *plen = (size_t)len;
   return 0;
}

int xmlFastBits(XmlFastIn* in, uint8_t* data, uint64_t* pnbits, size_t bufsize)
{
   ptrdiff_t len = leafLength(in, [](uint8_t c) { return (unsigned)(c - '0') <= 1u; });
   if (len < 0 || (uint64_t)len > (uint64_t)bufsize * 8) return XML_FAST_NO;
   const uint8_t* p = in->p;
   for (ptrdiff_t i = 0; i < len; i++) {
      if ((i & 7) == 0) data[i / 8] = 0;
      if (p[i] == '1') data[i / 8] |= (uint8_t)(0x80u >> (i & 7));
   }
   in->p += len;
   *pnbits = (uint64_t)len;
   return 0;
}

int xmlFastBitStrExt(XmlFastIn* in, uint8_t* data, size_t rootBytes, uint8_t* pnbits,
                     uint8_t** pext)
{
   uint8_t bits[32];
   uint64_t nbits = 0;
   if (xmlFastBits(in, bits, &nbits, sizeof bits) != 0 || nbits > 255) return XML_FAST_NO;
   return xmlGenSpreadBits(in->pctxt, bits, nbits, data, rootBytes, pnbits, pext) == 0
             ? 0
             : XML_FAST_NO;
}

int xmlFastHex(XmlFastIn* in, uint8_t* data, size_t bufsize, uint64_t* pnocts, uint8_t** pdyn)
{
   ptrdiff_t len = leafLength(in, [](uint8_t c) { return hexDigit(c) < 16u; });
   if (len < 0 || (len & 1) != 0) return XML_FAST_NO;
   size_t nocts = (size_t)len / 2;
   if (data == nullptr) {
      if (nocts > 0) {
         data = static_cast<uint8_t*>(rtxMemAlloc(in->pctxt, nocts));
         if (data == nullptr) return XML_FAST_NO;
      }
      *pdyn = data;
   } else if (nocts > bufsize) {
      return XML_FAST_NO;
   }
   const uint8_t* p = in->p;
   for (size_t i = 0; i < nocts; i++)
      data[i] = (uint8_t)(hexDigit(p[2 * i]) << 4 | hexDigit(p[2 * i + 1]));
   in->p += len;
   *pnocts = nocts;
   return 0;
}
