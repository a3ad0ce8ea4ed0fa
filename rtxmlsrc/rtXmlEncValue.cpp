// XML writer: values (escaped text, CDATA sections, numbers, booleans,
// hexadecimal, bit strings, named bits) and the elements that hold them.
#include "rtXmlInternal.h"
#include "rtxCharStr.h"
#include "rtxDList.h"
#include "rtxMemory.h"

namespace {

// Escape kinds of a byte, one bit per writing mode: content and attribute
// value, each normal and canonical.
enum : uint8_t {
   kEscContent = 1,
   kEscAttr = 2,
   kEscContentC14N = 4,
   kEscAttrC14N = 8,
   kEscContentC14NXer = 16,  // canonical content in XER style keeps carriage returns
};

struct EscapeTable {
   uint8_t mode[256];
   constexpr EscapeTable() : mode()
   {
      mode[(unsigned char)'\t'] = kEscAttr | kEscAttrC14N;
      mode[(unsigned char)'\n'] = kEscAttr | kEscAttrC14N;
      mode[(unsigned char)'\r'] = kEscAttr | kEscContentC14N | kEscAttrC14N;
      mode[(unsigned char)'"'] = kEscContent | kEscAttr | kEscAttrC14N;
      mode[(unsigned char)'&'] =
         kEscContent | kEscAttr | kEscContentC14N | kEscAttrC14N | kEscContentC14NXer;
      mode[(unsigned char)'\''] = kEscContent | kEscAttr;
      mode[(unsigned char)'<'] =
         kEscContent | kEscAttr | kEscContentC14N | kEscAttrC14N | kEscContentC14NXer;
      mode[(unsigned char)'>'] = kEscContent | kEscAttr | kEscContentC14N | kEscContentC14NXer;
   }
};
constexpr EscapeTable kEscapes;

// The longest escape, "&quot;" and "&apos;".
constexpr size_t kMaxEscape = 6;

size_t escapeText(uint8_t* out, const char* text, size_t length, uint8_t modeBit)
{
   uint8_t* q = out;
   for (size_t i = 0; i < length; i++) {
      uint8_t c = (uint8_t)text[i];
      if (VX_LIKELY((kEscapes.mode[c] & modeBit) == 0)) {
         *q++ = c;
         continue;
      }
      const char* esc;
      switch (c) {
         case '\t':
            esc = "&#x9;";
            break;
         case '\n':
            esc = "&#xA;";
            break;
         case '\r':
            esc = "&#xD;";
            break;
         case '"':
            esc = "&quot;";
            break;
         case '&':
            esc = "&amp;";
            break;
         case '\'':
            esc = "&apos;";
            break;
         case '<':
            esc = "&lt;";
            break;
         default:
            esc = "&gt;";
            break;
      }
      size_t n = strlen(esc);
      memcpy(q, esc, n);
      q += n;
   }
   return (size_t)(q - out);
}

uint8_t escapeMode(const VXCTXT* pctxt)
{
   bool attr = pctxt->state == XMLSTATE_ATTR;
   if ((pctxt->flags & VXCTXT_FLAG_C14N) == 0) return attr ? kEscAttr : kEscContent;
   if (attr) return kEscAttrC14N;
   return (pctxt->flags & VXCTXT_FLAG_NOXMLNS) ? kEscContentC14NXer : kEscContentC14N;
}

// The five calls of every value element: start tag, namespace declarations,
// close of the start tag, the value, end tag. Without a name only the value.
template <class WriteValue>
int encValueElement(VXCTXT* pctxt, const char* elemName, VXXMLNamespace* pNS, WriteValue writeValue)
{
   if (elemName == nullptr) return writeValue();
   VXRTDList nsAttrs;
   rtxDListInit(&nsAttrs);
   int stat = rtXmlEncStartElement(pctxt, elemName, pNS, &nsAttrs, false);
   if (stat == 0) stat = rtXmlEncNSAttrs(pctxt, &nsAttrs);
   if (stat == 0) stat = rtXmlEncTermStartElement(pctxt);
   if (stat == 0) stat = writeValue();
   if (stat == 0) stat = rtXmlEncEndElement(pctxt, elemName, pNS);
   return stat;
}

// The decimal text of a number at p, a minus sign first when asked;
// returns its length.
size_t formatDecimal(uint8_t* p, uint64_t magnitude, bool minus)
{
   if (minus) *p++ = '-';
   size_t n = rtxTextDigitCount(magnitude);
   rtxTextPutDigits(p, n, magnitude);
   return n + (minus ? 1 : 0);
}

// Decimal digits straight into the output when characters are bytes.
bool putDecimal(VXCTXT* pctxt, uint64_t magnitude, bool minus)
{
   if (xmlUnitSize(pctxt) != 1 || rtxCheckOutputBuffer(pctxt, 22) != 0) return false;
   uint8_t* p = pctxt->buffer.data + pctxt->buffer.byteIndex;
   size_t n = formatDecimal(p, magnitude, minus);
   p[n] = 0;
   pctxt->buffer.byteIndex += n;
   pctxt->lastChar = p[n - 1];
   xmlSetCharDataState(pctxt);
   return true;
}

// A number element in one step, for the plain case: UTF-8 out, no
// namespace, no declarations to make, no canonical form, no xsi:nil. The
// element opens and closes within the call, so the prefix frame and the
// name stack it would push and pop are left alone. False when the case is
// not plain; nothing is written then.
bool putNumberElement(VXCTXT* pctxt, const char* elemName, VXXMLNamespace* pNS, uint64_t magnitude,
                      bool minus)
{
   const XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr || pNS != nullptr || elemName[0] == 0 || info->namespaceList.count != 0 ||
       !xmlPlainMarkup(pctxt, info))
      return false;
   size_t nameLen = strlen(elemName);
   bool close = pctxt->state == XMLSTATE_SOE && (pctxt->flags & VXCTXT_FLAG_XMLTAGOPEN) != 0;
   size_t width = (size_t)pctxt->level * info->indent;
   if (rtxCheckOutputBuffer(pctxt, 2 + width + 2 * nameLen + 5 + 21 + 1) != 0) return false;
   uint8_t* start = pctxt->buffer.data + pctxt->buffer.byteIndex;
   uint8_t* p = start;
   if (close) *p++ = '>';
   p = xmlPutBreak(pctxt, info, p, width);
   *p++ = '<';
   p = xmlCopyName(p, elemName, nameLen);
   *p++ = '>';
   p += formatDecimal(p, magnitude, minus);
   *p++ = '<';
   *p++ = '/';
   p = xmlCopyName(p, elemName, nameLen);
   *p++ = '>';
   *p = 0;
   pctxt->buffer.byteIndex += (size_t)(p - start);
   pctxt->flags &= ~VXCTXT_FLAG_XMLTAGOPEN;
   pctxt->lastChar = '>';
   pctxt->state = XMLSTATE_EOE;
   return true;
}

