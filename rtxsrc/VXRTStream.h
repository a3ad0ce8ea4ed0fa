// Stream classes: thin objects over the stream record of a context they
// hold. A stream object makes a plain context of its own; a buffer that
// reads from the stream shares that context.
#ifndef VXRTSTREAM_H
#define VXRTSTREAM_H

#include "VXRTContext.h"
#include "rtxStream.h"

class VXRTStreamIF {
 public:
   virtual int close() = 0;
   virtual int flush() = 0;
   virtual VXRTCtxtPtr getContext() = 0;
   virtual VXCTXT* getCtxtPtr() = 0;
   virtual bool isOpened() = 0;
   virtual ~VXRTStreamIF() {}
};

class VXRTStream : public VXRTStreamIF {
 protected:
   VXRTCtxtHolder mCtxtHolder;
   uint8_t mbAttached;  // the stream belongs to someone else: do not close it
   int mStatus;         // status of the last operation
   int mInitStatus;     // status of the construction

   VXRTStream();

 public:
   ~VXRTStream() override;

   int close() override;
   int flush() override;
   VXRTCtxtPtr getContext() override { return mCtxtHolder.getContext(); }
   VXCTXT* getCtxtPtr() override { return mCtxtHolder.getCtxtPtr(); }
   bool isOpened() override { return rtxStreamIsOpened(getCtxtPtr()); }

   virtual char* getErrorInfo() { return mCtxtHolder.getErrorInfo(); }
   virtual char* getErrorInfo(char* buf, size_t& size)
   {
      return mCtxtHolder.getErrorInfo(buf, size);
   }

   bool isInitialized() const { return mInitStatus == 0; }
};

class VXRTInputStreamIF : public VXRTStreamIF {
 public:
   virtual bool isA(int streamId) = 0;
   virtual size_t currentPos() = 0;
   virtual int getPosition(size_t* ppos) = 0;
   virtual bool markSupported() = 0;
   virtual int mark(size_t readAheadLimit) = 0;
   virtual long read(uint8_t* pDestBuf, size_t toReadBytes) = 0;
   virtual long readBlocking(uint8_t* pDestBuf, size_t toReadBytes) = 0;
   virtual int reset() = 0;
   virtual int setPosition(size_t pos) = 0;
   virtual int skip(size_t n) = 0;
};

// Operations return the status of construction if that failed; otherwise
// they forward to the stream functions, keep the status and record a
// failure in the context.
class VXRTInputStream : public VXRTStream, public VXRTInputStreamIF {
 protected:
   VXRTInputStream() {}

   // Keeps a result as the last status; a failure goes to the error list.
   long keepStatus(long result, int line);

 public:
   // Reader position in bytes (0 if it cannot be had).
   size_t currentPos() override;
   // Whether the stream record is of the given kind (VXRT_STREAM_ID_*).
   bool isA(int streamId) override;
   int getPosition(size_t* ppos) override;
   virtual int getStatus() { return mStatus; }
   bool markSupported() override;
   int mark(size_t readAheadLimit) override;
   long read(uint8_t* pDestBuf, size_t toReadBytes) override;
   long readBlocking(uint8_t* pDestBuf, size_t toReadBytes) override;
   int reset() override;
   int setPosition(size_t pos) override;
   int skip(size_t n) override;

   // Both bases declare these; one implementation serves both.
   int close() override { return VXRTStream::close(); }
   int flush() override { return VXRTStream::flush(); }
   VXRTCtxtPtr getContext() override { return VXRTStream::getContext(); }
   VXCTXT* getCtxtPtr() override { return VXRTStream::getCtxtPtr(); }
   bool isOpened() override { return VXRTStream::isOpened(); }
};

// Reads the caller's bytes in place; they must outlive the stream's use.
class VXRTMemoryInputStream : public VXRTInputStream {
 public:
   VXRTMemoryInputStream(const uint8_t* pMemBuf, size_t bufSize);
};

#endif
