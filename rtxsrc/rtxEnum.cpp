#include "rtxEnum.h"

#include "rtxUTF8.h"

static const VXRTEnumItem* rowAt(const void* items, size_t stride, size_t i)
{
   return reinterpret_cast<const VXRTEnumItem*>(static_cast<const char*>(items) + i * stride);
}

int rtxLookupEnumStride(const char* text, size_t length, const void* items, size_t stride,
                        size_t count)
{
   if (text == nullptr || items == nullptr) return RTERR_INVENUM;
   if (length == (size_t)-1) length = strlen(text);
   size_t lo = 0, hi = count;  // the row, if any, lies in [lo, hi)
   while (lo < hi) {
      size_t mid = lo + (hi - lo) / 2;
      const VXRTEnumItem* row = rowAt(items, stride, mid);
      int cmp = rtxUTF8Strncmp(text, row->name, length);
      // Equal over `length` bytes: the text may still be a prefix of the name.
      if (cmp == 0 && length != row->namelen) cmp = length < row->namelen ? -1 : 1;
      if (cmp == 0) return (int)mid;
      if (cmp < 0)
         hi = mid;
      else
         lo = mid + 1;
   }
   return RTERR_INVENUM;
}

int rtxLookupEnumByValueStride(int32_t value, const void* items, size_t stride, size_t count)
{
   if (items == nullptr) return RTERR_INVENUM;
   for (size_t i = 0; i < count; i++) {
      if (rowAt(items, stride, i)->value == value) return (int)i;
   }
   return RTERR_INVENUM;
}
