// XML engine, writer side: the information record hung on the context's
// pXMLInfo, the writer functions the per-type encoders call, and the
// namespace prefix stack shared with the reader.
//
// The writer keeps its state in the context: `state` (below), `level` (the
// indentation level; the element name stack is kept apart from it),
// `lastChar` and `elemNameStack` (names of the open elements, not copied).
#ifndef RTXML_H
#define RTXML_H

#include "rtContext.h"
#include "rtXmlErr.h"
#include "rtxContext.h"
#include "rtxDynPtrArray.h"
#include "rtxMemBuf.h"

struct XmlReader;

// Writer states (VXCTXT::state).
enum {
   XMLSTATE_INITIAL = 0,   // nothing written
   XMLSTATE_HEADER = 1,    // declaration written
   XMLSTATE_SOE = 2,       // inside or just behind a start tag, no content yet
   XMLSTATE_ATTR = 3,      // inside an attribute value
   XMLSTATE_CHARDATA = 4,  // character data written
   XMLSTATE_EOE = 5,       // end tag written
   XMLSTATE_COMMENT = 6    // comment written
};

// Context flags the writer reads besides those of rtxContext.h.
#define VXCTXT_FLAG_XMLFRAG 0x800u       // fragment: no declaration (shares 0x800)
#define VXCTXT_FLAG_XMLEMPTYTAG 0x2000u  // the open start tag ends as "/>"
#define VXCTXT_FLAG_XMLTAGOPEN 0x4000u   // the start tag's ">" is not written yet
#define VXCTXT_FLAG_XMLUPPERHEX 0x8000u  // upper-case hexadecimal outside XER style

// Output encodings.
constexpr uint32_t VXXMLUTF8 = 0;
constexpr uint32_t VXXMLUTF16 = 1;
constexpr uint32_t VXXMLUTF16BE = 2;
constexpr uint32_t VXXMLUTF16LE = 3;
constexpr uint32_t VXXMLLATIN1 = 4;

#define VXXMLHDRUTF8 "UTF-8"
#define VXXMLHDRUTF16 "UTF-16"
#define VXXMLHDRUTF16BE "UTF-16BE"
#define VXXMLHDRUTF16LE "UTF-16LE"
#define VXXMLHDRLATIN1 "ISO-8859-1"

// A namespace: prefix (null: not given) and URI (null: not given).
struct VXXMLNamespace {
   const char* prefix;
   const char* uri;
};

// A text value, to be written as CDATA section if `cdata` is set.
struct VXXMLSTRING {
   bool cdata;
   const char* value;
};

// One URI of a prefix frame with the prefixes bound to it. The URI is
// either an index into the URI table (uriIndex >= 0) or held here.
struct NSPrefixLink {
   int32_t uriIndex;
   const char* prefix;
   const char* uri;
   VXRTDynPtrArray extraPrefixes;
   NSPrefixLink* next;
};

// One frame of the prefix stack per open element.
struct XmlNSFrame {
   NSPrefixLink* head;
   XmlNSFrame* next;
   uint64_t encodedMark;  // namespaces written before this level opened
};

// A row of a named-bit table; the table ends with a null name.
struct XmlNamedBitsDict {
   const char* name;
   uint16_t bitnum;
   uint16_t namelen;
};

// The XML information record, allocated with the system allocator so that
// it outlives a heap reset.
struct XmlCtxtInfo {
   int (*fnFree)(VXCTXT* pctxt, void* info);
   int (*fnReset)(VXCTXT* pctxt, void* info);
   char* schemaLocation;
   char* noNSSchemaLocation;
   char* xsiTypeAttr;
   uint32_t encoding;
   VXRTDList namespaceList;      // of VXXMLNamespace, declared for the document
   VXRTDList encodedNamespaces;  // written on the open path; each frame marks its start
   VXRTDList sortedAttrList;     // canonical attributes of the open start tag
   int32_t nsFrameCount;
   XmlNSFrame* nsFrameTop;
   int32_t nsURICount;
   const char* const* nsURITable;
   VXRTMEMBUF memBuf;
   uint32_t saxLevel;
   uint32_t saxState;
   uint32_t maxSaxErrors;
   uint32_t saxErrors;
   uint8_t indent;
   uint8_t reserved;
   char indentChar;
   uint8_t realFormat;
   int32_t totalDigits;
   int32_t fractionDigits;
   const char* encodingName;
   uint32_t bomKind;
   XmlReader* pXmlReader;
   VXRTBuffer savedBuffer;  // the context's buffer while attributes go aside
   uint32_t savedFlags;
   uint8_t* attrsBuf;  // canonical attribute side buffer
   size_t attrsBufSize;
   size_t attrStartPos;           // offset of the last attribute in it
   XmlNSFrame* freeFrames;        // popped frames kept for reuse
   VXRTDListNode* freeNameNodes;  // element name stack nodes kept for reuse
   bool attrsAside;               // the context writes into the side buffer
};

