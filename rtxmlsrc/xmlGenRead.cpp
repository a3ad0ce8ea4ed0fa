// The reading steps of the generated XML decoders (see xmlGenRead.h).
#include "xmlGenRead.h"

#include <cstring>

#include "rtXmlErr.h"
#include "rtXmlPullInternal.h"
#include "rtxUTF8.h"

namespace {

// The two children of a BOOLEAN element.
const XmlElemDescr kBoolTab[] = {{"true", 4, 0, 0}, {"false", 5, 0, 1}};

}  // namespace

int xmlGenDecStart(VXCTXT* pctxt)
{
   if (rtXmlGetCtxtInfo(pctxt) == nullptr) {
      rtErrXmlInit();
      int stat = rtXmlInitCtxtAppInfo(pctxt);
      if (stat != 0) return stat;
   }
   rtxCtxtSetFlag(pctxt, VXCTXT_FLAG_NOXMLNS);
   return rtXmlpCreateReader(pctxt);
}

int xmlGenDecFinish(VXCTXT* pctxt)
{
   if (rtGenConsVioPending(pctxt) != 0) return RTERR_CONSVIO;
   return rtxErrGetStatus(pctxt);
}

int xmlGenDecBool(VXCTXT* pctxt, uint8_t* pvalue)
{
   int id = rtXmlpGetNextElemID(pctxt, kBoolTab, 2, -1, true);
   if (id == XML_OK_EOB) return VX_LOG_ERRNEW(pctxt, XML_E_ELEMSMISRQ);
   if (id < 0) return VX_LOG_ERR(pctxt, id);
   int stat = rtXmlDecEmptyElement(pctxt);
   if (stat != 0) return stat;
   stat = rtXmlpMatchEndTag(pctxt, -1);
   if (stat != 0) return stat;
   *pvalue = id == 0;
   return 0;
}

int xmlGenDecEnum(VXCTXT* pctxt, const VXEnumItem* items, size_t count, uint32_t* pvalue)
{
   // No row: every child comes back current and unmarked, to be looked up
   // here without a copy of its name.
   int id = rtXmlpGetNextElemID(pctxt, nullptr, 0, -1, false);
   if (id == XML_OK_EOB) return VX_LOG_ERRNEW(pctxt, XML_E_ELEMSMISRQ);
   if (id != RTERR_UNEXPELEM) return VX_LOG_ERR(pctxt, id);
   XmlReader* r = rtXmlpReader(pctxt);
   const uint8_t* name;
   size_t len;
   int16_t ns;
   rtXmlRdGetTagName(r, &name, &len, &ns);
   if (ns != 0) {
      rtxErrAddStrnParm(pctxt, (const char*)name, len);
      rtXmlRdErrAddSrcPos(r, false);
      return VX_LOG_ERRNEW(pctxt, RTERR_UNEXPELEM);
   }
   int row = rtxLookupEnum((const char*)name, len, items, count);
   if (row < 0) return RTERR_INVENUM;
   rtXmlRdMarkLastEventDone(r);
   // The identifier's own name replaces "<unknown>" on the name stack.
   if (pctxt->elemNameStack.tail != nullptr)
      pctxt->elemNameStack.tail->data = (void*)items[row].name;
   int stat = rtXmlDecEmptyElement(pctxt);
   if (stat != 0) return stat;
   stat = rtXmlpMatchEndTag(pctxt, -1);
   if (stat != 0) return stat;
   *pvalue = (uint32_t)items[row].value;
   return 0;
}

namespace {

// The current element whole, as its source text, in a new open type.
int keepElement(VXCTXT* pctxt, ASN1OpenType** pvalue)
{
   ASN1OpenType* ot = static_cast<ASN1OpenType*>(rtxMemAllocZ(pctxt, sizeof(ASN1OpenType)));
   if (ot == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
   const char* text = nullptr;
   int stat = rtXmlpDecAnyElem(pctxt, &text);
   if (stat != 0) {
      rtxMemFreePtr(pctxt, ot);
      return stat;
   }
   ot->data = reinterpret_cast<const uint8_t*>(text);
   ot->numocts = rtxUTF8LenBytes(text);
   *pvalue = ot;
   return rtXmlpMatchEndTag(pctxt, -1);
}

}  // namespace

int xmlGenDecExtElems(VXCTXT* pctxt, ASN1TSeqExt* list)
{
   int id;
   do {
      ASN1OpenType* ot = nullptr;
      int stat = keepElement(pctxt, &ot);
      if (stat != 0) return stat;
      if (rtxDListAppend(pctxt, list, ot) == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
      id = rtXmlpGetNextElemID(pctxt, nullptr, 0, -1, false);
   } while (id == RTERR_UNEXPELEM);
   if (id < 0) return VX_LOG_ERR(pctxt, id);
   rtXmlpMarkLastEventActive(pctxt);
   return 0;
}

int xmlGenDecExtAlt(VXCTXT* pctxt, ASN1OpenType** pvalue)
{
   // The element is current and unmarked, its name pushed as "<unknown>":
   // the end tag of the kept element pops it.
   return keepElement(pctxt, pvalue);
}

int xmlGenDecOpenElem(VXCTXT* pctxt, const XmlElemDescr* row)
{
   int id = rtXmlpGetNextElemID(pctxt, row, 1, -1, false);
   if (id == XML_OK_EOB) return VX_LOG_ERRNEW(pctxt, XML_E_ELEMSMISRQ);
   if (id == RTERR_UNEXPELEM) {
      XmlReader* r = rtXmlpReader(pctxt);
      const uint8_t* name;
      size_t len;
      rtXmlRdGetTagName(r, &name, &len, nullptr);
      rtxErrAddStrnParm(pctxt, (const char*)name, len);
      rtXmlRdErrAddSrcPos(r, false);
      return VX_LOG_ERRNEW(pctxt, RTERR_UNEXPELEM);
   }
   return id < 0 ? VX_LOG_ERR(pctxt, id) : 0;
}

int xmlGenSpreadBits(VXCTXT* pctxt, const uint8_t* bits, uint64_t nbits, uint8_t* data,
                     size_t rootBytes, uint8_t* pnbits, uint8_t** pext)
{
   size_t nbytes = (size_t)((nbits + 7) / 8);
   size_t root = nbytes < rootBytes ? nbytes : rootBytes;
   memset(data, 0, rootBytes);
   memcpy(data, bits, root);
   *pext = nullptr;
   if (nbytes > rootBytes) {
      uint8_t* ext = static_cast<uint8_t*>(rtxMemAlloc(pctxt, nbytes - rootBytes));
      if (ext == nullptr) return RTERR_NOMEM;
      memcpy(ext, bits + rootBytes, nbytes - rootBytes);
      *pext = ext;
   }
   *pnbits = (uint8_t)nbits;
   return 0;
}

int xmlGenDecBitStrExt(VXCTXT* pctxt, uint8_t* data, size_t rootBytes, uint8_t* pnbits,
                       uint8_t** pext)
{
   // 255 bits fit the count; 256 tell a longer string, and more than that
   // fail the digit reader (-13).
   uint8_t bits[32];
   uint64_t nbits = 0;
   int stat = rtXmlpDecBitString64(pctxt, bits, &nbits, sizeof(bits));
   if (stat != 0) return stat;
   if (nbits > 255) return RTERR_CONSVIO;
   stat = xmlGenSpreadBits(pctxt, bits, nbits, data, rootBytes, pnbits, pext);
   return stat != 0 ? VX_LOG_ERRNEW(pctxt, stat) : 0;
}