// The magnitude in unsigned arithmetic, so that the lowest value negates.
template <class T>
uint64_t magnitudeOf(T value)
{
   return value < 0 ? 0 - (uint64_t)(int64_t)value : (uint64_t)value;
}

template <class T, int (*ToText)(T, char*, size_t, char)>
int encNumberValue(VXCTXT* pctxt, T value)
{
   bool minus = value < 0;
   if (VX_LIKELY(putDecimal(pctxt, magnitudeOf(value), minus))) return 0;
   char digits[40];
   int n = ToText(value, digits, sizeof digits, 0);
   if (n < 0) return XML_FAIL(pctxt, n);
   int stat = rtXmlWriteChars(pctxt, digits, (size_t)n);
   if (stat != 0) return XML_FAIL(pctxt, stat);
   xmlSetCharDataState(pctxt);
   return 0;
}

}  // namespace

int rtXmlEncStringValue2(VXCTXT* pctxt, const char* value, size_t length)
{
   if (value == nullptr || value[0] == 0 || length == 0) return 0;
   uint8_t modeBit = escapeMode(pctxt);
   if (length > (SIZE_MAX - 1) / kMaxEscape) return XML_FAIL(pctxt, RTERR_TOOBIG);
   size_t room = length * kMaxEscape + 1;
   int stat;
   if (xmlUnitSize(pctxt) == 1 &&
       (rtXmlGetCtxtInfo(pctxt) == nullptr || rtXmlGetCtxtInfo(pctxt)->encoding == VXXMLUTF8)) {
      // UTF-8 out: escape straight into the output buffer.
      if ((stat = rtxCheckOutputBuffer(pctxt, room)) != 0) return XML_FAIL(pctxt, stat);
      VXRTBuffer& buf = pctxt->buffer;
      size_t n = escapeText(buf.data + buf.byteIndex, value, length, modeBit);
      buf.byteIndex += n;
      buf.data[buf.byteIndex] = 0;
      pctxt->lastChar = buf.data[buf.byteIndex - 1];
   } else {
      uint8_t* work = static_cast<uint8_t*>(rtxMemAlloc(pctxt, room));
      if (work == nullptr) return XML_FAIL(pctxt, RTERR_NOMEM);
      size_t n = escapeText(work, value, length, modeBit);
      stat = rtXmlWriteChars(pctxt, (const char*)work, n);
      rtxMemFreePtr(pctxt, work);
      if (stat != 0) return XML_FAIL(pctxt, stat);
   }
   xmlSetCharDataState(pctxt);
   return 0;
}

