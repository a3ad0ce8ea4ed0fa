// Named event handlers: objects registered in a context (through
// ASN1MessageBuffer::addEventHandler) that the decoders tell about every
// element they enter and leave and every value they read. The static
// invoke functions walk the context's handler list; with no handler
// registered, which is the usual case, each costs two tests and no call.
#ifndef ASN1EVENTHANDLER_H
#define ASN1EVENTHANDLER_H

#include "rtContext.h"
#include "rtxContext.h"

class Asn1NamedEventHandler {
 public:
   virtual ~Asn1NamedEventHandler();

   virtual void startElement(const char* name, int index) = 0;
   virtual void endElement(const char* name, int index) = 0;
   virtual void boolValue(bool /*value*/) {}
   virtual void intValue(int32_t /*value*/) {}
   virtual void uIntValue(uint32_t /*value*/) {}
   virtual void int64Value(int64_t /*value*/) {}
   virtual void uInt64Value(uint64_t /*value*/) {}
   virtual void bitStrValue(uint32_t /*numbits*/, const uint8_t* /*data*/) {}
   virtual void octStrValue(uint32_t /*numocts*/, const uint8_t* /*data*/) {}
   virtual void charStrValue(const char* /*value*/) {}
   virtual void charStrValue(uint32_t /*nchars*/, const uint8_t* /*data*/) {}
   virtual void charStrValue(uint32_t /*nchars*/, const uint16_t* /*data*/) {}
   virtual void charStrValue(uint32_t /*nchars*/, const uint32_t* /*data*/) {}
   virtual void nullValue() {}
   virtual void oidValue(uint32_t /*numSubIds*/, const uint32_t* /*subIds*/) {}
   virtual void realValue(double /*value*/) {}
   virtual void enumValue(uint32_t /*value*/, const char* /*text*/) {}
   virtual void openTypeValue(uint32_t /*numocts*/, const void* /*data*/) {}
   // The 64-bit family.
   virtual void startElement64(const char* name, int64_t index) { startElement(name, (int)index); }
   virtual void endElement64(const char* name, int64_t index) { endElement(name, (int)index); }
   virtual void bitStrValue64(uint64_t /*numbits*/, const uint8_t* /*data*/) {}
   virtual void octStrValue64(uint64_t /*numocts*/, const uint8_t* /*data*/) {}
   virtual void charStrValue64(uint64_t /*nchars*/, const uint8_t* /*data*/) {}
   virtual void charStrValue64(uint64_t /*nchars*/, const uint16_t* /*data*/) {}
   virtual void charStrValue64(uint64_t /*nchars*/, const uint32_t* /*data*/) {}
   virtual void openTypeValue64(uint64_t /*numocts*/, const void* /*data*/) {}

   // Calls op on every registered handler, in order of registration. The
   // test for an empty list is inlined into every decoder; the walk itself
   // stays out of line so that the decoders carry no loop for it. The
   // operations capture their arguments by value, so that nothing has to be
   // kept in memory for them while the list is empty.
   template <typename Op>
   static VX_INLINE void forEach(VXCTXT* pctxt, Op op)
   {
      const VXASN1Info* info = pctxt->pASN1Info;
      if (VX_LIKELY(info == nullptr || info->eventHandlers.count == 0)) return;
      walk(info, op);
   }
   template <typename Op>
   static __attribute__((noinline, cold)) void walk(const VXASN1Info* info, Op op)
   {
      for (const VXRTSListNode* node = info->eventHandlers.head; node != nullptr; node = node->next)
         op(static_cast<Asn1NamedEventHandler*>(node->data));
   }

