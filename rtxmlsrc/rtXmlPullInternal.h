// Pieces of the pull reader shared by its units.
#ifndef RTXMLPULLINTERNAL_H
#define RTXMLPULLINTERNAL_H

#include "rtXmlDec.h"
#include "rtXmlPull.h"
#include "rtxError.h"

#define XMLRD_NO_MARK (~(uint64_t)0)

// The state tables, for the row counts of scratch builds made with
// VX_XMLRD_ROW_STATS.
enum {
   XMLRD_T_DOCSTART,
   XMLRD_T_AFTERDECL,
   XMLRD_T_MAIN,
   XMLRD_T_DECL,
   XMLRD_T_PI,
   XMLRD_T_COMMENT,
   XMLRD_T_STARTTAG,
   XMLRD_T_ENDTAG,
   XMLRD_T_CHARS,
   XMLRD_T_CDATA,
   XMLRD_T_DOCTYPE,
   XMLRD_TABLE_COUNT
};
#ifdef VX_XMLRD_ROW_STATS
extern uint32_t g_xmlRdRowHits[XMLRD_TABLE_COUNT][18];
#endif

// Stacks of fixed-size units from the context's heap.
void rtXmlRdStackInit(VXCTXT* pctxt, XmlRdStack* pStack, size_t unitSize, size_t capacity);
void rtXmlRdStackReinit(VXCTXT* pctxt, XmlRdStack* pStack);
void rtXmlRdStackFree(VXCTXT* pctxt, XmlRdStack* pStack);
int rtXmlRdStackEnsureCapacity(VXCTXT* pctxt, XmlRdStack* pStack, size_t n);
void* rtXmlRdStackPushNew(VXCTXT* pctxt, XmlRdStack* pStack);
void* rtXmlRdStackPop(XmlRdStack* pStack);
VX_INLINE void* rtXmlRdStackTop(const XmlRdStack* pStack)
{
   return pStack->count > 0 ? pStack->data + (pStack->count - 1) * pStack->unitSize : nullptr;
}
VX_INLINE void* rtXmlRdStackAt(const XmlRdStack* pStack, size_t index)
{
   return index < pStack->count ? pStack->data + index * pStack->unitSize : nullptr;
}

// Records an XML status of the reader (with its parameters added first).
int rtXmlRdSetError(XmlReader* pReader, int status, int line);
#define XMLRD_FAIL(pReader, stat) rtXmlRdSetError(pReader, stat, __LINE__)

// Namespaces of the current start tag, resolved on first use.
int rtXmlRdProcessStartElement(XmlReader* pReader);
int rtXmlRdGetNamespaceIndex(XmlReader* pReader, const uint8_t* prefix, size_t len);
void rtXmlRdPopNamespaces(XmlReader* pReader);

// The byte `ahead` bytes behind readPos, reading on as needed; -1 if the
// input ends before it.
int rtXmlRdPeekAt(XmlReader* pReader, uint64_t ahead);

// Decodes a reference ("&" up to, not including, ";") into charBuf + 1: its
// length in bytes with the code point in *pCode, or -1 if it is unknown.
int rtXmlRdDecodeReference(XmlReader* pReader, const uint8_t* ref, size_t len, uint32_t* pCode);

// The done mark kept off the event code.
VX_INLINE uint32_t rtXmlRdEvent(const XmlReader* pReader)
{
   return pReader->lastEvent & ~XMLRD_DONE_MARK;
}

// The reader of a decode, taken straight from pXMLInfo once it exists;
// rtXmlpGetReader creates it, or records why it cannot be had.
inline XmlReader* rtXmlpReader(VXCTXT* pctxt)
{
   const XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info != nullptr && info->pXmlReader != nullptr) return info->pXmlReader;
   return rtXmlpGetReader(pctxt);
}

#endif