// Information record and settings.
int rtXmlInitCtxtAppInfo(VXCTXT* pctxt);
int rtXmlFreeCtxtAppInfo(VXCTXT* pctxt, void* info);
int rtXmlResetCtxtAppInfo(VXCTXT* pctxt, void* info);
VX_INLINE XmlCtxtInfo* rtXmlGetCtxtInfo(const VXCTXT* pctxt)
{
   return static_cast<XmlCtxtInfo*>(pctxt->pXMLInfo);
}
int rtXmlSetEncBufPtr(VXCTXT* pctxt, uint8_t* data, size_t size);
int rtXmlSetEncoding(VXCTXT* pctxt, uint32_t encoding);
int rtXmlSetEncodingStr(VXCTXT* pctxt, const char* encodingStr);
void rtXmlUpdateBOM(XmlCtxtInfo* info, uint32_t encoding);
int rtXmlSetWriteBOM(VXCTXT* pctxt, bool on);
int rtXmlSetFormatting(VXCTXT* pctxt, bool on);
int rtXmlSetIndent(VXCTXT* pctxt, uint8_t indent);
int rtXmlSetIndentChar(VXCTXT* pctxt, char indentChar);
int rtXmlSetEncC14N(VXCTXT* pctxt, bool on);
int rtXmlSetEncXSINilAttr(VXCTXT* pctxt, bool on);
int rtXmlSetEncDocHdr(VXCTXT* pctxt, bool on);
int rtXmlSetDigitsFacets(VXCTXT* pctxt, int totalDigits, int fractionDigits);
int rtXmlSetSchemaLocation(VXCTXT* pctxt, const char* text);
int rtXmlSetNoNSSchemaLocation(VXCTXT* pctxt, const char* text);
int rtXmlSetXSITypeAttr(VXCTXT* pctxt, const char* text);
int rtXmlSetNSURITable(VXCTXT* pctxt, const char* const* table, int32_t count);

// Output primitives. Units are bytes in UTF-8 and Latin-1, byte pairs in
// the UTF-16 encodings.
int rtXmlPutChar(VXCTXT* pctxt, char ch);
int rtXmlWriteChars(VXCTXT* pctxt, const char* text, size_t length);
int rtXmlCheckBuffer(VXCTXT* pctxt, size_t nbytes);

// Document and elements.
int rtXmlEncStartDocument(VXCTXT* pctxt);
int rtXmlEncBOM(VXCTXT* pctxt);
int rtXmlEncIndent(VXCTXT* pctxt);
int rtXmlEncStartElement(VXCTXT* pctxt, const char* elemName, VXXMLNamespace* pNS,
                         VXRTDList* pNSAttrs, bool terminate);
int rtXmlEncTermStartElement(VXCTXT* pctxt);
int rtXmlEncEndElement(VXCTXT* pctxt, const char* elemName, VXXMLNamespace* pNS);
int rtXmlEncEmptyElement(VXCTXT* pctxt, const char* elemName, VXXMLNamespace* pNS,
                         VXRTDList* pNSAttrs, bool terminate);
int rtXmlEncNSAttrs(VXCTXT* pctxt, VXRTDList* pNSAttrs);
int rtXmlSetNSPrefixLinks(VXCTXT* pctxt, VXRTDList* pNSAttrs);
int rtXmlEncXSINilAttr(VXCTXT* pctxt);
int rtXmlEncUTF8Attr2(VXCTXT* pctxt, const char* name, size_t nameLen, const char* value,
                      size_t valueLen);