   // Creates the ASN.1 information record when the context has none.
   static VX_INLINE void invokeStartElement(VXCTXT* pctxt, const char* name, int index)
   {
      if (VX_UNLIKELY(pctxt->pASN1Info == nullptr)) rtCtxtInitASN1Info(pctxt);
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->startElement(name, index); });
   }
   static VX_INLINE void invokeEndElement(VXCTXT* pctxt, const char* name, int index)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->endElement(name, index); });
   }
   static VX_INLINE void invokeBoolValue(VXCTXT* pctxt, bool value)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->boolValue(value); });
   }
   static VX_INLINE void invokeIntValue(VXCTXT* pctxt, int32_t value)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->intValue(value); });
   }
   static VX_INLINE void invokeUIntValue(VXCTXT* pctxt, uint32_t value)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->uIntValue(value); });
   }
   static VX_INLINE void invokeInt64Value(VXCTXT* pctxt, int64_t value)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->int64Value(value); });
   }
   static VX_INLINE void invokeUInt64Value(VXCTXT* pctxt, uint64_t value)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->uInt64Value(value); });
   }
   static VX_INLINE void invokeBitStrValue(VXCTXT* pctxt, uint32_t numbits, const uint8_t* data)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->bitStrValue(numbits, data); });
   }
   static VX_INLINE void invokeOctStrValue(VXCTXT* pctxt, uint32_t numocts, const uint8_t* data)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->octStrValue(numocts, data); });
   }
   static VX_INLINE void invokeCharStrValue(VXCTXT* pctxt, const char* value)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->charStrValue(value); });
   }
   static VX_INLINE void invokeCharStrValue(VXCTXT* pctxt, uint32_t nchars, const uint8_t* data)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->charStrValue(nchars, data); });
   }
   static VX_INLINE void invokeCharStrValue(VXCTXT* pctxt, uint32_t nchars, const uint16_t* data)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->charStrValue(nchars, data); });
   }
   static VX_INLINE void invokeCharStrValue(VXCTXT* pctxt, uint32_t nchars, const uint32_t* data)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->charStrValue(nchars, data); });
   }
   static VX_INLINE void invokeNullValue(VXCTXT* pctxt)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->nullValue(); });
   }
   static VX_INLINE void invokeOidValue(VXCTXT* pctxt, uint32_t numSubIds, const uint32_t* subIds)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->oidValue(numSubIds, subIds); });
   }
   static VX_INLINE void invokeRealValue(VXCTXT* pctxt, double value)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->realValue(value); });
   }
   static VX_INLINE void invokeEnumValue(VXCTXT* pctxt, uint32_t value, const char* text)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->enumValue(value, text); });
   }
   static VX_INLINE void invokeOpenTypeValue(VXCTXT* pctxt, uint32_t numocts, const void* data)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->openTypeValue(numocts, data); });
   }
};

// The invokers of the 64-bit family (counts and indexes of 64 bits).
class Asn1NamedEventHandler64 : public Asn1NamedEventHandler {
 public:
   static VX_INLINE void invokeStartElement(VXCTXT* pctxt, const char* name, int64_t index)
   {
      if (VX_UNLIKELY(pctxt->pASN1Info == nullptr)) rtCtxtInitASN1Info(pctxt);
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->startElement64(name, index); });
   }
   static VX_INLINE void invokeEndElement(VXCTXT* pctxt, const char* name, int64_t index)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->endElement64(name, index); });
   }
   static VX_INLINE void invokeBitStrValue(VXCTXT* pctxt, uint64_t numbits, const uint8_t* data)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->bitStrValue64(numbits, data); });
   }
   static VX_INLINE void invokeOctStrValue(VXCTXT* pctxt, uint64_t numocts, const uint8_t* data)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->octStrValue64(numocts, data); });
   }
   static VX_INLINE void invokeCharStrValue(VXCTXT* pctxt, uint64_t nchars, const uint8_t* data)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->charStrValue64(nchars, data); });
   }
   static VX_INLINE void invokeCharStrValue(VXCTXT* pctxt, uint64_t nchars, const uint16_t* data)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->charStrValue64(nchars, data); });
   }
   static VX_INLINE void invokeCharStrValue(VXCTXT* pctxt, uint64_t nchars, const uint32_t* data)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->charStrValue64(nchars, data); });
   }
   static VX_INLINE void invokeOpenTypeValue(VXCTXT* pctxt, uint64_t numocts, const void* data)
   {
      forEach(pctxt, [=](Asn1NamedEventHandler* h) { h->openTypeValue64(numocts, data); });
   }
};

#endif
