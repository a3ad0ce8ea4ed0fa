// XML decoding layer: values of the current element. Each reader walks
// the element's data chunks where they lie in the reader's buffer; only
// strings and hexadecimal data are copied.
#include "rtXmlDec.h"
#include "rtXmlPullInternal.h"
#include "rtxDiag.h"
#include "rtxMemory.h"
#include "rtxUTF8.h"

namespace {

// Walks the chunks of the current element's value with wsMode 2 (unless
// `wsMode` says otherwise): fn(chunk, length, data) for each non-empty one.
// 0, the first failure of fn, or a failure of the reader.
template <typename Fn>
int forEachChunk(VXCTXT* pctxt, XmlReader* r, XmlDataCtxt* d, uint32_t wsMode, Fn fn)
{
   rtXmlRdSetWhiteSpaceMode(r, wsMode);
   int n = rtXmlRdFirstData(r, d);
   for (;;) {
      if (n < 0) return VX_LOG_ERR(pctxt, n);
      if (n > 0) {
         int stat = fn(d->chunk, (size_t)n);
         if (stat != 0) return stat;
      }
      if (d->mode == 0) return 0;
      n = rtXmlRdNextData(r, d);
   }
}

// Records a failure at the byte `back` bytes before the end of the chunk.
int dataError(XmlReader* r, const XmlDataCtxt* d, size_t back, int status, int line)
{
   rtXmlRdErrAddDataSrcPos(r, d, back);
   return rtxErrSetNewData(r->mpCtxt, status, VX_MODULE, line);
}
#define DATA_FAIL(r, d, back, stat) dataError(r, d, back, stat, __LINE__)

// A number of at most `max` (one more when negative); `limit` is the
// largest value that can take one more digit.
int decNumber(VXCTXT* pctxt, uint64_t max, uint64_t limit, bool isSigned, uint64_t* pmag,
              bool* pneg)
{
   XmlReader* r = rtXmlpReader(pctxt);
   if (r == nullptr) return RTERR_NOTINIT;
   XmlDataCtxt d;
   uint64_t value = 0;
   bool neg = false, head = true, any = false, digits = false;
   int stat = forEachChunk(pctxt, r, &d, 2, [&](const uint8_t* p, size_t n) {
      size_t i = 0;
      any = true;
      if (head) {
         head = false;
         if (p[0] == '+' || p[0] == '-') {
            neg = p[0] == '-';
            if (neg && isSigned) max++;
            i = 1;
         }
      }
      for (; i < n; i++) {
         unsigned digit = (unsigned)p[i] - '0';
         if (digit > 9 || (neg && !isSigned && digit != 0))
            return DATA_FAIL(r, &d, n - i, RTERR_INVCHAR);
         if (value > limit || value * 10 > max - digit) {
            rtxErrAddElemNameParm(pctxt);
            return DATA_FAIL(r, &d, n - i, RTERR_TOOBIG);
         }
         value = value * 10 + digit;
         digits = true;
      }
      return 0;
   });
   if (stat != 0) return stat;
   if (!any) return DATA_FAIL(r, &d, 0, RTERR_INVFORMAT);
   if (!digits) return DATA_FAIL(r, &d, 0, RTERR_INVCHAR);  // a sign alone
   *pmag = value;
   *pneg = neg;
   return 0;
}

template <typename T>
int decInteger(VXCTXT* pctxt, T* pvalue, uint64_t max, uint64_t limit, bool isSigned)
{
   uint64_t mag;
   bool neg;
   int stat = decNumber(pctxt, max, limit, isSigned, &mag, &neg);
   if (stat != 0) return stat;
   // The magnitude may be one above the type's maximum: negate unsigned.
   *pvalue = (T)(neg ? 0 - mag : mag);
   return 0;
}

// Hexadecimal digits into `fixed` (capacity `bufsize`) or, with `fixed`
// null, into a growing heap block. The count of octets in *pnocts.
int decHex(VXCTXT* pctxt, uint8_t* fixed, uint64_t bufsize, uint8_t** pdyn, uint64_t* pnocts)
{
   XmlReader* r = rtXmlpReader(pctxt);
   if (r == nullptr) return RTERR_NOTINIT;
   XmlDataCtxt d;
   uint8_t* out = fixed;
   uint64_t cap = fixed != nullptr ? bufsize : 0, digits = 0;
   int stat = forEachChunk(pctxt, r, &d, 2, [&](const uint8_t* p, size_t n) {
      for (size_t i = 0; i < n; i++) {
         uint8_t c = p[i];
         unsigned v = c >= '0' && c <= '9'   ? c - '0'
                      : c >= 'a' && c <= 'f' ? c - 'a' + 10u
                      : c >= 'A' && c <= 'F' ? c - 'A' + 10u
                                             : 16u;
         if (v > 15) return DATA_FAIL(r, &d, n - i, RTERR_INVHEXS);
         uint64_t at = digits / 2;
         if (at >= cap) {
            if (fixed != nullptr) return DATA_FAIL(r, &d, n - i, RTERR_STROVFLW);
            uint64_t grown = cap < 32 ? 32 : cap * 2;
            uint8_t* p2 = static_cast<uint8_t*>(rtxMemRealloc(pctxt, out, grown));
            if (p2 == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
            out = p2;
            cap = grown;
         }
         out[at] = (digits & 1) ? (uint8_t)(out[at] | v) : (uint8_t)(v << 4);
         digits++;
      }
      return 0;
   });
   if (pdyn != nullptr) *pdyn = out;
   if (stat != 0) return stat;
   uint64_t nocts = (digits + 1) / 2;
   if (digits & 1) {
      // "ABC" is 0A BC: the whole value moves right by one digit.
      for (uint64_t i = nocts; i-- > 0;)
         out[i] = (uint8_t)((out[i] >> 4) | (i > 0 ? out[i - 1] << 4 : 0));
   }
   *pnocts = nocts;
   return 0;
}

const XmlNamedBitsDict* findBitName(const XmlNamedBitsDict* table, const uint8_t* name, size_t len)
{
   for (; table->name != nullptr; table++) {
      if (table->namelen == len && memcmp(table->name, name, len) == 0) return table;
   }
   return nullptr;
}

// Gathers the text of the value into a NUL-terminated heap block.
struct TextGather {
   VXCTXT* pctxt;
   char* text = nullptr;
   size_t len = 0, cap = 0;

   int append(const uint8_t* p, size_t n)
   {
      if (len + n + 1 > cap) {
         size_t grown = cap < 64 ? 64 : cap;
         while (grown < len + n + 1) grown *= 2;
         char* t = static_cast<char*>(rtxMemRealloc(pctxt, text, grown));
         if (t == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
         text = t;
         cap = grown;
      }
      if (n > 0) memcpy(text + len, p, n);
      len += n;
      text[len] = 0;
      return 0;
   }
};

}  // namespace

int rtXmlpDecInt(VXCTXT* pctxt, int32_t* pvalue)
{
   return decInteger(pctxt, pvalue, 0x7FFFFFFF, 0xCCCCCCC, true);
}
// An unsigned byte's bounds with a limit of 12: up to 129 is taken and
// cut to 8 bits; the type's range is judged by the encoder.
int rtXmlpDecInt8(VXCTXT* pctxt, int8_t* pvalue)
{
   return decInteger(pctxt, pvalue, 0xFF, 0xC, true);
}
int rtXmlpDecInt16(VXCTXT* pctxt, int16_t* pvalue)
{
   return decInteger(pctxt, pvalue, 0x7FFF, 0xCCC, true);
}
int rtXmlpDecInt64(VXCTXT* pctxt, int64_t* pvalue)
{
   return decInteger(pctxt, pvalue, 0x7FFFFFFFFFFFFFFFull, 0xCCCCCCCCCCCCCCCull, true);
}
int rtXmlpDecUInt(VXCTXT* pctxt, uint32_t* pvalue)
{
   return decInteger(pctxt, pvalue, 0xFFFFFFFFu, 0x19999999u, false);
}
int rtXmlpDecUInt8(VXCTXT* pctxt, uint8_t* pvalue)
{
   return decInteger(pctxt, pvalue, 0xFF, 0x19, false);
}
int rtXmlpDecUInt16(VXCTXT* pctxt, uint16_t* pvalue)
{
   return decInteger(pctxt, pvalue, 0xFFFF, 0x1999, false);
}
int rtXmlpDecUInt64(VXCTXT* pctxt, uint64_t* pvalue)
{
   return decInteger(pctxt, pvalue, ~0ull, 0x1999999999999999ull, false);
}

int rtXmlpDecBool(VXCTXT* pctxt, bool* pvalue)
{
   XmlReader* r = rtXmlpReader(pctxt);
   if (r == nullptr) return RTERR_NOTINIT;
   XmlDataCtxt d;
   char word[6];
   size_t len = 0;
   int stat = forEachChunk(pctxt, r, &d, 2, [&](const uint8_t* p, size_t n) {
      if (len + n > 5) return DATA_FAIL(r, &d, n, RTERR_BADVALUE);
      memcpy(word + len, p, n);
      len += n;
      return 0;
   });
   if (stat != 0) return stat;
   if (len == 0) return DATA_FAIL(r, &d, 0, RTERR_INVFORMAT);
   word[len] = 0;
   if (strcmp(word, "1") == 0 || strcmp(word, "true") == 0)
      *pvalue = true;
   else if (strcmp(word, "0") == 0 || strcmp(word, "false") == 0)
      *pvalue = false;
   else
      return DATA_FAIL(r, &d, 0, RTERR_BADVALUE);
   return 0;
}

int rtXmlpDecBitString64(VXCTXT* pctxt, uint8_t* data, uint64_t* pnbits, uint64_t bufsize)
{
   XmlReader* r = rtXmlpReader(pctxt);
   if (r == nullptr) return RTERR_NOTINIT;
   XmlDataCtxt d;
   uint64_t nbits = 0;
   int stat = forEachChunk(pctxt, r, &d, 2, [&](const uint8_t* p, size_t n) {
      for (size_t i = 0; i < n; i++) {
         if (p[i] != '0' && p[i] != '1') return DATA_FAIL(r, &d, n - i, RTERR_INVCHAR);
         if (nbits / 8 >= bufsize) return DATA_FAIL(r, &d, n - i, RTERR_STROVFLW);
         if (data != nullptr) {
            uint8_t mask = (uint8_t)(0x80u >> (nbits & 7));
            if ((nbits & 7) == 0) data[nbits / 8] = 0;
            if (p[i] == '1') data[nbits / 8] |= mask;
         }
         nbits++;
      }
      return 0;
   });
   if (stat == 0) *pnbits = nbits;
   return stat;
}

int rtXmlpDecBitString(VXCTXT* pctxt, uint8_t* data, uint32_t* pnbits, uint64_t bufsize)
{
   uint64_t nbits = 0;
   int stat = rtXmlpDecBitString64(pctxt, data, &nbits, bufsize);
   if (stat != 0) return stat;
   if (nbits > 0xFFFFFFFFu) return VX_LOG_ERRNEW(pctxt, RTERR_TOOBIG);
   *pnbits = (uint32_t)nbits;
   return 0;
}

// Bits beyond the `bufsize` bytes of `data` go to a spill of their own on
// the context's heap (*extdata, null when none is needed), numbered from 0
// again. The digits are counted and checked first, with the reader marked,
// so the spill is allocated once at its size; then read again and spread.
int rtXmlpDecBitStringExt64(VXCTXT* pctxt, uint8_t* data, uint64_t* pnbits, uint8_t** extdata,
                            uint64_t bufsize)
{
   if (data == nullptr || extdata == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_INVPARAM);
   XmlReader* r = rtXmlpReader(pctxt);
   if (r == nullptr) return RTERR_NOTINIT;
   *extdata = nullptr;
   XmlDataCtxt d;
   uint64_t count = 0;
   int stat = rtXmlRdMarkPos(r);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   stat = forEachChunk(pctxt, r, &d, 2, [&](const uint8_t* p, size_t n) {
      for (size_t i = 0; i < n; i++) {
         if (p[i] != '0' && p[i] != '1') return DATA_FAIL(r, &d, n - i, RTERR_INVCHAR);
      }
      count += n;
      return 0;
   });
   if (stat == 0) stat = rtXmlRdRewindToMarkedPos(r);
   rtXmlRdResetMarkedPos(r);
   if (stat != 0) return stat;
   uint64_t rootBits = bufsize > UINT64_MAX / 8 ? UINT64_MAX : bufsize * 8;
   uint8_t* spill = nullptr;
   if (count > rootBits) {
      uint64_t size = (count - rootBits - 1) / 8 + 1;
      if (size > SIZE_MAX) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
      spill = static_cast<uint8_t*>(rtxMemAllocZ(pctxt, (size_t)size));
      if (spill == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
   }
   uint64_t bit = 0;
   stat = forEachChunk(pctxt, r, &d, 2, [&](const uint8_t* p, size_t n) {
      for (size_t i = 0; i < n; i++, bit++) {
         uint8_t* to = bit < rootBits ? data : spill;
         uint64_t k = bit < rootBits ? bit : bit - rootBits;
         if ((k & 7) == 0) to[k / 8] = 0;
         if (p[i] == '1') to[k / 8] |= (uint8_t)(0x80u >> (k & 7));
      }
      return 0;
   });
   if (stat != 0) {
      rtxMemFreePtr(pctxt, spill);
      return stat;
   }
   *pnbits = count;
   *extdata = spill;
   return 0;
}

int rtXmlpDecBitStringExt(VXCTXT* pctxt, uint8_t* data, uint32_t* pnbits, uint8_t** extdata,
                          uint64_t bufsize)
{
   uint64_t nbits = 0;
   int stat = rtXmlpDecBitStringExt64(pctxt, data, &nbits, extdata, bufsize);
   if (stat != 0) return stat;
   if (nbits > 0xFFFFFFFFu) {
      rtxMemFreePtr(pctxt, *extdata);
      *extdata = nullptr;
      return VX_LOG_ERRNEW(pctxt, RTERR_TOOBIG);
   }
   *pnbits = (uint32_t)nbits;
   return 0;
}

int rtXmlpDecNamedBits64(VXCTXT* pctxt, const XmlNamedBitsDict* table, uint8_t* data,
                         uint64_t* pnbits, uint64_t bufsize)
{
   if (table == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_INVPARAM);
   XmlReader* r = rtXmlpReader(pctxt);
   if (r == nullptr) return RTERR_NOTINIT;
   if (data != nullptr) memset(data, 0, bufsize);
   XmlDataCtxt d;
   // A name may arrive in pieces; longer words than any name are kept cut
   // and can not match.
   uint8_t word[64];
   size_t len = 0;
   uint64_t nbits = 0;
   auto endWord = [&]() {
      if (len == 0) return 0;
      const XmlNamedBitsDict* e = len <= sizeof word ? findBitName(table, word, len) : nullptr;
      size_t shown = len < sizeof word ? len : sizeof word;
      len = 0;
      if (e == nullptr) {
         rtxDiagPrint(pctxt, "rtXmlpDecNamedBits: BitMapItem = '%*s' not found\n", (int)shown,
                      (const char*)word);
         return 0;
      }
      if (e->bitnum / 8u >= bufsize) return DATA_FAIL(r, &d, 0, RTERR_STROVFLW);
      if (data != nullptr) data[e->bitnum / 8] |= (uint8_t)(0x80u >> (e->bitnum & 7));
      if ((uint64_t)e->bitnum + 1 > nbits) nbits = (uint64_t)e->bitnum + 1;
      return 0;
   };
   int stat = forEachChunk(pctxt, r, &d, 2, [&](const uint8_t* p, size_t n) {
      for (size_t i = 0; i < n; i++) {
         if (p[i] == ' ') {
            int s = endWord();
            if (s != 0) return s;
         } else {
            if (len < sizeof word) word[len] = p[i];
            len++;
         }
      }
      return 0;
   });
   if (stat == 0) stat = endWord();
   if (stat != 0) return stat;
   *pnbits = nbits > 0 ? nbits : 1;
   return 0;
}

int rtXmlpDecNamedBits(VXCTXT* pctxt, const XmlNamedBitsDict* table, uint8_t* data,
                       uint32_t* pnbits, uint64_t bufsize)
{
   uint64_t nbits = 0;
   int stat = rtXmlpDecNamedBits64(pctxt, table, data, &nbits, bufsize);
   if (stat != 0) return stat;
   if (nbits > 0xFFFFFFFFu) return VX_LOG_ERRNEW(pctxt, RTERR_TOOBIG);
   *pnbits = (uint32_t)nbits;
   return 0;
}

int rtXmlpDecHexStr64(VXCTXT* pctxt, uint8_t* data, uint64_t* pnocts, uint64_t bufsize)
{
   if (data == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_INVPARAM);
   return decHex(pctxt, data, bufsize, nullptr, pnocts);
}

int rtXmlpDecHexStr(VXCTXT* pctxt, uint8_t* data, uint32_t* pnocts, uint64_t bufsize)
{
   uint64_t nocts = 0;
   int stat = rtXmlpDecHexStr64(pctxt, data, &nocts, bufsize);
   if (stat != 0) return stat;
   if (nocts > 0xFFFFFFFFu) return VX_LOG_ERRNEW(pctxt, RTERR_TOOBIG);
   *pnocts = (uint32_t)nocts;
   return 0;
}

int rtXmlpDecDynHexStr64(VXCTXT* pctxt, ASN1TDynOctStr64* pvalue)
{
   uint8_t* block = nullptr;
   uint64_t nocts = 0;
   int stat = decHex(pctxt, nullptr, 0, &block, &nocts);
   if (stat != 0) {
      rtxMemFreePtr(pctxt, block);
      return stat;
   }
   pvalue->numocts = nocts;
   pvalue->data = block;
   return 0;
}

int rtXmlpDecDynHexStr(VXCTXT* pctxt, ASN1TDynOctStr64* pvalue)
{
   int stat = rtXmlpDecDynHexStr64(pctxt, pvalue);
   if (stat == 0 && pvalue->numocts > 0xFFFFFFFFu) return VX_LOG_ERRNEW(pctxt, RTERR_TOOBIG);
   return stat;
}

int rtXmlpDecXmlStr(VXCTXT* pctxt, VXXMLSTRING* pvalue)
{
   XmlReader* r = rtXmlpReader(pctxt);
   if (r == nullptr) return RTERR_NOTINIT;
   uint32_t wsMode = r->nextWsMode;
   XmlDataCtxt d;
   TextGather g{pctxt};
   bool cdata = false;
   int stat = forEachChunk(pctxt, r, &d, wsMode, [&](const uint8_t* p, size_t n) {
      cdata = d.isCData != 0;
      return g.append(p, n);
   });
   if (stat == 0 && g.text == nullptr) stat = g.append(nullptr, 0);
   if (stat != 0) {
      rtxMemFreePtr(pctxt, g.text);
      return stat;
   }
   if (wsMode != 0) {
      for (size_t i = 0; i < g.len; i++) {
         if (g.text[i] == '\n' || g.text[i] == '\r' || g.text[i] == '\t') g.text[i] = ' ';
      }
   }
   // Text of a document without encoding in its declaration is taken as it is.
   const XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info->encodingName != nullptr && strcmp(info->encodingName, "UTF-8") == 0) {
      if (rtxValidateUTF8(nullptr, g.text) != 0) {
         rtxMemFreePtr(pctxt, g.text);
         rtXmlRdErrAddDataSrcPos(r, &d, 0);
         return VX_LOG_ERRNEW(pctxt, RTERR_INVUTF8);
      }
   }
   r->nextWsMode = 0;
   if (pvalue == nullptr) {
      rtxMemFreePtr(pctxt, g.text);
      return 0;
   }
   // The gathered block may be larger than the text: hand out a copy of
   // its size.
   pvalue->value = rtxUTF8Strdup(pctxt, g.text);
   rtxMemFreePtr(pctxt, g.text);
   if (pvalue->value == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
   pvalue->cdata = cdata;
   return 0;
}

int rtXmlpDecDynUTF8Str(VXCTXT* pctxt, const char** ppvalue)
{
   VXXMLSTRING s{false, nullptr};
   int stat = rtXmlpDecXmlStr(pctxt, ppvalue != nullptr ? &s : nullptr);
   if (stat == 0 && ppvalue != nullptr) *ppvalue = s.value;
   return stat;
}
