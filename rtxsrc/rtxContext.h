// The run-time context: the one record every run-time and per-type function
// takes first. It ties together the heap, the message buffer with its bit
// cursor, the error list, the stream, the name and container stacks and the
// per-encoding information records of one encode or decode operation.
#ifndef RTXCONTEXT_H
#define RTXCONTEXT_H

#include "rtxCommon.h"

struct VXCTXT;
struct VXRTSTREAM;
struct VXRTPrintStream;
struct VXRTDiagBitFieldList;
struct VXASN1Info;

// Doubly linked list: count, head, tail. Nodes come from the context's heap.
struct VXRTDListNode {
   void* data;
   VXRTDListNode* next;
   VXRTDListNode* prev;
};

struct VXRTDList {
   uint64_t count;
   VXRTDListNode* head;
   VXRTDListNode* tail;
};

// Stack over a doubly linked list; push inserts at the head.
struct VXRTStack {
   VXCTXT* pctxt;
   VXRTDList dlist;
};

// One source position of an error's stack trace. The path is not copied.
struct VXRTErrLocn {
   const char* module;
   int32_t lineno;
};

#define VXRT_ERR_MAXSTACK 8
#define VXRT_ERR_MAXPARMS 5

// An error record: status, text parameters, positions, element path.
struct VXRTErrInfo {
   VXRTErrLocn stack[VXRT_ERR_MAXSTACK];
   int16_t status;
   uint8_t stackCount;
   uint8_t parmCount;
   char* parms[VXRT_ERR_MAXPARMS];
   char* elemName;
   uint8_t fatal;
};

// The message buffer and its cursor. bitOffset counts the free bits of the
// current byte down from 8 (8: on a byte boundary).
struct VXRTBuffer {
   uint8_t* data;
   uint64_t byteIndex;
   uint64_t size;
   int16_t bitOffset;
   uint8_t dynamic;
   uint8_t aligned;
};

// Singly linked list (Part of the container toolkit); declared here because
// the ASN.1 information record embeds one.
struct VXRTSListNode {
   void* data;
   VXRTSListNode* next;
};

struct VXRTSList {
   uint64_t count;
   VXRTSListNode* head;
   VXRTSListNode* tail;
   VXCTXT* pctxt;  // null: nodes come from malloc
};

typedef int (*VXFreeHook)(VXCTXT* pctxt);

// Head shared by the per-encoding information records (XML, ASN.1): the
// hooks called when the context is freed or reset.
struct VXRTAppInfo {
   int (*freeHook)(VXCTXT* pctxt, void* info);
   int (*resetHook)(VXCTXT* pctxt, void* info);
};

#define VXCTXT_INITCODE 0x1AA2A34Au

// Context flags.
#define VXCTXT_FLAG_NOXMLNS 0x8u
#define VXCTXT_FLAG_XSIATTR 0x40u
#define VXCTXT_FLAG_XSINS 0x100u
#define VXCTXT_FLAG_C14N 0x200u
#define VXCTXT_FLAG_NSSET 0x400u
#define VXCTXT_FLAG_FASTCOPY 0x800u
#define VXCTXT_FLAG_TRACE 0x2000u
#define VXCTXT_FLAG_XMLEMPTY 0x4000u
#define VXCTXT_FLAG_JSONSTR 0x8000u
#define VXCTXT_FLAG_NOINDENT 0x400000u
#define VXCTXT_FLAG_SYSBUF 0x800000u
#define VXCTXT_FLAG_FREEING 0x1000000u
#define VXCTXT_FLAG_BUFONLY 0x20000000u
#define VXCTXT_FLAG_DIAG 0x80000000u

