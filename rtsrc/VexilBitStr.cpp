// Base of the bit string control classes.
#include "VexilBitStr.h"

VexilBitStr::VexilBitStr(uint8_t* data, size_t capacity)
    : VexilType(), mpData(data), mpNumBits(nullptr), mCapacity(capacity), mpExtData(nullptr)
{
}

VexilBitStr::VexilBitStr(uint8_t* data, uint8_t* numbits, size_t capacity, uint8_t** extdata)
    : VexilType(), mpData(data), mpNumBits(numbits), mCapacity(capacity), mpExtData(extdata)
{
}

VexilBitStr::VexilBitStr(VXRTMessageBufferIF& msgBuf, uint8_t* data, size_t capacity)
    : VexilType(msgBuf), mpData(data), mpNumBits(nullptr), mCapacity(capacity), mpExtData(nullptr)
{
}

VexilBitStr::VexilBitStr(VXRTMessageBufferIF& msgBuf, uint8_t* data, uint8_t* numbits,
                         size_t capacity, uint8_t** extdata)
    : VexilType(msgBuf), mpData(data), mpNumBits(numbits), mCapacity(capacity), mpExtData(extdata)
{
}

int VexilBitStr::set(size_t bit)
{
   if (bit >= mCapacity) return RTERR_OUTOFBND;
   mpData[bit / 8] = (uint8_t)(mpData[bit / 8] | (0x80u >> (bit % 8)));
   if (mpNumBits != nullptr && bit + 1 > *mpNumBits) *mpNumBits = (uint8_t)(bit + 1);
   return 0;
}

int VexilBitStr::clear(size_t bit)
{
   if (bit >= mCapacity) return RTERR_OUTOFBND;
   mpData[bit / 8] = (uint8_t)(mpData[bit / 8] & ~(0x80u >> (bit % 8)));
   return 0;
}

bool VexilBitStr::isSet(size_t bit) const
{
   if (bit >= mCapacity) return false;
   return (mpData[bit / 8] & (0x80u >> (bit % 8))) != 0;
}
