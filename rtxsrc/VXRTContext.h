// Owners of a run-time context: the reference-counted VXRTContext, the
// counted pointer VXRTCtxtPtr, and the holder interface through which
// buffers and streams reach the context they work on.
#ifndef VXRTCONTEXT_H
#define VXRTCONTEXT_H

#include <new>

#include "rtxContext.h"
#include "rtxMemory.h"

// A VXCTXT with an owner. Born with a reference count of 0; the _unref that
// brings the count back to 0 deletes it. The count is a plain integer: a
// context and whatever refers to it belong to one thread at a time.
class VXRTContext {
 protected:
   VXCTXT mCtxt;
   uint32_t mnRefCnt;
   bool mbInitialized;
   int mStatus;  // a failure of the object, apart from the record's error list

 public:
   VXRTContext();
   // Takes over a set-up record by bitwise copy; the caller must not free
   // the original.
   explicit VXRTContext(VXCTXT* pctxt);
   virtual ~VXRTContext();

   VXRTContext(const VXRTContext&) = delete;
   VXRTContext& operator=(const VXRTContext&) = delete;

   void _ref() { mnRefCnt++; }
   void _unref()
   {
      if (--mnRefCnt == 0) delete this;
   }
   uint32_t getRefCount() const { return mnRefCnt; }

   VXCTXT* getPtr() { return &mCtxt; }
   bool isInitialized() const { return mbInitialized; }

   int setStatus(int stat)
   {
      mStatus = stat;
      return stat;
   }
   // The object's own status if set, else the last entry of the error list.
   int getStatus();
   void resetErrorInfo();

   // The error report in an operator new[] array (the caller deletes it);
   // *pLen gets its length, or (size_t)-1 if no report could be had.
   char* getErrorInfo(size_t* pLen);
   char* getErrorInfo() { return getErrorInfo(nullptr); }
   // The report written into buf of capacity size; a null buf gives the
   // first form, with the length in size.
   char* getErrorInfo(char* buf, size_t& size);

   void* memAlloc(size_t nbytes) { return rtxMemAlloc(&mCtxt, nbytes); }
   void* memRealloc(void* ptr, size_t nbytes) { return rtxMemRealloc(&mCtxt, ptr, nbytes); }
   void memFreePtr(void* ptr) { rtxMemFreePtr(&mCtxt, ptr); }
};

// Allocation of an object from a context's heap. Null (and no construction)
// for a null context or an exhausted heap.
void* operator new(size_t nbytes, VXCTXT* pctxt) noexcept;
void operator delete(void* ptr, VXCTXT* pctxt) noexcept;

// A counted pointer to a VXRTContext.
class VXRTCtxtPtr {
 protected:
   VXRTContext* mPointer;

 public:
   VXRTCtxtPtr(VXRTContext* rf = nullptr) : mPointer(rf)
   {
      if (mPointer != nullptr) mPointer->_ref();
   }
   VXRTCtxtPtr(const VXRTCtxtPtr& o) : mPointer(o.mPointer)
   {
      if (mPointer != nullptr) mPointer->_ref();
   }
   virtual ~VXRTCtxtPtr()
   {
      if (mPointer != nullptr) mPointer->_unref();
   }

   // The old reference is dropped before the new one is taken: assigning
   // the pointer already held, when it is the last reference, destroys it.
   VXRTCtxtPtr& operator=(VXRTContext* rf)
   {
      if (mPointer != nullptr) mPointer->_unref();
      mPointer = rf;
      if (mPointer != nullptr) mPointer->_ref();
      return *this;
   }
   VXRTCtxtPtr& operator=(const VXRTCtxtPtr& o) { return operator=(o.mPointer); }

   VXRTContext* operator->() const { return mPointer; }
   operator VXRTContext*() const { return mPointer; }
   bool isNull() const { return mPointer == nullptr; }
   VXCTXT* getCtxtPtr() const { return (mPointer != nullptr) ? mPointer->getPtr() : nullptr; }
};

// What an object that works on a context offers about it.
class VXRTCtxtHolderIF {
 public:
   virtual ~VXRTCtxtHolderIF() {}
   virtual VXRTCtxtPtr getContext() = 0;
   virtual VXCTXT* getCtxtPtr() = 0;
   virtual char* getErrorInfo() = 0;
   virtual char* getErrorInfo(char* buf, size_t& size) = 0;
   virtual int getStatus() = 0;
   virtual void printErrorInfo() = 0;
   virtual void resetErrorInfo() = 0;
};

// Holds one counted context; makes a plain one if none is given.
class VXRTCtxtHolder : public VXRTCtxtHolderIF {
 protected:
   VXRTCtxtPtr mpContext;

 public:
   explicit VXRTCtxtHolder(VXRTContext* pContext = nullptr);
   ~VXRTCtxtHolder() override {}

   VXRTCtxtPtr getContext() override { return mpContext; }
   VXCTXT* getCtxtPtr() override { return mpContext.getCtxtPtr(); }
   char* getErrorInfo() override { return mpContext->getErrorInfo(); }
   char* getErrorInfo(char* buf, size_t& size) override
   {
      return mpContext->getErrorInfo(buf, size);
   }
   int getStatus() override { return mpContext->getStatus(); }
   void printErrorInfo() override;
   void resetErrorInfo() override { mpContext->resetErrorInfo(); }

   // The context object itself, without a counted temporary.
   VXRTContext* getContextObj() const { return mpContext; }
};

#endif