struct VXCTXT {
   void* pMemHeap;
   VXRTBuffer buffer;
   uint64_t savedIndex;
   VXRTDList errInfo;
   VXRTErrInfo reservedErr;
   VXRTDListNode reservedNode;
   uint32_t initCode;
   uint32_t flags;
   uint8_t level;
   uint8_t state;
   uint8_t diagLevel;
   uint8_t lastChar;
   VXRTSTREAM* pStream;
   VXRTPrintStream* pPrintStream;
   VXRTDList elemNameStack;
   VXRTStack containerStack;
   void* pXMLInfo;
   VXASN1Info* pASN1Info;  // defined by the ASN.1 layer (rtContext.h)
   VXFreeHook freeHook;
   VXRTDiagBitFieldList* pBitFldList;
   uint16_t indent;
};

// Set-up and tear-down.
void rtxPreInitContext(VXCTXT* pctxt);
int rtxInitContext(VXCTXT* pctxt);
int rtxInitContextExt(VXCTXT* pctxt, void* (*mallocFunc)(size_t),
                      void* (*reallocFunc)(void*, size_t), void (*freeFunc)(void*));
void rtxFreeAppInfo(VXCTXT* pctxt, void* info);
void rtxFreeContext(VXCTXT* pctxt);
int rtxCheckContext(VXCTXT* pctxt);
void rtxCopyContext(VXCTXT* dst, VXCTXT* src);
void rtxMemFree(VXCTXT* pctxt);
void rtxMemReset(VXCTXT* pctxt);

// Buffer and cursor.
int rtxInitContextBuffer(VXCTXT* pctxt, uint8_t* data, uint64_t size);
int rtxCtxtSetBufPtr(VXCTXT* pctxt, uint8_t* data, uint64_t size);
uint64_t rtxCtxtGetBitOffset(VXCTXT* pctxt);
int rtxCtxtSetBitOffset(VXCTXT* pctxt, uint64_t position);
uint64_t rtxCtxtGetIOByteCount(VXCTXT* pctxt);
inline void rtxCtxtSetFlag(VXCTXT* pctxt, uint32_t mask) { pctxt->flags |= mask; }
inline void rtxCtxtClearFlag(VXCTXT* pctxt, uint32_t mask) { pctxt->flags &= ~mask; }
void rtxCtxtSetMemHeap(VXCTXT* pctxt, VXCTXT* src);

// Element names and containers.
int rtxCtxtPushElemName(VXCTXT* pctxt, const char* name);
// Pop: the top name, or null on an empty stack; level is lowered in both
// cases (it wraps at 0).
const char* rtxCtxtPopElemName(VXCTXT* pctxt);
// Copy variants leave level alone. The popped copy stays in the heap and
// may be given back with rtxMemFreePtr.
int rtxCtxtPushElemNameCopy(VXCTXT* pctxt, const char* name);
const char* rtxCtxtPopElemNameCopy(VXCTXT* pctxt);
// Pushes the heap string "name[index]"; the pop frees it and tells whether
// there was a name to pop. Both move level like the plain push and pop.
int rtxCtxtPushArrayElemName(VXCTXT* pctxt, const char* name, uint64_t index);
bool rtxCtxtPopArrayElemName(VXCTXT* pctxt);
// Pushes only onto an empty stack; pops only a stack of exactly one name.
int rtxCtxtPushTypeName(VXCTXT* pctxt, const char* name);
bool rtxCtxtPopTypeName(VXCTXT* pctxt);
// Container ends: n bytes or n bits past the cursor.
int rtxCtxtPushContainerBytes(VXCTXT* pctxt, uint64_t n);
int rtxCtxtPushContainerBits(VXCTXT* pctxt, uint64_t n);
// Against the innermost container, or the end of the buffer without one.
bool rtxCtxtContainerHasRemBits(VXCTXT* pctxt);
bool rtxCtxtContainerEnd(VXCTXT* pctxt);
uint64_t rtxCtxtGetContainerRemBits(VXCTXT* pctxt);
void rtxCtxtPopContainer(VXCTXT* pctxt);
void rtxCtxtPopAllContainers(VXCTXT* pctxt);

#endif
