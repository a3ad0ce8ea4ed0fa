// Stream classes over the stream functions.
#include "VXRTStream.h"

#include "rtxError.h"

VXRTStream::VXRTStream() : mCtxtHolder(nullptr), mbAttached(0), mStatus(0), mInitStatus(0)
{
   mStatus = mInitStatus = mCtxtHolder.getStatus();
   if (mInitStatus == 0) mStatus = mInitStatus = rtxStreamInit(getCtxtPtr());
}

VXRTStream::~VXRTStream()
{
   if (!mbAttached && isOpened()) close();
}

int VXRTStream::close()
{
   int stat = rtxStreamClose(getCtxtPtr());
   return stat < 0 ? VX_LOG_ERR(getCtxtPtr(), stat) : stat;
}

int VXRTStream::flush()
{
   if (!isInitialized()) return mInitStatus;
   return rtxStreamFlush(getCtxtPtr());
}

long VXRTInputStream::keepStatus(long result, int line)
{
   mStatus = result < 0 ? (int)result : 0;
   if (result < 0) return rtxErrSetData(getCtxtPtr(), (int)result, VX_MODULE, line);
   return result;
}

size_t VXRTInputStream::currentPos()
{
   size_t pos = 0;
   return getPosition(&pos) == 0 ? pos : 0;
}

bool VXRTInputStream::isA(int streamId)
{
   VXCTXT* pctxt = getCtxtPtr();
   return pctxt != nullptr && pctxt->pStream != nullptr && pctxt->pStream->id == (uint32_t)streamId;
}

int VXRTInputStream::getPosition(size_t* ppos)
{
   if (!isInitialized()) return mInitStatus;
   return (int)keepStatus(rtxStreamGetPos(getCtxtPtr(), ppos), __LINE__);
}

bool VXRTInputStream::markSupported()
{
   return isInitialized() && rtxStreamMarkSupported(getCtxtPtr());
}

int VXRTInputStream::mark(size_t readAheadLimit)
{
   if (!isInitialized()) return mInitStatus;
   return (int)keepStatus(rtxStreamMark(getCtxtPtr(), readAheadLimit), __LINE__);
}

long VXRTInputStream::read(uint8_t* pDestBuf, size_t toReadBytes)
{
   if (!isInitialized()) return mInitStatus;
   return keepStatus(rtxStreamRead(getCtxtPtr(), pDestBuf, toReadBytes), __LINE__);
}

long VXRTInputStream::readBlocking(uint8_t* pDestBuf, size_t toReadBytes)
{
   // Memory input never waits: a blocking read is a read.
   return read(pDestBuf, toReadBytes);
}

int VXRTInputStream::reset()
{
   if (!isInitialized()) return mInitStatus;
   return (int)keepStatus(rtxStreamReset(getCtxtPtr()), __LINE__);
}

int VXRTInputStream::setPosition(size_t pos)
{
   if (!isInitialized()) return mInitStatus;
   return (int)keepStatus(rtxStreamSetPos(getCtxtPtr(), pos), __LINE__);
}

int VXRTInputStream::skip(size_t n)
{
   if (!isInitialized()) return mInitStatus;
   return (int)keepStatus(rtxStreamSkip(getCtxtPtr(), n), __LINE__);
}

VXRTMemoryInputStream::VXRTMemoryInputStream(const uint8_t* pMemBuf, size_t bufSize)
{
   if (!isInitialized()) return;
   int stat = rtxStreamMemoryAttach(getCtxtPtr(), pMemBuf, bufSize, VXRT_STREAM_INPUT);
   mStatus = mInitStatus = stat;
   if (stat < 0) VX_LOG_ERR(getCtxtPtr(), stat);
}
