// JSON writer: unknown extension additions and open type values.
//
// An unknown addition holds either the octets received on the wire or the
// text "key":value that a JSON reader kept. Only the latter may be written
// into the text as it stands, and only when it can not change the structure
// a reader of the text sees: exactly one well-formed member whose key is not
// a component of the object being written and not the key of another member
// written beside it. Anything else is written as "_ext_N":"<hex>", so no
// sender can put members, brackets or commas of its choosing into the text.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "rtJson.h"
#include "rtxBuffer.h"
#include "rtxError.h"
#include "rtxMemory.h"

namespace {

// True when the octets are a NUL-terminated run of printable 7-bit text.
bool isPrintableText(const ASN1OpenType* ot)
{
   if (ot->data == nullptr || ot->numocts < 2 || ot->data[ot->numocts - 1] != 0) return false;
   for (uint64_t i = 0; i + 1 < ot->numocts; i++) {
      if (ot->data[i] < 0x20 || ot->data[i] > 0x7F) return false;
   }
   return true;
}

// The reader's grammar with its leniencies closed: no comment (a '/'
// outside strings) and no decimal point without a digit behind it. At the
// member's own level no comma, so exactly one member. *keyLen is the raw
// length of the key, which starts behind the first octet.
bool strictSingleMember(const uint8_t* text, uint64_t n, uint64_t* keyLen)
{
   bool inString = false, escape = false, keyDone = false;
   uint64_t depth = 0;
   *keyLen = 0;
   for (uint64_t i = 0; i < n; i++) {
      uint8_t c = text[i];
      if (inString) {
         if (escape) {
            escape = false;
         } else if (c == '\\') {
            escape = true;
         } else if (c == '"') {
            inString = false;
            if (!keyDone) *keyLen = i - 1;
            keyDone = true;
         }
         continue;
      }
      switch (c) {
         case '"':
            inString = true;
            break;
         case '{':
         case '[':
            depth++;
            break;
         case '}':
         case ']':
            depth--;
            break;
         case ',':
            if (depth == 0) return false;
            break;
         case '/':
            return false;
         case '.':
            if (i + 1 >= n || text[i + 1] < '0' || text[i + 1] > '9') return false;
            break;
         default:
            break;
      }
   }
   return true;
}

}  // namespace

bool rtJsonIsMemberText(VXCTXT* pctxt, const ASN1OpenType* ot, uint64_t* keyLen)
{
   if (!isPrintableText(ot) || ot->data[0] != '"') return false;
   uint64_t n = ot->numocts - 1;
   // Checked by the reader as the one member of an object, on a context of
   // its own, so nothing is recorded where the text is being written.
   uint8_t* wrapped = static_cast<uint8_t*>(rtxMemAlloc(pctxt, n + 2));
   if (wrapped == nullptr) return false;
   wrapped[0] = '{';
   memcpy(wrapped + 1, ot->data, n);
   wrapped[n + 1] = '}';
   VXCTXT tmp;
   bool ok = rtInitContext(&tmp) == 0 && rtxInitContextBuffer(&tmp, wrapped, n + 2) == 0 &&
             rtJsonDecAnyType(&tmp, nullptr) == 0 && tmp.buffer.byteIndex == n + 2;
   rtFreeContext(&tmp);
   rtxMemFreePtr(pctxt, wrapped);
   return ok && strictSingleMember(ot->data, n, keyLen);
}