int rtXmlEncStringValue(VXCTXT* pctxt, const char* value)
{
   return value != nullptr ? rtXmlEncStringValue2(pctxt, value, strlen(value)) : 0;
}

int rtXmlEncCDATAStringValue(VXCTXT* pctxt, const char* value, size_t length)
{
   // Matched bytes of "]]>", which may not occur inside the section.
   size_t matched = 0;
   for (size_t i = 0; i < length; i++) {
      char c = value[i];
      int stat = rtXmlPutChar(pctxt, c);
      if (stat != 0) return XML_FAIL(pctxt, stat);
      if (c == ']')
         matched = matched < 2 ? matched + 1 : 2;
      else if (c == '>' && matched == 2)
         return XML_FAIL(pctxt, RTERR_INVPARAM);
      else
         matched = 0;
   }
   xmlSetCharDataState(pctxt);
   return 0;
}

static int encStringBody(VXCTXT* pctxt, const VXXMLSTRING* pxmlstr)
{
   const char* value = pxmlstr->value;
   if (pxmlstr->cdata && (pctxt->flags & VXCTXT_FLAG_C14N) == 0 && value != nullptr &&
       value[0] != 0) {
      int stat = xmlWriteAscii(pctxt, "<![CDATA[", 9);
      if (stat == 0) stat = rtXmlEncCDATAStringValue(pctxt, value, strlen(value));
      if (stat == 0) stat = xmlWriteAscii(pctxt, "]]>", 3);
      if (stat != 0) return XML_FAIL(pctxt, stat);
      xmlSetCharDataState(pctxt);
      return 0;
   }
   return rtXmlEncStringValue(pctxt, value);
}

int rtXmlEncString(VXCTXT* pctxt, VXXMLSTRING* pxmlstr, const char* elemName, VXXMLNamespace* pNS)
{
   if ((elemName == nullptr || elemName[0] == 0) && pctxt->state != XMLSTATE_ATTR) {
      int stat = rtXmlEncTermStartElement(pctxt);
      return stat != 0 ? XML_FAIL(pctxt, stat) : encStringBody(pctxt, pxmlstr);
   }
   return encValueElement(pctxt, elemName, pNS, [&] { return encStringBody(pctxt, pxmlstr); });
}

int rtXmlEncUTF8Str(VXCTXT* pctxt, const char* value, const char* elemName, VXXMLNamespace* pNS)
{
   VXXMLSTRING str{false, value};
   return rtXmlEncString(pctxt, &str, elemName, pNS);
}

