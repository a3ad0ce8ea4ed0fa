// XML pull reader: the state machines, the input buffer and the events.
//
// Every byte a machine reads is mapped to one of 18 symbol classes; each
// machine is a table of rows of 18 next states, indexed by state - 1 and
// class: 0 is an error, a negative value an exit, a positive one the next
// state. The states live in the reader, so a machine stops wherever its
// input ends and resumes on the next call.
#include <initializer_list>
#include <utility>

#include "rtXml.h"
#include "rtXmlPullInternal.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#include "rtxMemory.h"
#include "rtxStream.h"
#include "rtxUTF8.h"

namespace {

// ---- symbol classes ----

enum SymbolClass : int8_t {
   S_LT,
   S_QMARK,
   S_EXCL,
   S_GT,
   S_SLASH,
   S_LETTER,
   S_DIGIT,
   S_WS,
   S_COLON,
   S_MINUS,
   S_EQ,
   S_DQUOTE,
   S_AMP,
   S_SEMI,
   S_DOT,
   S_UNDER,
   S_APOS,
   S_OTHER,
   S_INVALID = -1
};
constexpr int kClasses = 18;

// The CDATA machine's own classes.
enum CDataClass : int8_t { C_LBRACKET = 8, C_RBRACKET = 9, C_C = 10, C_D = 11, C_A = 12, C_T = 13 };

struct SymbolMap {
   int8_t cls[256];
   constexpr SymbolMap(bool cdata) : cls()
   {
      for (int b = 0; b < 256; b++) {
         int8_t c = S_OTHER;
         if (b < 32) c = S_INVALID;
         if ((b >= 9 && b <= 13) || b == 32) c = S_WS;
         if (!cdata) {
            if ((b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z') || b >= 0x80) c = S_LETTER;
            // The bytes of byte order marks are no letters, so a mark is
            // passed over ahead of the document.
            if (b == 0xEF || b == 0xBB || b == 0xBF || b == 0xFE || b == 0xFF) c = S_OTHER;
            if (b >= '0' && b <= '9') c = S_DIGIT;
         }
         cls[b] = c;
      }
      cls[(unsigned char)'<'] = S_LT;
      cls[(unsigned char)'?'] = S_QMARK;
      cls[(unsigned char)'!'] = S_EXCL;
      cls[(unsigned char)'>'] = S_GT;
      cls[(unsigned char)'/'] = S_SLASH;
      if (cdata) {
         cls[(unsigned char)'['] = C_LBRACKET;
         cls[(unsigned char)']'] = C_RBRACKET;
         cls[(unsigned char)'C'] = C_C;
         cls[(unsigned char)'D'] = C_D;
         cls[(unsigned char)'A'] = C_A;
         cls[(unsigned char)'T'] = C_T;
      } else {
         cls[(unsigned char)':'] = S_COLON;
         cls[(unsigned char)'-'] = S_MINUS;
         cls[(unsigned char)'='] = S_EQ;
         cls[(unsigned char)'"'] = S_DQUOTE;
         cls[(unsigned char)'&'] = S_AMP;
         cls[(unsigned char)';'] = S_SEMI;
         cls[(unsigned char)'.'] = S_DOT;
         cls[(unsigned char)'_'] = S_UNDER;
         cls[(unsigned char)'\''] = S_APOS;
      }
   }
};
constexpr SymbolMap kSymbols(false);
constexpr SymbolMap kCDataSymbols(true);

// ---- state tables ----

struct Row {
   int8_t next[kClasses];
};

constexpr Row row(int8_t otherwise, std::initializer_list<std::pair<int, int>> moves)
{
   Row r{};
   for (int i = 0; i < kClasses; i++) r.next[i] = otherwise;
   for (const auto& m : moves) r.next[m.first] = (int8_t)m.second;
   return r;
}

template <size_t N>
struct Table {
   Row rows[N];
};

// The tables keep their hand-made layout, one row a line.
// clang-format off
constexpr Table<5> kDocStart{{
    row(0, {{S_LT, 2}, {S_WS, 1}, {S_OTHER, 1}}),
    row(0, {{S_QMARK, -1}, {S_EXCL, 3}, {S_LETTER, -3}}),
    row(0, {{S_LETTER, -4}, {S_MINUS, 4}}),
    row(0, {{S_MINUS, -2}}),
    row(0, {}),
}};

constexpr Table<5> kAfterDecl{{
    row(0, {{S_LT, 2}, {S_WS, 1}}),
    row(0, {{S_QMARK, -6}, {S_EXCL, 3}, {S_LETTER, -3}}),
    row(0, {{S_LETTER, -4}, {S_MINUS, 4}}),
    row(0, {{S_MINUS, -2}}),
    row(0, {}),
}};

constexpr Table<4> kMain{{
    row(-5, {{S_LT, 2}}),
    row(0, {{S_QMARK, -6}, {S_EXCL, 3}, {S_SLASH, -7}, {S_LETTER, -3}, {S_UNDER, -3}}),
    row(0, {{S_LETTER, -4}, {S_MINUS, 4}, {S_OTHER, -8}}),
    row(0, {{S_MINUS, -2}}),
}};

// Declarations and processing instructions end alike.
constexpr Table<2> kPI{{
    row(1, {{S_QMARK, 2}}),
    row(1, {{S_QMARK, 2}, {S_GT, -1}}),
}};

constexpr Table<3> kComment{{
    row(1, {{S_MINUS, 2}}),
    row(1, {{S_MINUS, 3}}),
    row(0, {{S_GT, -1}}),
}};

#define NAME_CHARS {S_LETTER, N}, {S_DIGIT, N}, {S_MINUS, N}, {S_DOT, N}, {S_UNDER, N}
// Row 17 is reached from state 11 on an apostrophe; it refuses everything.
constexpr Table<17> kStartTag{{
    row(0, {{S_LETTER, 2}, {S_UNDER, 2}, {S_COLON, 3}}),
#define N 2
    row(0, {{S_GT, -1}, {S_SLASH, 14}, NAME_CHARS, {S_WS, 5}, {S_COLON, 3}}),
#undef N
    row(0, {{S_LETTER, 4}, {S_UNDER, 4}}),
#define N 4
    row(0, {{S_GT, -1}, {S_SLASH, 14}, NAME_CHARS, {S_WS, 5}}),
#undef N
    row(0, {{S_GT, -1}, {S_SLASH, 14}, {S_LETTER, 6}, {S_UNDER, 6}, {S_WS, 5}, {S_COLON, 7}}),
#define N 6
    row(0, {NAME_CHARS, {S_WS, 9}, {S_COLON, 7}, {S_EQ, 10}}),
#undef N
    row(0, {{S_LETTER, 8}, {S_UNDER, 8}}),
#define N 8
    row(0, {NAME_CHARS, {S_WS, 9}, {S_EQ, 10}}),
#undef N
    row(0, {{S_WS, 9}, {S_EQ, 10}}),
    row(0, {{S_WS, 11}, {S_DQUOTE, 12}, {S_APOS, 16}}),
    row(0, {{S_WS, 11}, {S_DQUOTE, 12}, {S_APOS, 17}}),
    row(12, {{S_DQUOTE, 13}}),
    row(0, {{S_GT, -2}, {S_SLASH, 15}, {S_LETTER, 6}, {S_UNDER, 6}, {S_WS, 13}, {S_COLON, 7}}),
    row(0, {{S_GT, -3}}),
    row(0, {{S_GT, -4}}),
    row(16, {{S_APOS, 13}}),
    row(0, {}),
}};

constexpr Table<5> kEndTag{{
    row(0, {{S_LETTER, 2}, {S_UNDER, 2}, {S_COLON, 3}}),
#define N 2
    row(0, {{S_GT, -1}, NAME_CHARS, {S_WS, 5}, {S_COLON, 3}}),
#undef N
    row(0, {{S_LETTER, 4}, {S_UNDER, 4}}),
#define N 4
    row(0, {{S_GT, -1}, NAME_CHARS, {S_WS, 5}}),
#undef N
    row(0, {{S_GT, -1}, {S_WS, 5}}),
}};
#undef NAME_CHARS

constexpr Table<12> kChars{{
    row(1, {{S_LT, 2}, {S_AMP, 3}}),
    row(-1, {{S_LT, 0}, {S_SLASH, -2}}),
    row(0, {{S_LETTER, 3}, {S_DIGIT, 3}, {S_OTHER, 3}, {S_SEMI, 4}}),
    row(1, {{S_LT, 2}, {S_AMP, 3}}),
    row(6, {{S_LT, 2}, {S_WS, 5}, {S_AMP, 7}}),
    row(6, {{S_LT, 2}, {S_WS, 10}, {S_AMP, 8}}),
    row(0, {{S_LETTER, 7}, {S_DIGIT, 7}, {S_OTHER, 7}, {S_SEMI, 9}}),
    row(0, {{S_LETTER, 8}, {S_DIGIT, 8}, {S_OTHER, 8}, {S_SEMI, 9}}),
    row(6, {{S_LT, 2}, {S_WS, 10}, {S_AMP, 8}}),
    row(6, {{S_LT, 2}, {S_WS, 10}, {S_AMP, 11}}),
    row(0, {{S_LETTER, 11}, {S_DIGIT, 11}, {S_OTHER, 11}, {S_SEMI, 9}}),
    row(0, {}),
}};

constexpr Table<18> kCData{{
    row(0, {{C_LBRACKET, 2}}),
    row(0, {{C_C, 3}}),
    row(0, {{C_D, 4}}),
    row(0, {{C_A, 5}}),
    row(0, {{C_T, 6}}),
    row(0, {{C_A, 7}}),
    row(0, {{C_LBRACKET, 8}}),
    row(8, {{C_RBRACKET, 9}}),
    row(8, {{C_RBRACKET, 10}}),
    row(8, {{S_GT, -1}, {C_RBRACKET, 10}}),
    row(12, {{S_WS, 11}, {C_RBRACKET, 13}}),
    row(12, {{S_WS, 15}, {C_RBRACKET, 13}}),
    row(12, {{S_WS, 15}, {C_RBRACKET, 14}}),
    row(12, {{S_GT, -1}, {S_WS, 15}, {C_RBRACKET, 14}}),
    row(12, {{S_WS, 15}, {C_RBRACKET, 16}}),
    row(12, {{S_WS, 15}, {C_RBRACKET, 17}}),
    row(12, {{S_GT, -1}, {S_WS, 15}, {C_RBRACKET, 14}}),
    row(0, {}),
}};

constexpr Table<15> kDoctype{{
    row(0, {{S_LETTER, 2}}),
    row(2, {{S_LT, 5}, {S_GT, -1}, {S_DQUOTE, 3}, {S_APOS, 4}}),
    row(3, {{S_DQUOTE, 2}}),
    row(4, {{S_APOS, 2}}),
    row(0, {{S_QMARK, 14}, {S_EXCL, 6}}),
    row(0, {{S_LETTER, 7}, {S_MINUS, 10}}),
    row(7, {{S_GT, 2}, {S_DQUOTE, 8}, {S_APOS, 9}}),
    row(8, {{S_DQUOTE, 7}}),
    row(9, {{S_APOS, 7}}),
    row(0, {{S_MINUS, 11}}),
    row(11, {{S_MINUS, 12}}),
    row(11, {{S_MINUS, 13}}),
    row(11, {{S_GT, 2}, {S_MINUS, 12}}),
    row(14, {{S_QMARK, 15}}),
    row(14, {{S_QMARK, 15}, {S_GT, 2}}),
}};
// clang-format on

// For each state of a table, the bytes that keep it with nothing else to
// do: a run of them is passed over at once (names, text, blanks between
// elements) instead of a step of the machine per byte. `plainCR` says
// whether a carriage return may be among them; the character machine
// treats it apart in its states 1 and 4.
template <size_t N>
struct StayMap {
   bool stay[N + 1][256];
   constexpr StayMap(const Table<N>& table, bool charsCR) : stay()
   {
      for (size_t s = 1; s <= N; s++) {
         for (int b = 0; b < 256; b++) {
            int cls = kSymbols.cls[b];
            stay[s][b] = cls >= 0 && table.rows[s - 1].next[cls] == (int8_t)s;
         }
         if (charsCR && (s == 1 || s == 4)) stay[s][(unsigned char)'\r'] = false;
      }
   }
};
constexpr StayMap<17> kStartTagStay(kStartTag, false);
constexpr StayMap<5> kEndTagStay(kEndTag, false);
constexpr StayMap<12> kCharsStay(kChars, true);

#ifdef VX_XMLRD_ROW_STATS
}  // namespace
uint32_t g_xmlRdRowHits[XMLRD_TABLE_COUNT][18];
namespace {
#define XMLRD_ROW_HIT(table, state) (g_xmlRdRowHits[table][(state)-1]++)
#else
#define XMLRD_ROW_HIT(table, state) ((void)0)
#endif

// The next state from the row of `state` for the class; 0 (an error) for
// a byte of no class.
template <size_t N>
VX_INLINE int nextState(const Table<N>& table, int tableId, int state, int cls)
{
   if (state < 1 || (size_t)state > N) return 0;
   XMLRD_ROW_HIT(tableId, state);
   (void)tableId;
   return cls < 0 ? 0 : table.rows[state - 1].next[cls];
}

// Exits of the document machines: the sub-machine to run.
enum MainExit {
   X_HEADER = -1,
   X_COMMENT = -2,
   X_STARTTAG = -3,
   X_DOCTYPE = -4,
   X_CHARS = -5,
   X_PI = -6,
   X_ENDTAG = -7,
   X_CDATA = -8
};

constexpr size_t kBufStep = 50;

// Result of peeking: a byte, or none with the status behind it.
constexpr int kNoByte = -1;

// ---- the input buffer ----

uint64_t keepOffset(const XmlReader* r)
{
   uint64_t keep = r->stepMark;
   if (r->markStack.count > 0) {
      const XmlMarkRec* m = static_cast<const XmlMarkRec*>(rtXmlRdStackAt(&r->markStack, 0));
      if (keep == XMLRD_NO_MARK || m->keep < keep) keep = m->keep;
   }
   return keep;
}

void shiftOffsets(XmlReader* r, uint64_t k)
{
   r->readPos -= k;
   r->bufFill -= k;
   if (r->stepMark != XMLRD_NO_MARK) r->stepMark -= k;
   for (size_t i = 0; i < r->markStack.count; i++) {
      XmlMarkRec* m = static_cast<XmlMarkRec*>(rtXmlRdStackAt(&r->markStack, i));
      if (m->readPos != XMLRD_NO_MARK) m->readPos -= k;
      if (m->stepMark != XMLRD_NO_MARK) m->stepMark -= k;
      if (m->contentOff != XMLRD_NO_MARK) m->contentOff -= k;
      m->keep -= k;
   }
   r->posCacheValid = 0;
   r->pendingStart = r->pendingStart >= k ? r->pendingStart - k : 0;
   r->refStart = r->refStart >= k ? r->refStart - k : 0;
   r->lastReadStart = r->lastReadStart >= k ? r->lastReadStart - k : 0;
}

int growBuffer(XmlReader* r, uint64_t newCap)
{
   VXCTXT* pctxt = r->mpCtxt;
   void* p = r->ownsBuffer ? rtxMemHeapSysRealloc(VX_HEAP(pctxt), r->dataBuf, (size_t)newCap)
                           : rtxMemRealloc(pctxt, r->dataBuf, (size_t)newCap);
   if (p == nullptr) return XMLRD_FAIL(r, RTERR_NOMEM);
   r->dataBuf = static_cast<uint8_t*>(p);
   r->bufCap = newCap;
   return 0;
}

// Room for at least `reserve` + 1 more bytes: the bytes before the token
// being read (or the first mark) are dropped, or the buffer grows when the
// token fills it.
int makeRoom(XmlReader* r, uint64_t reserve)
{
   if (r->bufCap - r->bufFill > reserve) return 0;
   uint64_t keep = keepOffset(r);
   if (keep == XMLRD_NO_MARK || keep >= r->bufFill) keep = r->readPos;
   if (keep == 0) return growBuffer(r, r->bufCap + kBufStep);
   rtXmlRdUpdateSrcPos(&r->basePos, r->dataBuf, (size_t)keep);
   memmove(r->dataBuf, r->dataBuf + keep, (size_t)(r->bufFill - keep));
   shiftOffsets(r, keep);
   if (r->bufCap - r->bufFill <= reserve) return growBuffer(r, r->bufCap + kBufStep);
   return 0;
}

long readStream(XmlReader* r, uint8_t* dest, size_t n)
{
   long len = rtxStreamReadDirect(r->mpCtxt, dest, n);
   return len;
}

// Reads exactly two bytes unless the stream ends; the count read.
long readPair(XmlReader* r, uint8_t* pair)
{
   long got = 0;
   while (got < 2) {
      long len = readStream(r, pair + got, (size_t)(2 - got));
      if (len < 0) return len;
      if (len == 0) break;
      got += len;
   }
   return got;
}

// A UTF-16 text is converted to UTF-8 whole at its first fill.
long readUTF16(XmlReader* r)
{
   uint64_t start = r->bufFill;
   uint8_t pair[2];
   for (;;) {
      long got = readPair(r, pair);
      if (got < 0) return got;
      if (got < 2) break;
      if ((pair[0] == 0xFF && pair[1] == 0xFE) || (pair[0] == 0xFE && pair[1] == 0xFF)) continue;
      uint32_t code =
         r->byteForm == 3 ? (uint32_t)(pair[0] << 8 | pair[1]) : (uint32_t)(pair[1] << 8 | pair[0]);
      if (code == 0) continue;
      uint8_t utf8[6];
      int n = rtxUTF8EncodeChar(code, utf8, sizeof utf8);
      if (n <= 0) continue;
      while (r->bufCap - r->bufFill < (uint64_t)n) {
         int stat = growBuffer(r, r->bufCap + kBufStep);
         if (stat != 0) return stat;
      }
      memcpy(r->dataBuf + r->bufFill, utf8, (size_t)n);
      r->bufFill += (uint64_t)n;
   }
   uint64_t count = r->bufFill - start;
   r->bufFill = start;
   return (long)count;
}

// Latin-1 is read into the upper half of the free space and expanded to
// UTF-8 from the lower end upward, which never overtakes the bytes read.
long readLatin1(XmlReader* r)
{
   uint64_t free = r->bufCap - r->bufFill;
   uint64_t half = free / 2;
   uint8_t* upper = r->dataBuf + r->bufFill + (free - half);
   long len = readStream(r, upper, (size_t)half);
   if (len <= 0) return len;
   uint8_t* out = r->dataBuf + r->bufFill;
   for (long i = 0; i < len; i++) {
      uint8_t b = upper[i];
      if (b < 0x80) {
         *out++ = b;
      } else {
         *out++ = (uint8_t)(0xC0 | b >> 6);
         *out++ = (uint8_t)(0x80 | (b & 0x3F));
      }
   }
   return (long)(out - (r->dataBuf + r->bufFill));
}

// Fills the buffer from the stream. 0, or -2 at the end of the input
// (kept in errorCode, not recorded), or a failure.
int preReadFromStream(XmlReader* r)
{
   VXCTXT* pctxt = r->mpCtxt;
   if (r->inPlace) {
      if (r->endOfInput || pctxt->pStream != nullptr) {
         r->errorCode = RTERR_ENDOFBUF;
         return RTERR_ENDOFBUF;
      }
      // Memory-buffer mode has nothing behind its buffer to read.
      r->endOfInput = 1;
      r->errorCode = RTERR_READERR;
      return XMLRD_FAIL(r, RTERR_READERR);
   }
   if (r->dataBuf == nullptr) {
      r->dataBuf = static_cast<uint8_t*>(rtxMemHeapSysAlloc(VX_HEAP(pctxt), kBufStep));
      if (r->dataBuf == nullptr) return XMLRD_FAIL(r, RTERR_NOMEM);
      r->ownsBuffer = 1;
      r->bufCap = kBufStep;
      r->readPos = r->bufFill = 0;
   }
   uint64_t reserve = (r->byteForm != 0 ? 2 : 0) + (r->sourceEncoding == 4 ? 1 : 0);
   int stat = makeRoom(r, reserve);
   if (stat != 0) return stat;
   if (pctxt->pStream == nullptr) {
      r->errorCode = RTERR_READERR;
      return XMLRD_FAIL(r, RTERR_READERR);
   }
   long count;
   if (r->byteForm == 6)
      count = readPair(r, r->dataBuf + r->bufFill);
   else if (r->byteForm == 3 || r->byteForm == 4)
      count = readUTF16(r);
   else if (r->sourceEncoding == 4)
      count = readLatin1(r);
   else
      count = readStream(r, r->dataBuf + r->bufFill, (size_t)(r->bufCap - r->bufFill));
   if (count > 0) {
      r->lastReadStart = r->bufFill;
      r->lastReadCount = (uint64_t)count;
      r->bufFill += (uint64_t)count;
      return 0;
   }
   if (count == 0) {
      r->endOfInput = 1;
      r->errorCode = RTERR_ENDOFBUF;
      return RTERR_ENDOFBUF;
   }
   r->errorCode = (int)count;
   return (int)count;
}

// The byte at readPos, filling the buffer when it is used up; kNoByte at
// the end of the input or on failure (errorCode tells which).
VX_INLINE int peekByte(XmlReader* r)
{
   if (VX_LIKELY(r->readPos < r->bufFill)) return r->dataBuf[r->readPos];
   if (r->endOfInput) {
      r->errorCode = RTERR_ENDOFBUF;
      return kNoByte;
   }
   while (r->readPos >= r->bufFill) {
      if (preReadFromStream(r) != 0) return kNoByte;
   }
   return r->dataBuf[r->readPos];
}

// The position behind the run of bytes from `from` that keep `state`
// (within what the buffer holds).
template <size_t N>
VX_INLINE uint64_t skipStay(const XmlReader* r, const StayMap<N>& map, int state, uint64_t from)
{
   const bool* stay = map.stay[state];
   const uint8_t* d = r->dataBuf;
   uint64_t i = from, end = r->bufFill;
#if defined(__SSE2__)
   // Indentation: blanks 16 at a time, where the state keeps on a blank.
   if (stay[(unsigned char)' ']) {
      const __m128i blank = _mm_set1_epi8(' ');
      while (i + 16 <= end) {
         __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(d + i));
         unsigned same = (unsigned)_mm_movemask_epi8(_mm_cmpeq_epi8(v, blank));
         if (same != 0xFFFFu) {
            i += (uint64_t)__builtin_ctz(~same);
            break;
         }
         i += 16;
      }
   }
#endif
   while (i < end && stay[d[i]]) i++;
   return i;
}

// End of input or a failure of the read, as the machines report it: 16 for
// the end, the status otherwise.
int noByteResult(const XmlReader* r)
{
   return r->errorCode == RTERR_ENDOFBUF || r->errorCode == RTERR_READERR ? XMLRD_ENDDOC
                                                                          : r->errorCode;
}

// ---- events ----

void addDelayedTask(XmlReader* r, uint8_t task)
{
   VX_ASSERT(r->mDelayedTaskCount < XMLRD_MAX_DELAYED_TASKS);
   r->delayedTasks[(r->delayedHead + r->mDelayedTaskCount) % XMLRD_MAX_DELAYED_TASKS] = task;
   r->mDelayedTaskCount++;
}

void setData(XmlReader* r, const uint8_t* p, uint64_t len)
{
   r->lastEvent = XMLRD_DATA;
   r->lastEventLevel = r->depth;
   r->contentPtr = p;
   r->contentLen = len;
}

void freeStacks(XmlReader* r)
{
   VXCTXT* pctxt = r->mpCtxt;
   while (r->tagStack.count > 0) {
      XmlTagRec* t = static_cast<XmlTagRec*>(rtXmlRdStackPop(&r->tagStack));
      if (!r->inPlace) rtxMemFreePtr(pctxt, t->name);
   }
   for (size_t i = 0; i < r->nsStack.count; i++) {
      XmlNsRec* ns = static_cast<XmlNsRec*>(rtXmlRdStackAt(&r->nsStack, i));
      if (ns->prefixLen > sizeof ns->inlinePrefix) rtxMemFreePtr(pctxt, ns->prefix);
   }
   rtXmlRdStackFree(pctxt, &r->attrStack);
   rtXmlRdStackFree(pctxt, &r->tagStack);
   rtXmlRdStackFree(pctxt, &r->nsStack);
   rtXmlRdStackFree(pctxt, &r->markStack);
}

// The root element has ended: an attached memory stream is left just
// behind its end tag, as if the text had been read byte by byte so far.
void endOfDocument(XmlReader* r)
{
   VXCTXT* pctxt = r->mpCtxt;
   VXRTSTREAM* s = pctxt->pStream;
   if (s != nullptr && s->id == VXRT_STREAM_ID_MEMORY &&
       (pctxt->flags & VXCTXT_FLAG_BUFONLY) == 0) {
      if (r->inPlace) {
         uint64_t reads = r->readPos - pctxt->buffer.byteIndex;
         rtxTextCommit(pctxt, s, r->readPos, reads, '>');
      } else if (r->byteForm == 0 && r->sourceEncoding != 4) {
         uint64_t unread = r->bufFill - r->readPos;
         if (unread <= pctxt->buffer.byteIndex) {
            pctxt->buffer.byteIndex -= unread;
            s->ioBytes -= unread;
            s->bytesProcessed -= unread;
            if (s->readAheadLimit != 0 && s->readAheadCount >= unread) s->readAheadCount -= unread;
         }
         pctxt->lastChar = '>';
      }
   }
   // The document is over: nothing behind the root element is read.
   r->bufFill = r->readPos;
   r->endOfInput = 1;
   freeStacks(r);
}

// Closes the current element: an end event, or first the empty data event
// of an element that ended before any data was handed out.
void endElement(XmlReader* r)
{
   if (r->lastChunk) {
      r->lastEvent = XMLRD_ENDTAG;
      r->lastEventLevel = r->depth;
      if (r->depth > 0) r->depth--;
      rtXmlRdPopNamespaces(r);
      if (r->depth == 0) endOfDocument(r);
   } else {
      setData(r, r->charBuf + 1, 0);
      r->lastChunk = 1;
      addDelayedTask(r, 2);
   }
}

int processDelayedTasks(XmlReader* r)
{
   uint64_t n = r->mDelayedTaskCount;
   for (uint64_t i = 0; i < n; i++) {
      uint8_t task = r->delayedTasks[r->delayedHead];
      r->delayedHead = (r->delayedHead + 1) % XMLRD_MAX_DELAYED_TASKS;
      r->mDelayedTaskCount--;
      switch (task) {
         case 1:
            r->attrStack.count = 0;
            break;
         case 2:
            r->lastEvent = XMLRD_NONE;
            endElement(r);
            return (int)r->lastEvent;
         case 3:
            if (r->depth > 0) r->depth--;
            break;
         default:
            break;
      }
   }
   return 0;
}

int invalidSymbol(XmlReader* r, int byte)
{
   rtXmlRdLogInvSymbol(r, (uint8_t)byte);
   r->readPos++;
   return r->errorCode;
}

// ---- sub-machines ----

// Declaration, comment, processing instruction and DOCTYPE: steps until
// the machine exits, the exit byte left unread. Tokens are never cut at
// the end of the buffer: the buffer keeps them whole.
template <size_t N>
int readLoop(XmlReader* r, const Table<N>& table, int tableId, int sub)
{
   int state = r->subState[sub] > 0 ? r->subState[sub] : 1;
   for (;;) {
      int c = peekByte(r);
      if (c == kNoByte) {
         r->subState[sub] = state;
         return noByteResult(r);
      }
      int cls = kSymbols.cls[c];
      int next = nextState(table, tableId, state, cls);
      if (next == 0) {
         r->subState[sub] = 0;
         return invalidSymbol(r, c);
      }
      if (next < 0) {
         r->subState[sub] = 0;
         return 0;
      }
      r->readPos++;
      state = next;
   }
}

// The value of the encoding pseudo-attribute of the declaration at
// stepMark .. readPos, upper-cased on the heap; null if there is none.
char* getEncodingStr(XmlReader* r)
{
   const uint8_t* p = r->dataBuf + r->stepMark;
   size_t n = (size_t)(r->readPos - r->stepMark);
   static const char kName[] = "encoding";
   size_t i = 0;
   while (i < n) {
      uint8_t c = p[i];
      if (c == '"' || c == '\'') {
         const void* close = memchr(p + i + 1, c, n - i - 1);
         if (close == nullptr) return nullptr;
         i = (size_t)(static_cast<const uint8_t*>(close) - p) + 1;
         continue;
      }
      if (n - i >= 9 && memcmp(p + i, kName, 8) == 0) break;
      i++;
   }
   if (i >= n) return nullptr;
   i += 8;
   while (i < n && rtxTextIsBlank(p[i])) i++;
   if (i >= n || p[i] != '=') return nullptr;
   i++;
   while (i < n && rtxTextIsBlank(p[i])) i++;
   if (i >= n || (p[i] != '"' && p[i] != '\'')) return nullptr;
   uint8_t quote = p[i++];
   const void* close = memchr(p + i, quote, n - i);
   if (close == nullptr) return nullptr;
   size_t len = (size_t)(static_cast<const uint8_t*>(close) - (p + i));
   char* value = static_cast<char*>(rtxMemAlloc(r->mpCtxt, len + 1));
   if (value == nullptr) return nullptr;
   for (size_t k = 0; k < len; k++) {
      uint8_t c = p[i + k];
      value[k] = (char)(c >= 'a' && c <= 'z' ? c - 32 : c);
   }
   value[len] = 0;
   return value;
}

int processHeader(XmlReader* r)
{
   if (r->subState[XMLSUB_HEADER] == 0) r->stepMark = r->readPos;
   int stat = readLoop(r, kPI, XMLRD_T_DECL, XMLSUB_HEADER);
   if (stat != 0) return stat;
   char* encoding = getEncodingStr(r);
   if (encoding != nullptr) {
      if (strcmp(encoding, "UTF-16") == 0)
         r->sourceEncoding = 1;
      else if (strcmp(encoding, "ISO-8859-1") == 0)
         r->sourceEncoding = 4;
      if (r->mpCtxt->pXMLInfo != nullptr) rtXmlSetEncodingStr(r->mpCtxt, encoding);
   }
   r->readPos++;
   r->lastEvent = XMLRD_STARTDOC;
   return 0;
}

int processComments(XmlReader* r)
{
   if (r->subState[XMLSUB_COMMENT] == 0) {
      // The main machine stopped on the second "-".
      r->readPos++;
      r->stepMark = r->readPos;
   }
   int stat = readLoop(r, kComment, XMLRD_T_COMMENT, XMLSUB_COMMENT);
   if (stat != 0) return stat;
   setData(r, r->dataBuf + r->stepMark, r->readPos - r->stepMark);
   r->lastEvent = XMLRD_COMMENT;
   r->readPos++;
   return 0;
}

int processPI(XmlReader* r)
{
   r->stepMark = XMLRD_NO_MARK;
   int stat = readLoop(r, kPI, XMLRD_T_PI, XMLSUB_PI);
   if (stat != 0) return stat;
   r->readPos++;
   r->lastEvent = XMLRD_PI;
   r->lastEventLevel = r->depth;
   r->contentLen = 0;
   return 0;
}

int processDTD(XmlReader* r)
{
   r->stepMark = XMLRD_NO_MARK;
   int stat = readLoop(r, kDoctype, XMLRD_T_DOCTYPE, XMLSUB_DOCTYPE);
   if (stat != 0) return stat;
   r->readPos++;
   r->lastEvent = XMLRD_DOCTYPE;
   r->lastEventLevel = r->depth;
   r->contentLen = 0;
   return 0;
}

// The open element's name: kept in place, or copied when the buffer moves.
const char* dupName(XmlReader* r, const uint8_t* name, size_t len)
{
   if (r->inPlace) return (const char*)name;
   char* copy = static_cast<char*>(rtxMemAlloc(r->mpCtxt, len + 1));
   if (copy != nullptr) {
      memcpy(copy, name, len);
      copy[len] = 0;
   }
   return copy;
}

void setTagName(XmlReader* r, uint64_t end)
{
   r->qualName = {0, end};
   uint64_t local = r->nameLocal;
   r->localName = {local, end - local};
   r->prefixName = {0, local > 0 ? local - 1 : 0};
}

int processStartElement(XmlReader* r)
{
   int state = r->subState[XMLSUB_STARTTAG];
   if (state == 0) {
      state = 1;
      r->stepMark = r->readPos;
      r->nameLocal = 0;
   }
   VXCTXT* pctxt = r->mpCtxt;
   int next;
   for (;;) {
      int c = peekByte(r);
      if (c == kNoByte) {
         r->subState[XMLSUB_STARTTAG] = state;
         return noByteResult(r);
      }
      int cls = kSymbols.cls[c];
      next = nextState(kStartTag, XMLRD_T_STARTTAG, state, cls);
      if (next == 0) {
         r->subState[XMLSUB_STARTTAG] = 0;
         return invalidSymbol(r, c);
      }
      uint64_t off = r->readPos - r->stepMark;
      if (next != state) {
         if (next == 4) r->nameLocal = off;
         if ((next == 5 || next == 14 || next == -1) && state != 5) {
            r->attrMode = 0;
            r->emptyElement = 0;
            setTagName(r, off);
            r->depth++;
         }
         if (next == 6 && state != 6) r->attrStart = r->attrLocal = off;
         if (next == 7 && state != 6) r->attrStart = r->attrLocal = off;
         if (next == 8) r->attrLocal = off;
         if ((next == 9 || next == 10) && state != 9) {
            XmlAttrRec* a = static_cast<XmlAttrRec*>(rtXmlRdStackPushNew(pctxt, &r->attrStack));
            VX_ASSERT(a != nullptr);
            a->qName = {r->attrStart, off - r->attrStart};
            a->localName = {r->attrLocal, off - r->attrLocal};
            a->prefix = {r->attrStart,
                         r->attrLocal > r->attrStart ? r->attrLocal - r->attrStart - 1 : 0};
            a->value = {0, 0};
            a->nsIndex = 0;
         }
         if (next == 12 || next == 16) {
            r->lastChunk = 0;
            r->valueStart = off + 1;
         }
         if (next == 13) {
            XmlAttrRec* a = static_cast<XmlAttrRec*>(rtXmlRdStackTop(&r->attrStack));
            if (a != nullptr) a->value = {r->valueStart, off - r->valueStart};
         }
      }
      if (next < 0) break;
      r->readPos =
         next == state ? skipStay(r, kStartTagStay, state, r->readPos + 1) : r->readPos + 1;
      state = next;
   }
   r->subState[XMLSUB_STARTTAG] = 0;
   if (next == -3 || next == -4) {
      addDelayedTask(r, 2);
      r->emptyElement = 1;
   }
   r->lastEvent = XMLRD_STARTTAG;
   r->lastEventLevel = r->depth;
   addDelayedTask(r, 1);
   r->elemNsIndex = XMLNS_ANY;
   r->groupMode = 0;
   if (!r->emptyElement) {
      XmlTagRec* t = static_cast<XmlTagRec*>(rtXmlRdStackPushNew(pctxt, &r->tagStack));
      VX_ASSERT(t != nullptr);
      t->name = dupName(r, r->dataBuf + r->stepMark, (size_t)r->qualName.length);
      t->length = (size_t)r->qualName.length;
      if (t->name == nullptr) return XMLRD_FAIL(r, RTERR_NOMEM);
   }
   r->readPos++;
   return 0;
}

int processEndElement(XmlReader* r)
{
   int state = r->subState[XMLSUB_ENDTAG];
   if (state == 0) {
      state = 1;
      r->readPos++;  // the "/"
      r->stepMark = r->readPos;
      r->nameLocal = 0;
      r->attrStart = 0;
      r->elemNsIndex = XMLNS_UNKNOWN;
   }
   for (;;) {
      int c = peekByte(r);
      if (c == kNoByte) {
         r->subState[XMLSUB_ENDTAG] = state;
         return noByteResult(r);
      }
      int cls = kSymbols.cls[c];
      int next = nextState(kEndTag, XMLRD_T_ENDTAG, state, cls);
      if (next == 0) {
         r->subState[XMLSUB_ENDTAG] = 0;
         return invalidSymbol(r, c);
      }
      uint64_t off = r->readPos - r->stepMark;
      if (next != state) {
         if (next == 4) r->nameLocal = off;
         if ((next == 5 || next == -1) && state != 5) r->attrStart = off;  // end of the name
      }
      if (next < 0) break;
      r->readPos = next == state ? skipStay(r, kEndTagStay, state, r->readPos + 1) : r->readPos + 1;
      state = next;
   }
   r->subState[XMLSUB_ENDTAG] = 0;
   setTagName(r, r->attrStart);
   VXCTXT* pctxt = r->mpCtxt;
   const char* parsed = (const char*)(r->dataBuf + r->stepMark);
   size_t parsedLen = (size_t)r->qualName.length;
   XmlTagRec* t = static_cast<XmlTagRec*>(rtXmlRdStackPop(&r->tagStack));
   if (t == nullptr) {
      rtxErrAddStrParm(pctxt, "none");
      rtxErrAddStrnParm(pctxt, parsed, parsedLen);
      rtXmlRdErrAddSrcPos(r, false);
      r->readPos++;
      return XMLRD_FAIL(r, XML_E_TAGMISMATCH);
   }
   bool same = t->length == parsedLen && rtxUTF8StrnEqual(t->name, parsed, parsedLen);
   if (!same) {
      rtxErrAddStrnParm(pctxt, t->name, t->length);
      rtxErrAddStrnParm(pctxt, parsed, parsedLen);
      rtXmlRdErrAddSrcPos(r, false);
   }
   if (!r->inPlace && r->markStack.count == 0) rtxMemFreePtr(pctxt, t->name);
   r->readPos++;
   endElement(r);
   return same ? 0 : XMLRD_FAIL(r, XML_E_TAGMISMATCH);
}

// ---- characters and CDATA ----

// Hands out the pending bytes as one piece of data.
void deliverPending(XmlReader* r, uint64_t len) { setData(r, r->dataBuf + r->pendingStart, len); }

void deliverChar(XmlReader* r, uint8_t ch)
{
   r->charBuf[0] = ch;
   setData(r, r->charBuf, 1);
}

bool isWhiteSpaceCode(uint32_t code) { return code == 9 || code == 10 || code == 13 || code == 32; }

// Decodes the reference "&..." (without ";") into charBuf + 1; its length
// in bytes, or -1 if it is no known reference.
int transformEscapeChar(XmlReader* r, const uint8_t* ref, size_t len, uint32_t* pCode)
{
   static const struct {
      const char* name;
      char ch;
   } kEntities[] = {{"&lt", '<'}, {"&gt", '>'}, {"&amp", '&'}, {"&quot", '"'}, {"&apos", '\''}};
   for (const auto& e : kEntities) {
      if (strlen(e.name) == len && memcmp(e.name, ref, len) == 0) {
         r->charBuf[1] = (uint8_t)e.ch;
         *pCode = (uint8_t)e.ch;
         return 1;
      }
   }
   if (len < 3 || ref[1] != '#') return -1;
   bool hex = ref[2] == 'x' && len > 3;
   uint32_t value = 0;
   for (size_t i = hex ? 3 : 2; i < len; i++) {
      uint8_t c = ref[i];
      uint32_t digit;
      if (c >= '0' && c <= '9')
         digit = c - '0';
      else if (hex && c >= 'a' && c <= 'f')
         digit = c - 'a' + 10;
      else if (hex && c >= 'A' && c <= 'F')
         digit = c - 'A' + 10;
      else
         return -1;
      value = value * (hex ? 16u : 10u) + digit;  // wraps, as unsigned
   }
   int n = rtxUTF8EncodeChar(value, r->charBuf + 1, 9);
   if (n <= 0) return -1;
   *pCode = value;
   return n;
}

int badReference(XmlReader* r)
{
   rtxErrAddStrnParm(r->mpCtxt, (const char*)(r->dataBuf + r->refStart),
                     (size_t)(r->readPos - r->refStart));
   rtXmlRdErrAddSrcPos(r, false);
   r->subState[XMLSUB_CHARS] = 0;
   return XMLRD_FAIL(r, XML_E_BADCHARREF);
}

// The reference ending at the ";" under readPos. Returns 1 with an event,
// 0 to go on in the loop, or a failure.
int charsReference(XmlReader* r, int p, int n)
{
   uint32_t code = 0;
   int len =
      transformEscapeChar(r, r->dataBuf + r->refStart, (size_t)(r->readPos - r->refStart), &code);
   if (len < 0) return badReference(r);
   r->readPos++;  // the ";"
   r->pendingStart = r->readPos;
   r->stepMark = r->readPos;
   r->subState[XMLSUB_CHARS] = n;
   if (r->wsMode == 0) {
      setData(r, r->charBuf + 1, (uint64_t)len);
      return 1;
   }
   bool ws = isWhiteSpaceCode(code);
   if (r->wsMode == 1) {
      if (ws)
         deliverChar(r, ' ');
      else
         setData(r, r->charBuf + 1, (uint64_t)len);
      return 1;
   }
   if (ws) {
      if (p == 8 && r->listMode) {
         setData(r, r->charBuf + 1, 0);
         r->lastChunk = 1;
         r->subState[XMLSUB_CHARS] = 5;
         return 1;
      }
      r->subState[XMLSUB_CHARS] = p == 7 ? 5 : 10;
      return 0;
   }
   if (p == 11 && r->listMode) {
      r->charBuf[0] = ' ';
      setData(r, r->charBuf, (uint64_t)len + 1);
   } else {
      setData(r, r->charBuf + 1, (uint64_t)len);
   }
   return 1;
}

int processCharacters(XmlReader* r)
{
   if (r->subState[XMLSUB_CHARS] == 0) {
      r->subState[XMLSUB_CHARS] = r->wsMode == 2 ? 5 : 1;
      r->lastChunk = 0;
      r->isCData = 0;
   }
   r->stepMark = r->pendingStart = r->readPos;
   uint64_t pendingLen = 0;
   for (;;) {
      int p = r->subState[XMLSUB_CHARS];
      if (r->lastEvent != XMLRD_NONE || p <= 0) return 1;
      int c = peekByte(r);
      if (c == kNoByte) return noByteResult(r);
      if (c == '\r' && (p == 1 || p == 4)) {
         if (r->readPos > r->pendingStart) {
            r->subState[XMLSUB_CHARS] = 12;
            deliverPending(r, r->readPos - r->pendingStart);
            r->readPos++;
            return 1;
         }
         r->readPos++;
         c = peekByte(r);
         if (c == '\r') {
            r->readPos++;
            c = peekByte(r);
         }
         r->stepMark = r->pendingStart = r->readPos;
         if (c == kNoByte) return noByteResult(r);
         p = 12;
      }
      if (p == 12) {
         XMLRD_ROW_HIT(XMLRD_T_CHARS, 12);
         r->subState[XMLSUB_CHARS] = p = 1;
         if (c != '\n') {
            deliverChar(r, r->wsMode == 0 ? '\n' : ' ');
            return 1;
         }
      }
      int cls = kSymbols.cls[c];
      int n = nextState(kChars, XMLRD_T_CHARS, p, cls);
      if (n == 0) {
         r->subState[XMLSUB_CHARS] = 0;
         return invalidSymbol(r, c);
      }
      if (n == p) {
         r->readPos = skipStay(r, kCharsStay, p, r->readPos + 1);
         continue;
      }
      if (p == 5 || p == 10) r->stepMark = r->pendingStart = r->readPos;
      switch (n) {
         case 2:
            pendingLen = r->readPos - r->pendingStart;
            r->lastChunk = 0;
            r->readPos++;
            r->subState[XMLSUB_CHARS] = 2;
            break;
         case -1:
         case -2:
            r->readPos--;  // the "<" is read again
            if (n == -2) r->lastChunk = 1;
            deliverPending(r, pendingLen);
            r->subState[XMLSUB_CHARS] = 0;
            return 0;
         case 3:
         case 7:
         case 8:
         case 11:
            if (n == 11 && p == 10 && !r->listMode) {
               r->subState[XMLSUB_CHARS] = 6;
               deliverChar(r, ' ');
               return 1;
            }
            if (!r->rawMode) {
               if (r->readPos > r->pendingStart) {
                  r->subState[XMLSUB_CHARS] = p;
                  deliverPending(r, r->readPos - r->pendingStart);
                  return 1;
               }
               r->refStart = r->readPos;
            }
            r->readPos++;
            r->subState[XMLSUB_CHARS] = n;
            break;
         case 4:
         case 9:
            if (r->rawMode) {
               r->readPos++;
               r->subState[XMLSUB_CHARS] = n;
               break;
            }
            {
               int stat = charsReference(r, p, n);
               if (stat != 0) return stat;
            }
            break;
         case 6:
            if (p == 10 && !r->listMode) {
               r->subState[XMLSUB_CHARS] = 6;
               deliverChar(r, ' ');
               return 1;
            }
            r->readPos++;
            r->subState[XMLSUB_CHARS] = n;
            break;
         case 10:
            r->subState[XMLSUB_CHARS] = 10;
            if (r->readPos > r->pendingStart || r->listMode) {
               if (r->listMode) {
                  r->lastChunk = 1;
                  r->subState[XMLSUB_CHARS] = 5;
               }
               deliverPending(r, r->readPos - r->pendingStart);
               return 1;
            }
            r->stepMark = r->pendingStart = r->readPos;
            r->readPos++;
            break;
         default:
            r->readPos++;
            r->subState[XMLSUB_CHARS] = n;
            break;
      }
   }
}

int processCDATA(XmlReader* r)
{
   int& state = r->subState[XMLSUB_CDATA];
   if (state == 0) {
      state = 1;
      r->isCData = 1;
      r->lastChunk = 0;
   }
   bool collapse = r->wsMode == 2;
   for (;;) {
      if (r->lastEvent != XMLRD_NONE) return 1;
      int c = peekByte(r);
      if (c == kNoByte) return noByteResult(r);
      if (c == '\r' && !collapse && state >= 8 && state <= 10) {
         if (r->readPos > r->pendingStart) {
            state = 18;
            deliverPending(r, r->readPos - r->pendingStart);
            r->readPos++;
            r->stepMark = r->pendingStart = r->readPos;
            return 1;
         }
         r->readPos++;
         c = peekByte(r);
         r->stepMark = r->pendingStart = r->readPos;
         if (c == kNoByte) return noByteResult(r);
         state = 18;
      }
      if (state == 18) {
         XMLRD_ROW_HIT(XMLRD_T_CDATA, 18);
         state = 8;
         if (c != '\n') {
            deliverChar(r, r->wsMode == 0 ? '\n' : ' ');
            return 1;
         }
      }
      int cls = kCDataSymbols.cls[c];
      int n = nextState(kCData, XMLRD_T_CDATA, state, cls);
      if (n == 0) {
         state = 0;
         return invalidSymbol(r, c);
      }
      if (n < 0) {
         // The data ends at the first "]" of the closing "]]>".
         uint64_t end = r->readPos - 2;
         r->lastChunk = 1;
         deliverPending(r, state == 17 || end < r->pendingStart ? 0 : end - r->pendingStart);
         r->readPos++;
         state = 0;
         return 0;
      }
      if (collapse) {
         if ((state == 12 || state == 13 || state == 14) && n == 15) {
            // The first blank behind a word ends it.
            state = 15;
            deliverPending(r, r->readPos - r->pendingStart);
            return 1;
         }
         if (state == 15 && n == 12) {
            // A word after blanks: one blank first.
            r->stepMark = r->pendingStart = r->readPos;
            state = 12;
            deliverChar(r, ' ');
            return 1;
         }
         if ((state == 16 && n != 17) || (state == 17 && n != 16)) {
            // The brackets behind the blanks begin a word after all.
            state = state == 16 ? 13 : 14;
            deliverChar(r, ' ');
            return 1;
         }
         if (n == 11 || (state == 15 && n == 15)) r->stepMark = r->pendingStart = r->readPos + 1;
         if (state == 15 && n == 16) r->stepMark = r->pendingStart = r->readPos;
      }
      r->readPos++;
      if (state == 7) r->stepMark = r->pendingStart = r->readPos;
      state = n == 8 && state == 7 && collapse ? 11 : n;
   }
}

// ---- the document machines ----

int runSubMachine(XmlReader* r, int exitCode)
{
   switch (exitCode) {
      case X_HEADER:
         return processHeader(r);
      case X_COMMENT:
         return processComments(r);
      case X_STARTTAG:
         return processStartElement(r);
      case X_DOCTYPE:
         return processDTD(r);
      case X_CHARS:
         return processCharacters(r);
      case X_PI:
         return processPI(r);
      case X_ENDTAG:
         return processEndElement(r);
      case X_CDATA:
         return processCDATA(r);
      default:
         return XMLRD_FAIL(r, RTERR_XMLSTATE);
   }
}

// The byte form of the input from its first two bytes; they stay in the
// buffer, where a byte order mark is passed over as class other.
int checkForUTF16BOM(XmlReader* r)
{
   if (r->inPlace || r->bufFill > 0) return 0;
   r->byteForm = 6;
   while (r->bufFill < 2) {
      int stat = preReadFromStream(r);
      if (stat == RTERR_ENDOFBUF && r->bufFill > 0) break;
      if (stat != 0) {
         r->byteForm = 0;
         return stat == RTERR_ENDOFBUF ? XMLRD_FAIL(r, RTERR_ENDOFBUF) : stat;
      }
   }
   r->endOfInput = 0;
   const uint8_t* b = r->dataBuf;
   if (r->bufFill < 2)
      r->byteForm = 0;
   else if ((b[0] == 0xFF && b[1] == 0xFE) || (b[0] == '<' && b[1] == 0))
      r->byteForm = 4;
   else if ((b[0] == 0xFE && b[1] == 0xFF) || (b[0] == 0 && b[1] == '<'))
      r->byteForm = 3;
   else
      r->byteForm = 0;
   return 0;
}

template <size_t N>
int runDocumentMachine(XmlReader* r, const Table<N>& table, int tableId)
{
   while (r->lastEvent == XMLRD_NONE) {
      if (r->mainState < 0) {
         int stat = runSubMachine(r, r->mainState);
         if (stat == 0) {
            r->mainState = 1;
         } else if (stat == XMLRD_ENDDOC) {
            r->lastEvent = XMLRD_ENDDOC;
            return XMLRD_ENDDOC;
         } else if (stat < 0) {
            r->mainState = 1;
            return stat;
         }
         continue;
      }
      // Between tokens nothing need stay in the buffer.
      if (r->markStack.count == 0) r->stepMark = XMLRD_NO_MARK;
      while (r->mainState > 0) {
         int c = peekByte(r);
         if (c == kNoByte) {
            int stat = noByteResult(r);
            if (stat != XMLRD_ENDDOC) return stat;
            r->lastEvent = XMLRD_ENDDOC;
            return XMLRD_ENDDOC;
         }
         int cls = kSymbols.cls[c];
         if (cls < 0) return invalidSymbol(r, c);
         int next = nextState(table, tableId, r->mainState, cls);
         if (next == 0) {
            r->mainState = 1;
            return XMLRD_FAIL(r, RTERR_XMLSTATE);
         }
         r->mainState = next;
         if (next > 0) r->readPos++;
      }
   }
   return (int)r->lastEvent;
}

}  // namespace

// ---- reader API ----

int rtXmlRdPeekAt(XmlReader* r, uint64_t ahead)
{
   while (r->readPos + ahead >= r->bufFill) {
      if (r->endOfInput || preReadFromStream(r) != 0) return -1;
   }
   return r->dataBuf[r->readPos + ahead];
}

int rtXmlRdDecodeReference(XmlReader* r, const uint8_t* ref, size_t len, uint32_t* pCode)
{
   return transformEscapeChar(r, ref, len, pCode);
}

int rtXmlRdSetError(XmlReader* pReader, int status, int line)
{
   pReader->errorCode = status;
   rtxErrSetNewData(pReader->mpCtxt, status, "rtxmlsrc/rtXmlPull", line);
   return status;
}

int rtXmlRdNext(XmlReader* r)
{
   int ev = processDelayedTasks(r);
   if (ev != 0) return ev;
   r->emptyElement = 0;
   uint32_t last = rtXmlRdEvent(r);
   if (last == XMLRD_ENDDOC && r->endOfInput) {
      r->lastEvent = XMLRD_ENDDOC;
      return XMLRD_ENDDOC;
   }
   if (last == XMLRD_NONE) {
      int stat = checkForUTF16BOM(r);
      if (stat != 0) return stat;
   }
   r->lastEvent = XMLRD_NONE;
   r->lastEventLevel = 0;
   if (r->mainState == 0) r->mainState = 1;
   int result = last == XMLRD_NONE       ? runDocumentMachine(r, kDocStart, XMLRD_T_DOCSTART)
                : last == XMLRD_STARTDOC ? runDocumentMachine(r, kAfterDecl, XMLRD_T_AFTERDECL)
                                         : runDocumentMachine(r, kMain, XMLRD_T_MAIN);
   if (r->inPlace && r->mpCtxt->pStream == nullptr) r->mpCtxt->buffer.byteIndex = r->readPos;
   return result;
}

const uint8_t* rtXmlRdGetPtr(XmlReader* r, uint64_t offset, uint64_t* pRemaining)
{
   uint64_t base = r->stepMark != XMLRD_NO_MARK ? r->stepMark : 0;
   uint64_t at = base + offset;
   if (pRemaining != nullptr) *pRemaining = at <= r->readPos ? r->readPos - at : 0;
   return r->dataBuf + at;
}

// ---- creation ----

namespace {

void initReaderVars(XmlReader* r)
{
   r->mainState = 1;
   r->stepMark = XMLRD_NO_MARK;
   r->attrsVisible = 1;
   r->elemNsIndex = XMLNS_ANY;
}

void initStacks(VXCTXT* pctxt, XmlReader* r)
{
   rtXmlRdStackInit(pctxt, &r->attrStack, sizeof(XmlAttrRec), 4);
   rtXmlRdStackInit(pctxt, &r->tagStack, sizeof(XmlTagRec), 8);
   rtXmlRdStackInit(pctxt, &r->nsStack, sizeof(XmlNsRec), 2);
   rtXmlRdStackInit(pctxt, &r->markStack, sizeof(XmlMarkRec), 2);
}

// Whether the text will need converting (UTF-16, or declared ISO-8859-1);
// such a text is read through the stream.
bool needsConversion(const uint8_t* p, uint64_t n)
{
   if (n >= 2 && ((p[0] == 0xFF && p[1] == 0xFE) || (p[0] == 0xFE && p[1] == 0xFF) ||
                  (p[0] == '<' && p[1] == 0) || (p[0] == 0 && p[1] == '<')))
      return true;
   uint64_t i = 0;
   while (i < n && p[i] != '<') i++;
   if (i + 1 >= n || p[i + 1] != '?') return false;
   uint64_t end = i;
   while (end + 1 < n && !(p[end] == '?' && p[end + 1] == '>')) end++;
   static const char kLatin1[] = "ISO-8859-1";
   for (uint64_t k = i; k + sizeof kLatin1 - 1 <= end; k++) {
      size_t m = 0;
      while (m < sizeof kLatin1 - 1 && (p[k + m] & 0xDF) == (kLatin1[m] & 0xDF)) m++;
      if (m == sizeof kLatin1 - 1) return true;
   }
   return false;
}

// Where the reader takes its bytes: the context's memory buffer (no
// stream), the bytes of an attached memory stream in place, or the stream
// through its own buffer.
void initReaderInput(XmlReader* r)
{
   VXCTXT* pctxt = r->mpCtxt;
   VXRTSTREAM* pMemStream = nullptr;
   bool buffer = rtxInputIsBuffer(pctxt, &pMemStream);
   bool noStream = !rtxCtxtHasLiveStream(pctxt);
   r->inPlace = 0;
   if (noStream || (buffer && pMemStream != nullptr &&
                    !needsConversion(pctxt->buffer.data + pctxt->buffer.byteIndex,
                                     pctxt->buffer.size - pctxt->buffer.byteIndex))) {
      r->inPlace = 1;
      r->dataBuf = pctxt->buffer.data;
      r->readPos = pctxt->buffer.byteIndex;
      r->bufCap = r->bufFill = pctxt->buffer.size;
      if (noStream && r->bufFill >= 2) {
         const uint8_t* b = r->dataBuf;
         if ((b[0] == 0xFF && b[1] == 0xFE) || (b[0] == '<' && b[1] == 0))
            r->byteForm = 4;
         else if ((b[0] == 0xFE && b[1] == 0xFF) || (b[0] == 0 && b[1] == '<'))
            r->byteForm = 3;
      }
   } else {
      r->useStreamMark = 1;
   }
}

}  // namespace

XmlReader* rtXmlRdCreateXmlReader(VXCTXT* pctxt)
{
   rtErrXmlInit();
   XmlReader* r = static_cast<XmlReader*>(rtxMemHeapSysAllocZ(VX_HEAP(pctxt), sizeof(XmlReader)));
   if (r == nullptr) {
      VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
      return nullptr;
   }
   r->mpCtxt = pctxt;
   initReaderVars(r);
   initStacks(pctxt, r);
   initReaderInput(r);
   if (r->inPlace && !rtxCtxtHasLiveStream(pctxt) &&
       (r->dataBuf == nullptr || r->bufFill <= r->readPos)) {
      rtXmlpFreeReader(pctxt, r);
      VX_LOG_ERRNEW(pctxt, RTERR_ENDOFBUF);
      return nullptr;
   }
   r->basePos = XmlSrcPos{};
   rtXmlRdNext(r);
   return r;
}

int rtXmlRdResetXmlReader(XmlReader* r)
{
   VXCTXT* pctxt = r->mpCtxt;
   freeStacks(r);
   uint8_t* buf = r->ownsBuffer ? r->dataBuf : nullptr;
   uint64_t cap = r->ownsBuffer ? r->bufCap : 0;
   XmlReader fresh{};
   *r = fresh;
   r->mpCtxt = pctxt;
   initReaderVars(r);
   initStacks(pctxt, r);
   initReaderInput(r);
   if (!r->inPlace && buf != nullptr) {
      r->dataBuf = buf;
      r->bufCap = cap;
      r->ownsBuffer = 1;
   } else if (buf != nullptr) {
      rtxMemHeapSysFreePtr(VX_HEAP(pctxt), buf);
   }
   int stat = rtXmlRdNext(r);
   return stat < 0 ? stat : 0;
}

void rtXmlpFreeReader(VXCTXT* pctxt, XmlReader* r)
{
   if (r == nullptr) return;
   freeStacks(r);
   if (r->ownsBuffer) rtxMemHeapSysFreePtr(VX_HEAP(pctxt), r->dataBuf);
   rtxMemHeapSysFreePtr(VX_HEAP(pctxt), r);
}