namespace {

// A key of a checked member, with its escapes resolved to UTF-16 code
// units (the text is 7-bit, so every other byte is one unit): two keys are
// the same key to a JSON reader exactly when their units are equal.
struct KeyUnits {
   uint16_t* units;
   uint64_t len;
   uint64_t pos;  // position of the addition in its list, from 1
   bool raw;      // written as it stands
};

int hexDigit(uint8_t c)
{
   if (c >= '0' && c <= '9') return c - '0';
   if (c >= 'a' && c <= 'f') return c - 'a' + 10;
   if (c >= 'A' && c <= 'F') return c - 'A' + 10;
   return 0;
}

uint64_t decodeKey(const uint8_t* raw, uint64_t n, uint16_t* out)
{
   uint64_t k = 0;
   for (uint64_t i = 0; i < n; i++) {
      uint8_t c = raw[i];
      if (c != '\\' || i + 1 >= n) {
         out[k++] = c;
         continue;
      }
      c = raw[++i];
      switch (c) {
         case 'b':
            out[k++] = 0x08;
            break;
         case 'f':
            out[k++] = 0x0C;
            break;
         case 'n':
            out[k++] = 0x0A;
            break;
         case 'r':
            out[k++] = 0x0D;
            break;
         case 't':
            out[k++] = 0x09;
            break;
         case 'u': {
            uint16_t u = 0;
            for (int d = 0; d < 4 && i + 1 < n; d++) u = (uint16_t)(u * 16 + hexDigit(raw[++i]));
            out[k++] = u;
            break;
         }
         default:
            out[k++] = c;
            break;
      }
   }
   return k;
}

bool unitsAre(const KeyUnits& k, const char* name)
{
   uint64_t i = 0;
   for (; i < k.len; i++) {
      if (name[i] == 0 || (uint8_t)name[i] != k.units[i]) return false;
   }
   return name[i] == 0;
}

bool isKnownName(const KeyUnits& k, const char* const* names, size_t nnames)
{
   for (size_t i = 0; i < nnames; i++) {
      if (unitsAre(k, names[i])) return true;
   }
   return false;
}

// The suffix N of a key "_ext_N" (decimal, no leading zero), else 0.
uint64_t extSuffix(const KeyUnits& k)
{
   static const char prefix[] = "_ext_";
   if (k.len <= 5 || k.len > 5 + 19) return 0;
   for (uint64_t i = 0; i < 5; i++) {
      if (k.units[i] != (uint8_t)prefix[i]) return 0;
   }
   if (k.units[5] == '0') return 0;
   uint64_t v = 0;
   for (uint64_t i = 5; i < k.len; i++) {
      if (k.units[i] < '0' || k.units[i] > '9') return 0;
      v = v * 10 + (k.units[i] - '0');
   }
   return v;
}

int compareKeys(const void* a, const void* b)
{
   const KeyUnits* x = *static_cast<const KeyUnits* const*>(a);
   const KeyUnits* y = *static_cast<const KeyUnits* const*>(b);
   uint64_t n = x->len < y->len ? x->len : y->len;
   for (uint64_t i = 0; i < n; i++) {
      if (x->units[i] != y->units[i]) return x->units[i] < y->units[i] ? -1 : 1;
   }
   if (x->len != y->len) return x->len < y->len ? -1 : 1;
   return x->pos < y->pos ? -1 : (x->pos > y->pos ? 1 : 0);
}

int writeHexMember(VXCTXT* pctxt, const ASN1OpenType* pOpenType, int suffix)
{
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

// Chooses which additions of a list are written as they stand (raw[i]).
// Work memory comes from the context's heap and is released here.
int chooseRaw(VXCTXT* pctxt, const ASN1TSeqExt* pList, const char* const* names, size_t nnames,
              bool* raw, uint64_t n)
{
   KeyUnits* keys = static_cast<KeyUnits*>(rtxMemAllocZ(pctxt, n * sizeof(KeyUnits)));
   KeyUnits** order = static_cast<KeyUnits**>(rtxMemAllocZ(pctxt, n * sizeof(KeyUnits*)));
   uint64_t* owner = static_cast<uint64_t*>(rtxMemAllocZ(pctxt, (n + 1) * sizeof(uint64_t)));
   uint64_t* work = static_cast<uint64_t*>(rtxMemAllocZ(pctxt, (n + 1) * sizeof(uint64_t)));
   int stat = (keys && order && owner && work) ? 0 : VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
   uint64_t ncand = 0, i = 0;
   for (const VXRTDListNode* node = pList->head; stat == 0 && node; node = node->next, i++) {
      const ASN1OpenType* ot = static_cast<const ASN1OpenType*>(node->data);
      raw[i] = false;
      uint64_t keyLen = 0;
      if (ot == nullptr || !rtJsonIsMemberText(pctxt, ot, &keyLen)) continue;
      KeyUnits& k = keys[i];
      k.units = static_cast<uint16_t*>(rtxMemAlloc(pctxt, (keyLen + 1) * sizeof(uint16_t)));
      if (k.units == nullptr) {
         stat = VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
         break;
      }
      k.len = decodeKey(ot->data + 1, keyLen, k.units);
      k.pos = i + 1;
      if (isKnownName(k, names, nnames)) continue;
      k.raw = true;
      order[ncand++] = &k;
   }
   if (stat == 0) {
      // Of the members with the same key only the first keeps its form.
      qsort(order, ncand, sizeof(KeyUnits*), compareKeys);
      for (uint64_t j = 1; j < ncand; j++) {
         const KeyUnits& a = *order[j - 1];
         KeyUnits& b = *order[j];
         if (a.len == b.len && memcmp(a.units, b.units, a.len * sizeof(uint16_t)) == 0) {
            b.raw = false;
         }
      }
      // A hexadecimal member at position p is named "_ext_p": a kept member
      // of that name gives way and is written in hexadecimal too, which may
      // in turn free another name; each position enters the work list once.
      uint64_t nwork = 0;
      i = 0;
      for (const VXRTDListNode* node = pList->head; node; node = node->next, i++) {
         if (keys[i].raw) {
            uint64_t p = extSuffix(keys[i]);
            if (p >= 1 && p <= n) owner[p] = i + 1;
         } else if (node->data != nullptr) {
            work[nwork++] = i + 1;
         }
      }
      while (nwork > 0) {
         uint64_t p = work[--nwork];
         uint64_t o = owner[p];
         if (o != 0 && keys[o - 1].raw) {
            keys[o - 1].raw = false;
            work[nwork++] = o;
         }
      }
      for (i = 0; i < n; i++) raw[i] = keys[i].raw;
   }
   for (i = 0; keys && i < n; i++) {
      if (keys[i].units) rtxMemFreePtr(pctxt, keys[i].units);
   }
   rtxMemFreePtr(pctxt, keys);
   rtxMemFreePtr(pctxt, order);
   rtxMemFreePtr(pctxt, owner);
   rtxMemFreePtr(pctxt, work);
   return stat;
}

}  // namespace

int rtJsonEncExtElemWithSuffix(VXCTXT* pctxt, const ASN1OpenType* pOpenType, int suffix)
{
   uint64_t keyLen;
   if (rtJsonIsMemberText(pctxt, pOpenType, &keyLen))
      return rtJsonEncStringRaw(pctxt, (const char*)pOpenType->data);
   return writeHexMember(pctxt, pOpenType, suffix);
}

int rtJsonAsn1EncExtElem(VXCTXT* pctxt, const ASN1OpenType* pOpenType)
{
   return rtJsonEncExtElemWithSuffix(pctxt, pOpenType, 0);
}

int rtJsonAsn1EncExtElemIn(VXCTXT* pctxt, const ASN1OpenType* pOpenType, const char* const* names,
                           size_t nnames)
{
   uint64_t keyLen;
   if (rtJsonIsMemberText(pctxt, pOpenType, &keyLen)) {
      uint16_t small[64];
      KeyUnits k = {keyLen < 64 ? small : nullptr, 0, 0, true};
      if (k.units == nullptr) {
         k.units = static_cast<uint16_t*>(rtxMemAlloc(pctxt, keyLen * sizeof(uint16_t)));
         if (k.units == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
      }
      k.len = decodeKey(pOpenType->data + 1, keyLen, k.units);
      bool known = isKnownName(k, names, nnames);
      if (k.units != small) rtxMemFreePtr(pctxt, k.units);
      if (!known) return rtJsonEncStringRaw(pctxt, (const char*)pOpenType->data);
   }
   return writeHexMember(pctxt, pOpenType, 0);
}

// All additions of one object on one line, separated by bare commas. The
// status of each member is not looked at: the loop always ends with 0.
int rtJsonAsn1EncOpenTypeExt(VXCTXT* pctxt, const ASN1TSeqExt* pList, bool writeNulls)
{
   return rtJsonAsn1EncOpenTypeExtIn(pctxt, pList, writeNulls, nullptr, 0);
}

int rtJsonAsn1EncOpenTypeExtIn(VXCTXT* pctxt, const ASN1TSeqExt* pList, bool writeNulls,
                               const char* const* names, size_t nnames)
{
   uint64_t n = 0;
   for (const VXRTDListNode* node = pList ? pList->head : nullptr; node; node = node->next) n++;
   if (n == 0) return 0;
   bool one;
   bool* raw = n == 1 ? &one : static_cast<bool*>(rtxMemAllocZ(pctxt, n * sizeof(bool)));
   if (raw == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
   int stat = chooseRaw(pctxt, pList, names, nnames, raw, n);
   bool written = false;
   int pos = 0;
   for (const VXRTDListNode* node = pList->head; stat == 0 && node; node = node->next) {
      pos++;
      if (node->data == nullptr && !writeNulls) continue;
      if (written) rtJsonEncChar(pctxt, ',');
      const ASN1OpenType* ot = static_cast<const ASN1OpenType*>(node->data);
      if (ot == nullptr)
         rtJsonEncStringNull(pctxt);
      else if (raw[pos - 1])
         rtJsonEncStringRaw(pctxt, (const char*)ot->data);
      else
         writeHexMember(pctxt, ot, pos);
      written = true;
   }
   if (raw != &one) rtxMemFreePtr(pctxt, raw);
   return stat;
}

// An open type's octets must be one JSON value (text a text decoder put
// there); it is validated by the free-form parser on a temporary context and
// written as {"value" : "<text>"}. No octets at all are no value either:
// the key written before would stand without one, so the text would not be
// JSON. They fail as the parser fails on an empty text.
int rtJsonAsn1EncOpenType(VXCTXT* pctxt, const uint8_t* data, uint64_t numocts)
{
   if (data == nullptr || numocts == 0) return VX_LOG_ERRNEW(pctxt, RTERR_ENDOFBUF);
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
