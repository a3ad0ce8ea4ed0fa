#include "VXRTStream.h"
#include "VXXMLBuffers.h"
#include "rtXmlPullInternal.h"
#include "rtxError.h"
#include "rtxMemory.h"
#include "rtxStream.h"

// The stream's context becomes this buffer's: the pull reader takes the
// stream's bytes in place.
VXXMLDecodeBuffer::VXXMLDecodeBuffer(VXRTInputStream& inputStream)
    : VXXMLMessageBuffer(XMLDecode, (VXRTContext*)inputStream.getContext()),
      mpInputStream(&inputStream),
      mbOwnStream(false)
{
}

VXXMLDecodeBuffer::VXXMLDecodeBuffer(const uint8_t* pMsgBuf, size_t msgBufLen)
    : VXXMLDecodeBuffer(*new VXRTMemoryInputStream(pMsgBuf, msgBufLen))
{
   mbOwnStream = true;
}

VXXMLDecodeBuffer::~VXXMLDecodeBuffer()
{
   if (mbOwnStream) delete mpInputStream;
}

void VXXMLDecodeBuffer::setMaxErrors(uint32_t maxErrors)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(getCtxtPtr());
   if (info != nullptr) info->maxSaxErrors = maxErrors;
}

namespace {

// Records `status` at the reader's position.
int refuse(XmlReader* r, int status)
{
   rtXmlRdErrAddSrcPos(r, false);
   return VX_LOG_ERRNEW(r->mpCtxt, status);
}

// Reads every event to the end of the document, which must hold an element;
// the reader checks the nesting and the markup. It ends the document at the
// root's end tag, so what follows the root is not looked at.
int readDocument(VXCTXT* pctxt)
{
   int stat = rtXmlpCreateReader(pctxt);
   if (stat != 0) return stat;
   XmlReader* r = rtXmlpGetReader(pctxt);
   bool root = false;
   for (int ev = (int)rtXmlRdEvent(r); ev != XMLRD_ENDDOC; ev = rtXmlRdNext(r)) {
      if (ev < 0) return ev;
      root = root || ev == XMLRD_STARTTAG;
   }
   return root && r->depth == 0 ? 0 : refuse(r, XML_E_UNEXPEOF);
}

}  // namespace

bool VXXMLDecodeBuffer::isWellFormed()
{
   VXCTXT* pctxt = getCtxtPtr();
   XmlCtxtInfo* info = pctxt != nullptr ? rtXmlGetCtxtInfo(pctxt) : nullptr;
   if (info == nullptr || rtxStreamMark(pctxt, 0) != 0) return false;
   uint64_t errors = rtxErrGetErrorCnt(pctxt);
   int stat = readDocument(pctxt);
   bool ok = stat == 0 && rtxErrGetErrorCnt(pctxt) == errors;
   // The next decode starts a reader of its own at the mark.
   rtXmlpFreeReader(pctxt, info->pXmlReader);
   info->pXmlReader = nullptr;
   return rtxStreamReset(pctxt) == 0 && ok;
}

int VXXMLDecodeBuffer::parseElementName(char** ppName)
{
   VXCTXT* pctxt = getCtxtPtr();
   XmlCtxtInfo* info = pctxt != nullptr ? rtXmlGetCtxtInfo(pctxt) : nullptr;
   if (ppName == nullptr)
      return pctxt != nullptr ? VX_LOG_ERRNEW(pctxt, RTERR_INVPARAM) : RTERR_INVPARAM;
   *ppName = nullptr;
   if (info == nullptr) return RTERR_NOTINIT;
   int stat = rtxStreamMark(pctxt, 0);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   stat = rtXmlpCreateReader(pctxt);
   XmlReader* r = stat == 0 ? rtXmlpGetReader(pctxt) : nullptr;
   int ev = r != nullptr ? (int)rtXmlRdEvent(r) : stat;
   while (ev > 0 && ev != XMLRD_STARTTAG && ev != XMLRD_ENDDOC) ev = rtXmlRdNext(r);
   if (ev == XMLRD_STARTTAG) {
      const uint8_t* name;
      size_t len;
      rtXmlRdGetTagName(r, &name, &len, nullptr);
      char* copy = static_cast<char*>(rtxMemAlloc(pctxt, len + 1));
      if (copy != nullptr) {
         memcpy(copy, name, len);
         copy[len] = 0;
         *ppName = copy;
         stat = 0;
      } else {
         stat = VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
      }
   } else {
      stat = ev < 0 ? ev : refuse(r, XML_E_UNEXPEOF);
   }
   // The next decode starts a reader of its own at the mark.
   rtXmlpFreeReader(pctxt, info->pXmlReader);
   info->pXmlReader = nullptr;
   int reset = rtxStreamReset(pctxt);
   return stat != 0 ? stat : reset;
}