// Values, with and without their element.
int rtXmlEncStringValue(VXCTXT* pctxt, const char* value);
int rtXmlEncStringValue2(VXCTXT* pctxt, const char* value, size_t length);
int rtXmlEncCDATAStringValue(VXCTXT* pctxt, const char* value, size_t length);
int rtXmlEncString(VXCTXT* pctxt, VXXMLSTRING* pxmlstr, const char* elemName, VXXMLNamespace* pNS);
int rtXmlEncUTF8Str(VXCTXT* pctxt, const char* value, const char* elemName, VXXMLNamespace* pNS);
// Whether the text is UTF-8 of characters that XML 1.0 admits (a null text is).
bool rtXmlIsCharData(const char* text);
int rtXmlEncIntValue(VXCTXT* pctxt, int32_t value);
int rtXmlEncUIntValue(VXCTXT* pctxt, uint32_t value);
int rtXmlEncInt64Value(VXCTXT* pctxt, int64_t value);
int rtXmlEncUInt64Value(VXCTXT* pctxt, uint64_t value);
int rtXmlEncInt(VXCTXT* pctxt, int32_t value, const char* elemName, VXXMLNamespace* pNS);
int rtXmlEncUInt(VXCTXT* pctxt, uint32_t value, const char* elemName, VXXMLNamespace* pNS);
int rtXmlEncInt64(VXCTXT* pctxt, int64_t value, const char* elemName, VXXMLNamespace* pNS);
int rtXmlEncUInt64(VXCTXT* pctxt, uint64_t value, const char* elemName, VXXMLNamespace* pNS);
// "true" or "false" as text, or in XER style (flag 8) as an empty child element.
int rtXmlEncBoolValue(VXCTXT* pctxt, bool value);
int rtXmlEncBool(VXCTXT* pctxt, bool value, const char* elemName, VXXMLNamespace* pNS);
int rtXmlEncBinStrValue(VXCTXT* pctxt, uint64_t nbits, const uint8_t* data);
int rtXmlEncBitString(VXCTXT* pctxt, uint64_t nbits, const uint8_t* data, const char* elemName,
                      VXXMLNamespace* pNS);
int rtXmlEncBitStringExt(VXCTXT* pctxt, uint64_t nbits, const uint8_t* data, uint64_t dataSize,
                         const uint8_t* extData, const char* elemName, VXXMLNamespace* pNS);
int rtXmlEncNamedBitsValue(VXCTXT* pctxt, const XmlNamedBitsDict* table, uint64_t nbits,
                           const uint8_t* data);
int rtXmlEncNamedBits(VXCTXT* pctxt, const XmlNamedBitsDict* table, uint64_t nbits,
                      const uint8_t* data, const char* elemName, VXXMLNamespace* pNS);
int rtXmlEncHexStrValue(VXCTXT* pctxt, int64_t nocts, const uint8_t* data);
int rtXmlEncHexBinary(VXCTXT* pctxt, int64_t nocts, const uint8_t* data, const char* elemName,
                      VXXMLNamespace* pNS);

// Canonical attributes: kept aside while the start tag is open, written
// sorted when it closes.
int rtXmlEncStartAttrC14N(VXCTXT* pctxt);
int rtXmlEncAttrC14N(VXCTXT* pctxt);
int rtXmlEncEndAttrC14N(VXCTXT* pctxt);

// Namespace prefix stack: one frame per open element.
int rtXmlNSPush(VXCTXT* pctxt);
int rtXmlNSPop(VXCTXT* pctxt);
void rtXmlNSRemoveAll(VXCTXT* pctxt);
int rtXmlNSAddPrefixLink(VXCTXT* pctxt, const char* prefix, const char* uri,
                         const char* const* uriTable, int32_t count);
VXXMLNamespace* rtXmlNSAddNamespace(VXCTXT* pctxt, VXRTDList* pNSList, const char* prefix,
                                    const char* uri);
const char* rtXmlNSGetPrefix(VXCTXT* pctxt, const char* uri);
const char* rtXmlNSLookupPrefix(VXCTXT* pctxt, const char* prefix);
const char* rtXmlNSLookupPrefixFrag(VXCTXT* pctxt, const char* prefix, size_t prefixLen);
const char* rtXmlNSNewPrefix(VXCTXT* pctxt, const char* uri, VXRTDList* pNSList);
bool rtXmlNSEqual(const VXXMLNamespace* a, const VXXMLNamespace* b);

#endif