int rtXmlEncIntValue(VXCTXT* pctxt, int32_t value)
{
   return encNumberValue<int32_t, rtxIntToCharStr>(pctxt, value);
}
int rtXmlEncUIntValue(VXCTXT* pctxt, uint32_t value)
{
   return encNumberValue<uint32_t, rtxUIntToCharStr>(pctxt, value);
}
int rtXmlEncInt64Value(VXCTXT* pctxt, int64_t value)
{
   return encNumberValue<int64_t, rtxInt64ToCharStr>(pctxt, value);
}
int rtXmlEncUInt64Value(VXCTXT* pctxt, uint64_t value)
{
   return encNumberValue<uint64_t, rtxUInt64ToCharStr>(pctxt, value);
}

template <class T, int (*WriteValue)(VXCTXT*, T)>
int encNumberElement(VXCTXT* pctxt, T value, const char* elemName, VXXMLNamespace* pNS)
{
   if (elemName != nullptr && putNumberElement(pctxt, elemName, pNS, magnitudeOf(value), value < 0))
      return 0;
   return encValueElement(pctxt, elemName, pNS, [&] { return WriteValue(pctxt, value); });
}

int rtXmlEncInt(VXCTXT* pctxt, int32_t value, const char* elemName, VXXMLNamespace* pNS)
{
   return encNumberElement<int32_t, rtXmlEncIntValue>(pctxt, value, elemName, pNS);
}
int rtXmlEncUInt(VXCTXT* pctxt, uint32_t value, const char* elemName, VXXMLNamespace* pNS)
{
   return encNumberElement<uint32_t, rtXmlEncUIntValue>(pctxt, value, elemName, pNS);
}
int rtXmlEncInt64(VXCTXT* pctxt, int64_t value, const char* elemName, VXXMLNamespace* pNS)
{
   return encNumberElement<int64_t, rtXmlEncInt64Value>(pctxt, value, elemName, pNS);
}
int rtXmlEncUInt64(VXCTXT* pctxt, uint64_t value, const char* elemName, VXXMLNamespace* pNS)
{
   return encNumberElement<uint64_t, rtXmlEncUInt64Value>(pctxt, value, elemName, pNS);
}

int rtXmlEncBoolValue(VXCTXT* pctxt, bool value)
{
   const char* word = value ? "true" : "false";
   if (pctxt->flags & VXCTXT_FLAG_NOXMLNS)
      return rtXmlEncEmptyElement(pctxt, word, nullptr, nullptr, true);
   int stat = rtXmlWriteChars(pctxt, word, strlen(word));
   if (stat != 0) return XML_FAIL(pctxt, stat);
   xmlSetCharDataState(pctxt);
   return 0;
}

int rtXmlEncBool(VXCTXT* pctxt, bool value, const char* elemName, VXXMLNamespace* pNS)
{
   return encValueElement(pctxt, elemName, pNS, [&] { return rtXmlEncBoolValue(pctxt, value); });
}

int rtXmlEncBinStrValue(VXCTXT* pctxt, uint64_t nbits, const uint8_t* data)
{
   if (nbits == 0) return 0;
   if (nbits > (SIZE_MAX - 1) / 2) return XML_FAIL(pctxt, RTERR_TOOBIG);
   int stat = xmlReserve(pctxt, (size_t)nbits);
   if (stat != 0) return XML_FAIL(pctxt, stat);
   for (uint64_t i = 0; i < nbits; i++) {
      char digit = ((data[i >> 3] >> (7 - (i & 7))) & 1) ? '1' : '0';
      xmlPutRaw(pctxt, &digit, 1);
   }
   xmlTerminate(pctxt);
   xmlSetCharDataState(pctxt);
   return 0;
}

int rtXmlEncBitString(VXCTXT* pctxt, uint64_t nbits, const uint8_t* data, const char* elemName,
                      VXXMLNamespace* pNS)
{
   if (nbits == 0) return rtXmlEncEmptyElement(pctxt, elemName, pNS, nullptr, true);
   return encValueElement(pctxt, elemName, pNS,
                          [&] { return rtXmlEncBinStrValue(pctxt, nbits, data); });
}

