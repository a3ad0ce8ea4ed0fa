// The reference-counted context object and its holder.
#include "VXRTContext.h"

#include "rtxError.h"

VXRTContext::VXRTContext() : mnRefCnt(0), mbInitialized(false), mStatus(0)
{
   mbInitialized = (rtxInitContext(&mCtxt) == 0);
}

VXRTContext::VXRTContext(VXCTXT* pctxt) : mnRefCnt(0), mbInitialized(true), mStatus(0)
{
   memcpy(&mCtxt, pctxt, sizeof(VXCTXT));
   // The container stack names its context; it is this record from now on.
   if (mCtxt.containerStack.pctxt == pctxt) mCtxt.containerStack.pctxt = &mCtxt;
}

VXRTContext::~VXRTContext()
{
   if (mbInitialized) rtxFreeContext(&mCtxt);
}

int VXRTContext::getStatus() { return (mStatus != 0) ? mStatus : rtxErrGetLastError(&mCtxt); }

void VXRTContext::resetErrorInfo()
{
   mStatus = 0;
   rtxErrReset(&mCtxt);
}

char* VXRTContext::getErrorInfo(size_t* pLen)
{
   char* text = rtxErrGetText(&mCtxt, nullptr, nullptr);
   char* copy = nullptr;
   size_t len = (size_t)-1;
   if (text != nullptr) {
      size_t textLen = strlen(text);
      copy = new (std::nothrow) char[textLen + 1];
      if (copy != nullptr) {
         memcpy(copy, text, textLen + 1);
         len = textLen;
      }
      rtxMemFreePtr(&mCtxt, text);
   }
   if (pLen != nullptr) *pLen = len;
   return copy;
}

char* VXRTContext::getErrorInfo(char* buf, size_t& size)
{
   if (buf == nullptr) return getErrorInfo(&size);
   return rtxErrGetText(&mCtxt, buf, &size);
}

void* operator new(size_t nbytes, VXCTXT* pctxt) noexcept
{
   return (pctxt != nullptr) ? rtxMemAlloc(pctxt, nbytes) : nullptr;
}

void operator delete(void* ptr, VXCTXT* pctxt) noexcept
{
   if (pctxt != nullptr && ptr != nullptr) rtxMemFreePtr(pctxt, ptr);
}

VXRTCtxtHolder::VXRTCtxtHolder(VXRTContext* pContext)
    : mpContext(pContext != nullptr ? pContext : new VXRTContext())
{
}

void VXRTCtxtHolder::printErrorInfo() { rtxErrPrint(getCtxtPtr()); }
