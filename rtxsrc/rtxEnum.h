// Lookup of ENUMERATED identifiers in tables sorted by name.
//
// A table row starts with the three fields of VXRTEnumItem, in this order
// and with these names and types. Generated tables add a 16-bit index after
// them (the row that holds value i); any such row type can be passed
// directly: the template overloads check the layout at compile time and
// step through the table with the row's own size.
#ifndef RTXENUM_H
#define RTXENUM_H

#include <cstddef>
#include <type_traits>

#include "rtxCommon.h"

struct VXRTEnumItem {
   const char* name;
   int32_t value;
   uint16_t namelen;
};

// The index of the row whose name equals the `length` bytes at `text`, or
// -4. A length of (size_t)-1 means up to the NUL. The rows, `stride` bytes
// apart, must be sorted by name in byte order.
int rtxLookupEnumStride(const char* text, size_t length, const void* items, size_t stride,
                        size_t count);
// The index of the first row with `value` (linear), or -4.
int rtxLookupEnumByValueStride(int32_t value, const void* items, size_t stride, size_t count);

template <class Item>
constexpr bool rtxIsEnumItemLayout()
{
   return std::is_standard_layout<Item>::value &&
          std::is_same<decltype(Item::name), const char*>::value &&
          std::is_same<decltype(Item::value), int32_t>::value &&
          std::is_same<decltype(Item::namelen), uint16_t>::value &&
          offsetof(Item, name) == offsetof(VXRTEnumItem, name) &&
          offsetof(Item, value) == offsetof(VXRTEnumItem, value) &&
          offsetof(Item, namelen) == offsetof(VXRTEnumItem, namelen);
}

template <class Item>
inline int rtxLookupEnum(const char* text, size_t length, const Item* items, size_t count)
{
   static_assert(rtxIsEnumItemLayout<Item>(), "enumeration rows must start like VXRTEnumItem");
   return rtxLookupEnumStride(text, length, items, sizeof(Item), count);
}

template <class Item>
inline int rtxLookupEnumByValue(int32_t value, const Item* items, size_t count)
{
   static_assert(rtxIsEnumItemLayout<Item>(), "enumeration rows must start like VXRTEnumItem");
   return rtxLookupEnumByValueStride(value, items, sizeof(Item), count);
}

#endif