int rtXmlEncBitStringExt(VXCTXT* pctxt, uint64_t nbits, const uint8_t* data, uint64_t dataSize,
                         const uint8_t* extData, const char* elemName, VXXMLNamespace* pNS)
{
   if (dataSize > 0x1FFFFFFFFFFFFFFFull) return XML_FAIL(pctxt, RTERR_TOOBIG);
   if (nbits == 0) return rtXmlEncEmptyElement(pctxt, elemName, pNS, nullptr, true);
   return encValueElement(pctxt, elemName, pNS, [&] {
      uint64_t rootBits = dataSize * 8;
      if (nbits <= rootBits) return rtXmlEncBinStrValue(pctxt, nbits, data);
      int stat = rtXmlEncBinStrValue(pctxt, rootBits, data);
      return stat != 0 ? stat : rtXmlEncBinStrValue(pctxt, nbits - rootBits, extData);
   });
}

int rtXmlEncNamedBitsValue(VXCTXT* pctxt, const XmlNamedBitsDict* table, uint64_t nbits,
                           const uint8_t* data)
{
   bool first = true;
   for (const XmlNamedBitsDict* row = table; row != nullptr && row->name != nullptr; row++) {
      uint64_t bit = row->bitnum;
      if (bit >= nbits || ((data[bit >> 3] >> (7 - (bit & 7))) & 1) == 0) continue;
      int stat = first ? 0 : rtXmlWriteChars(pctxt, " ", 1);
      if (stat == 0) stat = rtXmlWriteChars(pctxt, row->name, row->namelen);
      if (stat != 0) return XML_FAIL(pctxt, stat);
      first = false;
   }
   if (!first) xmlSetCharDataState(pctxt);
   return 0;
}

int rtXmlEncNamedBits(VXCTXT* pctxt, const XmlNamedBitsDict* table, uint64_t nbits,
                      const uint8_t* data, const char* elemName, VXXMLNamespace* pNS)
{
   return encValueElement(pctxt, elemName, pNS,
                          [&] { return rtXmlEncNamedBitsValue(pctxt, table, nbits, data); });
}

int rtXmlEncHexStrValue(VXCTXT* pctxt, int64_t nocts, const uint8_t* data)
{
   if (nocts < 0) return XML_FAIL(pctxt, RTERR_TOOBIG);
   const char* digits = (pctxt->flags & (VXCTXT_FLAG_NOXMLNS | VXCTXT_FLAG_XMLUPPERHEX))
                           ? "0123456789ABCDEF"
                           : "0123456789abcdef";
   char area[80];
   size_t fill = 0;
   for (int64_t i = 0; i < nocts; i++) {
      area[fill++] = digits[data[i] >> 4];
      area[fill++] = digits[data[i] & 0x0F];
      if (fill == sizeof area) {
         int stat = rtXmlWriteChars(pctxt, area, fill);
         if (stat != 0) return XML_FAIL(pctxt, stat);
         fill = 0;
      }
   }
   if (fill > 0) {
      int stat = rtXmlWriteChars(pctxt, area, fill);
      if (stat != 0) return XML_FAIL(pctxt, stat);
   }
   if (nocts > 0) xmlSetCharDataState(pctxt);
   return 0;
}

int rtXmlEncHexBinary(VXCTXT* pctxt, int64_t nocts, const uint8_t* data, const char* elemName,
                      VXXMLNamespace* pNS)
{
   if (nocts == 0) {
      int stat = rtXmlEncEmptyElement(pctxt, elemName, pNS, nullptr, true);
      if (stat == 0) pctxt->state = XMLSTATE_EOE;
      return stat;
   }
   return encValueElement(pctxt, elemName, pNS,
                          [&] { return rtXmlEncHexStrValue(pctxt, nocts, data); });
}
