// Doubly linked list over the context's heap.
//
// Nodes are allocated one by one. A node may also share one allocation with
// its data, the data directly behind the node (rtxDListAllocNodeAndData);
// rtxDListFreeAll recognises that case and frees such a node only once.
#ifndef RTXDLIST_H
#define RTXDLIST_H

#include "rtxContext.h"

// Comparison of two data pointers for the sorted inserts: negative, 0 or
// positive like strcmp. sortCtxt is the caller's data, passed through.
typedef int (*VXRTDListCompareFunc)(const void* a, const void* b, const void* sortCtxt);

// Empties a list record without freeing anything (inline: records with
// several lists call it for each in their constructors).
VX_INLINE void rtxDListInit(VXRTDList* pList)
{
   pList->count = 0;
   pList->head = nullptr;
   pList->tail = nullptr;
}

// Appends (or inserts) a new node that points to pData. Each returns the new
// node, or null when the heap is exhausted.
VXRTDListNode* rtxDListAppend(VXCTXT* pctxt, VXRTDList* pList, void* pData);
VX_INLINE VXRTDListNode* rtxDListAppendNode(VXRTDList* pList, VXRTDListNode* pNode)
{
   if (pNode == nullptr) return nullptr;
   pNode->next = nullptr;
   pNode->prev = pList->tail;
   if (pList->tail != nullptr)
      pList->tail->next = pNode;
   else
      pList->head = pNode;
   pList->tail = pNode;
   pList->count++;
   return pNode;
}
// Appends a heap copy of `length` bytes of `data`, NUL-terminated.
VXRTDListNode* rtxDListAppendCharArray(VXCTXT* pctxt, VXRTDList* pList, size_t length,
                                       const char* data);
// Appends one node per element of the array, pointing into it; returns the
// number of nodes appended, or -10.
int rtxDListAppendArray(VXCTXT* pctxt, VXRTDList* pList, void* pArray, size_t numElements,
                        size_t elemSize);
// The same over a heap copy of the array.
int rtxDListAppendArrayCopy(VXCTXT* pctxt, VXRTDList* pList, const void* pArray, size_t numElements,
                            size_t elemSize);

// Inserts so that the new node has index idx (0: at the head; count: at the
// tail). Null if idx is above the count or on exhaustion.
VXRTDListNode* rtxDListInsert(VXCTXT* pctxt, VXRTDList* pList, uint64_t idx, void* pData);
VXRTDListNode* rtxDListInsertNode(VXRTDList* pList, uint64_t idx, VXRTDListNode* pNode);
// Inserts before or after an existing node; a null node means the tail for
// InsertBefore (append) and the head for InsertAfter.
VXRTDListNode* rtxDListInsertBefore(VXCTXT* pctxt, VXRTDList* pList, VXRTDListNode* node,
                                    void* pData);
VXRTDListNode* rtxDListInsertAfter(VXCTXT* pctxt, VXRTDList* pList, VXRTDListNode* node,
                                   void* pData);
// Sorted inserts. The tail is compared first, so that appending in sorted
// order costs one comparison; equal elements go behind those present.
VXRTDListNode* rtxDListInsertSorted(VXCTXT* pctxt, VXRTDList* pList, void* pData,
                                    VXRTDListCompareFunc compareFunc, const void* sortCtxt);
VXRTDListNode* rtxDListInsertNodeSorted(VXRTDList* pList, VXRTDListNode* pNode,
                                        VXRTDListCompareFunc compareFunc, const void* sortCtxt);

// Walks from the nearer end; null if idx is out of range.
VXRTDListNode* rtxDListFindByIndex(const VXRTDList* pList, uint64_t idx);
VXRTDListNode* rtxDListFindByData(const VXRTDList* pList, void* pData);
// The data of the head node, or null for an empty list.
void* rtxDListFindFirstData(const VXRTDList* pList);
// Index of the first node with pData, or -1.
int rtxDListFindIndexByData(const VXRTDList* pList, void* pData);

// Unlinks the node without freeing it.
void rtxDListRemove(VXRTDList* pList, VXRTDListNode* pNode);
// Unlinks and frees the node (not its data).
void rtxDListFreeNode(VXCTXT* pctxt, VXRTDList* pList, VXRTDListNode* pNode);
// Free all nodes (FreeNodes) or all nodes and their data (FreeAll). The frees
// are skipped when the heap is already empty; the list is cleared in either
// case, so both are safe after the heap has gone.
void rtxDListFreeNodes(VXCTXT* pctxt, VXRTDList* pList);
void rtxDListFreeAll(VXCTXT* pctxt, VXRTDList* pList);

// Allocates a node with `dataSize` bytes of data behind it, in one block;
// the node's data pointer is set, the node is not linked. Null on exhaustion.
VXRTDListNode* rtxDListAllocNodeAndData(VXCTXT* pctxt, size_t dataSize, void** ppData);

// Copies the data of the nodes, elemSize bytes each, into an array. A null
// *ppArray is allocated from the heap for the count; otherwise *pElemCount
// gives its capacity in elements, and a list longer than that gives -1.
// *pElemCount receives the count. 0, -1 or -10.
int rtxDListToArray(VXCTXT* pctxt, const VXRTDList* pList, void** ppArray, size_t* pElemCount,
                    size_t elemSize);
// An array of the data pointers, from the heap (null for an empty list).
int rtxDListToPointerArray(VXCTXT* pctxt, const VXRTDList* pList, void*** ppArray,
                           size_t* pElemCount);
// Joins the data strings with the separator (none if sep is 0) into one heap
// string; *ppstr is null for an empty list. 0 or -10.
int rtxDListToUTF8Str(VXCTXT* pctxt, const VXRTDList* pList, char** ppstr, char sep);

#endif
