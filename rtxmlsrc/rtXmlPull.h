// XML pull reader: a table-driven tokenizer that hands out one event per
// call of rtXmlRdNext. Names and data are pointers into the reader's input
// buffer, valid until the next call; only the names of open elements are
// copied, and only when the buffer moves under them.
//
// Input comes from the context's stream into a buffer that starts at 50
// bytes and grows by 50 when one token fills it, or is taken in place: from
// the context's memory buffer when there is no stream, and from the bytes
// of an attached memory stream (nothing captured) which are the buffer
// itself. Both ways give the same events, data, positions and statuses.
#ifndef RTXMLPULL_H
#define RTXMLPULL_H

#include "rtContext.h"
#include "rtXmlErr.h"
#include "rtxContext.h"

// Event codes.
enum {
   XMLRD_NONE = 0,
   XMLRD_STARTDOC = 1,
   XMLRD_STARTTAG = 2,
   XMLRD_DATA = 4,
   XMLRD_ENDTAG = 8,
   XMLRD_ENDDOC = 16,
   XMLRD_COMMENT = 32,
   XMLRD_PI = 64,
   XMLRD_DOCTYPE = 128
};
#define XMLRD_DONE_MARK 0x80000000u

// Namespace indices.
enum {
   XMLNS_NONE = 0,
   XMLNS_UNKNOWN = -1,
   XMLNS_ANY = -2,
   XMLNS_XSI = -3,
   XMLNS_DECL = -4,
   XMLNS_XML = -5,
   XMLNS_SOAP = -6,
   XMLNS_XSD = -7
};

// Namespace marks of an attribute record.
#define XMLATTR_NS_DECL 0xFFFCu
#define XMLATTR_NS_XSI 0xFFFDu

// A growable array of fixed-size units from the context's heap.
struct XmlRdStack {
   uint8_t* data;
   size_t capacity;
   size_t unitSize;
   size_t count;
   bool growable;
};

// Offset and length of a piece of the input.
struct XmlRdSpan {
   uint64_t offset;
   uint64_t length;
};

struct XmlAttrRec {
   XmlRdSpan qName;
   XmlRdSpan localName;
   XmlRdSpan prefix;
   XmlRdSpan value;
   uint16_t nsIndex;  // 0 unresolved, XMLATTR_NS_DECL, XMLATTR_NS_XSI, or table index + 1
};

struct XmlTagRec {
   const char* name;
   size_t length;
};

struct XmlNsRec {
   const char* prefix;
   size_t prefixLen;
   char inlinePrefix[8];
   int32_t nsIndex;
   int32_t depth;
   const char* uri;  // in nsTable, or null
};

struct XmlMarkRec {
   uint64_t readPos;  // all ones for a mark taken in attribute mode
   uint32_t lastEvent;
   uint32_t lastEventLevel;
   const uint8_t* contentPtr;
   uint64_t contentLen;
   uint8_t listMode;
   uint8_t lastChunk;
   // What a rewind must restore besides: the first byte to keep in the
   // buffer, the content as an offset into it (all ones if elsewhere), the
   // token start, the nesting and the pending tasks.
   uint64_t keep;
   uint64_t contentOff;
   uint64_t stepMark;
   uint32_t depth;
   size_t tagCount;
   XmlTagRec topTag;
   XmlRdSpan names[3];  // qualified, local, prefix
   uint8_t emptyElement;
   int16_t elemNsIndex;
   uint8_t tasks[10];
   uint64_t taskCount;
   uint64_t taskHead;
};

// Line (from 0), column in characters and in bytes, and whether the last
// byte was a carriage return.
struct XmlSrcPos {
   uint32_t line;
   uint32_t column;
   uint32_t byteColumn;
   bool afterCR;
};

// Filled by the data functions for their caller.
struct XmlDataCtxt {
   uint32_t level;
   uint8_t mode;  // 0 ended, 1 attribute, 2 element
   uint32_t chunkNo;
   uint8_t lastChunk;
   uint8_t isCData;
   const uint8_t* chunk;
   size_t chunkLen;
   const uint8_t* attrValue;
   size_t attrValueLen;
   size_t attrPos;
   uint8_t pendingBlank;
};

// Sub-machine indices in XmlReader::subState.
enum {
   XMLSUB_HEADER = 0,
   XMLSUB_COMMENT,
   XMLSUB_STARTTAG,
   XMLSUB_DOCTYPE,
   XMLSUB_CHARS,
   XMLSUB_PI,
   XMLSUB_ENDTAG,
   XMLSUB_CDATA,
   XMLSUB_COUNT
};

#define XMLRD_MAX_DELAYED_TASKS 10

