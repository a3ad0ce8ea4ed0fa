// Base of the control classes of BIT STRING types. It works on the bytes of
// a record, left-aligned (bit 0 is the high bit of the first byte). A fixed
// string has only its bytes; a variable one also its 8-bit count and, for
// an extensible size, the pointer to the bits beyond the root.
#ifndef VEXILBITSTR_H
#define VEXILBITSTR_H

#include "VexilType.h"

class VexilBitStr : public VexilType {
 protected:
   uint8_t* mpData;
   uint8_t* mpNumBits;   // null for a fixed string
   size_t mCapacity;     // bits the bytes can hold
   uint8_t** mpExtData;  // null unless the size is extensible

 public:
   VexilBitStr(uint8_t* data, size_t capacity);
   VexilBitStr(uint8_t* data, uint8_t* numbits, size_t capacity, uint8_t** extdata);
   VexilBitStr(VXRTMessageBufferIF& msgBuf, uint8_t* data, size_t capacity);
   VexilBitStr(VXRTMessageBufferIF& msgBuf, uint8_t* data, uint8_t* numbits, size_t capacity,
               uint8_t** extdata);
   ~VexilBitStr() override {}

   // Sets or clears one bit; a variable string grows its count to cover it.
   // A bit beyond the bytes gives -19.
   int set(size_t bit);
   int clear(size_t bit);
   bool isSet(size_t bit) const;
   // The count of a variable string, the capacity of a fixed one.
   size_t getNumBits() const { return mpNumBits != nullptr ? *mpNumBits : mCapacity; }
   size_t getCapacity() const { return mCapacity; }
   uint8_t** getExtData() { return mpExtData; }
};

#endif
