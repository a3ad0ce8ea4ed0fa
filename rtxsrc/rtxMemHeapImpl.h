// Internal layout of the memory heap, shared by the allocator, its checker
// and the heap's unit tests. Nothing outside the heap should include it.
//
// Sizes are counted in units of 8 bytes. A block is one allocation from the
// heap's allocator: a 24-byte header (ring link and four 16-bit fields)
// followed by a data area of nunits + 1 units:
//   unit 0          anchor link of the free list; its first 4 bytes hold
//                   the heap's guard code
//   unit 1          start border: an element header with nunits 0, never free
//   units 2..n-1    the elements, back to back in address order
//   unit n          end border: never free
// An element is an 8-byte header and its payload. A free element keeps its
// free link in its last unit; the link is followed directly by the header of
// the next element, whose prevOff is therefore the free element's size.
//
// Every unit is accessed as a MemUnit of four 16-bit words, whatever it
// currently holds (element header or free link), so that the compiler never
// sees two unrelated types for the same storage.
#ifndef RTXMEMHEAPIMPL_H
#define RTXMEMHEAPIMPL_H

#include "rtxMemory.h"

// Element header:  w0 nunits, w1 prevOff, w2 beginOff,
//                  w3 flags (low byte) | refCnt (high byte).
// Free link:       w0, w1 unused (guard code in the anchor),
//                  w2 nextFree, w3 prevFree.
struct MemUnit {
   uint16_t w0;
   uint16_t w1;
   uint16_t w2;
   uint16_t w3;
};
static_assert(sizeof(MemUnit) == 8, "a heap unit is 8 bytes");

// Element flags.
#define VX_ELEM_FREE 0x1u
#define VX_ELEM_SAVED 0x2u
#define VX_ELEM_RAW 0x4u

// Largest value of a 16-bit size or offset; as maxFreeElem it means unknown.
#define VX_MAXUNITS 65535u
// Header bytes a block or a raw block adds to its payload.
#define VX_BLKHDR_BYTES 32u
// Largest block: 65535 units plus the header.
#define VX_MAXBLK_BYTES (VX_MAXUNITS * 8u + VX_BLKHDR_BYTES)
// Payload units from which an allocation becomes a raw block.
#define VX_RAW_UNITS 65533u

struct VXMemLink {
   VXMemLink* pnext;
   VXMemLink* pprev;
};

struct MemBlk {
   MemBlk* pnext;
   MemBlk* pprev;
   uint16_t freeElemOff;
   uint16_t maxFreeElem;
   uint16_t nunits;
   uint16_t nsaved;
};
static_assert(sizeof(MemBlk) == 24, "block header is 24 bytes");

// A raw block: link in rawBlkList, requested size, element header.
struct MemRawBlk {
   VXMemLink link;
   uint64_t size;
   MemUnit hdr;
};
static_assert(sizeof(MemRawBlk) == VX_BLKHDR_BYTES, "raw block header is 32 bytes");

struct VXStaticArea {
   uint8_t* base;
   size_t capacity;
};

struct VXMemHeap {
   union {
      VXMemLink rawBlkList;  // regular heap: raw block list anchor
      VXStaticArea area;     // static heap: base and capacity
   };
   union {
      MemBlk* curMemBlk;  // regular heap: entry into the ring
      size_t staticUsed;  // static heap: bytes used
   };
   uint8_t* minAddr;
   uint8_t* maxAddr;
   uint32_t keepFreeUnits;
   uint32_t defBlkSize;
   uint32_t refCnt;
   uint32_t flags;
   VXMallocFunc mallocFunc;
   VXReallocFunc reallocFunc;
   VXFreeFunc freeFunc;
   uint32_t code;
};

// --- unit addressing --------------------------------------------------------

VX_INLINE MemUnit* vxUnitAt(MemBlk* b, uint32_t idx)
{
   return reinterpret_cast<MemUnit*>(reinterpret_cast<uint8_t*>(b) + sizeof(MemBlk) +
                                     static_cast<size_t>(idx) * sizeof(MemUnit));
}

VX_INLINE MemBlk* vxBlockOf(MemUnit* elem)
{
   return reinterpret_cast<MemBlk*>(reinterpret_cast<uint8_t*>(elem - elem->w2) - sizeof(MemBlk));
}

VX_INLINE MemUnit* vxElemOf(const void* payload)
{
   return const_cast<MemUnit*>(static_cast<const MemUnit*>(payload)) - 1;
}

VX_INLINE MemRawBlk* vxRawOf(MemUnit* hdr)
{
   return reinterpret_cast<MemRawBlk*>(reinterpret_cast<uint8_t*>(hdr) - offsetof(MemRawBlk, hdr));
}

VX_INLINE unsigned vxFlags(const MemUnit* e) { return e->w3 & 0xFFu; }
VX_INLINE unsigned vxRefCnt(const MemUnit* e) { return e->w3 >> 8; }
VX_INLINE uint16_t vxFlagsRef(unsigned flags, unsigned refCnt)
{
   return static_cast<uint16_t>(flags | (refCnt << 8));
}
VX_INLINE bool vxIsFree(const MemUnit* e) { return (e->w3 & VX_ELEM_FREE) != 0; }

VX_INLINE uint32_t vxGetCode(const MemUnit* u)
{
   return static_cast<uint32_t>(u->w0) | (static_cast<uint32_t>(u->w1) << 16);
}
VX_INLINE void vxSetCode(MemUnit* u, uint32_t code)
{
   u->w0 = static_cast<uint16_t>(code);
   u->w1 = static_cast<uint16_t>(code >> 16);
}

// Size of the free element whose link is at index `link`: the prevOff of
// the header right behind the link (0 for the anchor).
VX_INLINE uint32_t vxFreeSize(MemBlk* b, uint32_t link) { return vxUnitAt(b, link + 1)->w1; }

// --- checking -----------------------------------------------------------------

// Consistency walk over the whole heap. Returns 0, or the number of the first
// invariant found broken, with its text and where it was found.
struct VXMemCheckResult {
   int number;
   const char* text;
   const void* block;  // block or raw block, null if the heap record itself
   bool rawBlock;      // block is a raw block
   int elemIdx;        // unit index in the block, -1 if none
};
int vxMemHeapWalkCheck(VXMemHeap* pHeap, VXMemCheckResult* pResult);

#endif