struct XmlReader {
   VXCTXT* mpCtxt;
   uint8_t rawMode;
   uint8_t mixedMode;
   uint8_t listMode;
   uint8_t listModeFresh;
   uint8_t groupMode;
   uint32_t wsMode;
   uint32_t nextWsMode;
   uint32_t sourceEncoding;
   uint32_t byteForm;
   uint32_t lastEvent;
   uint32_t lastEventLevel;
   XmlRdSpan qualName;
   XmlRdSpan localName;
   XmlRdSpan prefixName;
   uint8_t attrsVisible;
   uint8_t emptyElement;
   XmlRdStack attrStack;
   const uint8_t* contentPtr;
   uint64_t contentLen;
   uint8_t lastChunk;
   uint8_t isCData;
   uint32_t depth;
   uint32_t doneLevel;
   int32_t errorCode;
   int16_t elemNsIndex;
   int32_t mainState;
   int32_t reservedWord;
   int32_t subState[XMLSUB_COUNT];
   uint8_t charBuf[40];
   uint32_t attrMode;
   XmlRdStack tagStack;
   XmlRdStack nsStack;
   const char* const* nsTable;
   int32_t nsTableCount;
   const char* const* nsTableSeen;
   int32_t nsTableSeenCount;
   uint8_t delayedTasks[XMLRD_MAX_DELAYED_TASKS];
   uint64_t mDelayedTaskCount;
   uint64_t delayedHead;
   uint8_t* dataBuf;
   uint64_t readPos;
   uint64_t bufCap;
   uint64_t bufFill;
   uint64_t stepMark;
   uint64_t lastReadCount;
   uint64_t lastReadStart;
   uint8_t useStreamMark;
   uint8_t ownsBuffer;
   XmlRdStack markStack;
   XmlSrcPos basePos;
   uint64_t savedAttrCount;
   // Working state of the machines beyond the record proper.
   uint8_t inPlace;          // dataBuf is the context's buffer
   uint64_t pendingStart;    // characters: start of the bytes not yet handed out
   uint64_t refStart;        // characters: offset of the reference being read
   uint32_t bracketRun;      // CDATA: closing brackets in a row
   uint8_t endOfInput;       // the input is exhausted
   uint64_t attrStart;       // start tag: start of the current attribute name
   uint64_t attrLocal;       // start tag: start of its local part
   uint64_t nameLocal;       // start tag: start of the element's local part
   uint64_t valueStart;      // start tag: start of the current attribute value
   uint64_t posCacheOffset;  // a source position already worked out ...
   XmlSrcPos posCache;       // ... for this buffer offset
   uint8_t posCacheValid;
};

// Creation and reset. The creation runs the reader to its first event; a
// failure there stays in the context's error list.
XmlReader* rtXmlRdCreateXmlReader(VXCTXT* pctxt);
int rtXmlRdResetXmlReader(XmlReader* pReader);
void rtXmlpFreeReader(VXCTXT* pctxt, XmlReader* pReader);

// Events.
int rtXmlRdNext(XmlReader* pReader);
int rtXmlRdNextEvent(XmlReader* pReader, uint32_t eventMask, int level, uint64_t* pEvent);
int rtXmlRdNextTag(XmlReader* pReader);
int rtXmlRdNextEndTag(XmlReader* pReader);
int rtXmlRdSkipCurrentLevel(XmlReader* pReader);
// Event in the low 32 bits, level in the high 32 bits.
uint64_t rtXmlRdGetLastEvent(XmlReader* pReader);
uint32_t rtXmlRdMarkLastEventDone(XmlReader* pReader);
uint32_t rtXmlRdMarkLastEventActive(XmlReader* pReader);
int rtXmlRdGetTagName(XmlReader* pReader, const uint8_t** ppName, size_t* pLen, int16_t* pNsIndex);
uint32_t rtXmlRdGetCurrentLevel(XmlReader* pReader);
bool rtXmlRdIsEmpty(XmlReader* pReader);

// Values.
int rtXmlRdFirstData(XmlReader* pReader, XmlDataCtxt* pData);
int rtXmlRdNextData(XmlReader* pReader, XmlDataCtxt* pData);
uint32_t rtXmlRdSetWhiteSpaceMode(XmlReader* pReader, uint32_t mode);
int rtXmlRdGetDataMode(XmlReader* pReader);
void rtXmlRdSetListMode(XmlReader* pReader, bool on);

// Marks.
int rtXmlRdMarkPos(XmlReader* pReader);
int rtXmlRdRewindToMarkedPos(XmlReader* pReader);
int rtXmlRdResetMarkedPos(XmlReader* pReader);

// Attributes of the current start tag.
int rtXmlRdGetAttributeCount(XmlReader* pReader);
int rtXmlRdGetAttributeName(XmlReader* pReader, size_t index, const uint8_t** ppName, size_t* pLen,
                            int16_t* pNsIndex);
int rtXmlRdGetAttribute(XmlReader* pReader, size_t index, const uint8_t** ppValue, size_t* pLen);
int rtXmlRdSelectAttribute(XmlReader* pReader, size_t index);
int rtXmlRdFirstAttr(XmlReader* pReader);
int rtXmlRdNextAttr(XmlReader* pReader);
int rtXmlRdGetXSITypeAttr(XmlReader* pReader);

// Pointer to a piece of the input; offsets count from stepMark when set.
const uint8_t* rtXmlRdGetPtr(XmlReader* pReader, uint64_t offset, uint64_t* pRemaining);

// Source positions and error parameters.
void rtXmlRdGetSourcePosition(XmlReader* pReader, uint32_t* pLine, uint32_t* pColumn,
                              uint32_t* pByteColumn, bool next);
void rtXmlRdUpdateSrcPos(XmlSrcPos* pPos, const uint8_t* data, size_t n);
void rtXmlRdErrAddPos(VXCTXT* pctxt, const XmlSrcPos* pPos);
void rtXmlRdErrAddSrcPos(XmlReader* pReader, bool next);
void rtXmlRdErrAddDataSrcPos(XmlReader* pReader, const XmlDataCtxt* pData, size_t back);
void rtXmlRdLogInvSymbol(XmlReader* pReader, uint8_t symbol);

#endif
