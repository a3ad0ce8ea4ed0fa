// The XML writer and pull reader against the JSON writer and reader on the
// same content: a document of about 100 KB of nested records with numbers.
// The writers build it into a growing buffer; the XML reader pulls every
// event (in place over a memory stream, and through its own buffer), the
// JSON reader validates the whole text in one pass. XmlReadElems/doc reads
// the XML document as a generated decoder would: element tables, sequence
// positions and number readers, every value checked against the writer's.
//
// XmlWrite/doc writes through the steps the generated encoders call,
// XmlWriteGeneral/doc through the general writer functions.
//
// Per-byte instruction counts: tools/costsplit.py build XmlWrite/doc ...
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "jsonGen.h"
#include "rtJson.h"
#include "rtXml.h"
#include "rtXmlDec.h"
#include "rtXmlPull.h"
#include "rtxBuffer.h"
#include "rtxError.h"
#include "rtxMemBuf.h"
#include "rtxMemory.h"
#include "rtxStream.h"
#include "xmlGenWrite.h"

namespace {

constexpr int kItems = 650;

struct Item {
   int32_t id, lat, lon, speed;
};

Item itemAt(int i)
{
   return Item{i * 7919, -12345678 + i * 1031, 98765432 - i * 977, (i * 37) % 16383};
}

// The writers are laid out as the generated encoders are: a function per
// type, the XML one taking its element name from its parent. `id` and
// `speed` are components written in place, `lat` and `lon` values of a
// number type of their own, `pos` and `item` SEQUENCEs, the items a list.
// Kept apart as a separate unit would keep them: no inlining, and (GCC) no
// clone specialised to the one name its single caller passes.
#if defined(__clang__)
#define VX_TYPE_FN __attribute__((noinline))
#else
#define VX_TYPE_FN __attribute__((noinline, noclone))
#endif

const Item* items()
{
   static const Item* const all = [] {
      static Item v[kItems];
      for (int i = 0; i < kItems; i++) v[i] = itemAt(i);
      return v;
   }();
   return all;
}

VX_TYPE_FN int xmlEncCoord(VXCTXT* pctxt, XmlGenOut out, int32_t value, XmlGenName name)
{
   return xmlGenInt(pctxt, out, value, name);
}

VX_TYPE_FN int xmlEncPos(VXCTXT* pctxt, XmlGenOut out, const Item* it, XmlGenName name)
{
   int stat = xmlGenStart(pctxt, out, name);
   if (stat == 0) stat = xmlEncCoord(pctxt, out, it->lat, XmlGenName{"lat", 3});
   if (stat == 0) stat = xmlEncCoord(pctxt, out, it->lon, XmlGenName{"lon", 3});
   if (stat == 0) stat = xmlGenEnd(pctxt, out, name);
   return stat;
}

VX_TYPE_FN int xmlEncItem(VXCTXT* pctxt, XmlGenOut out, const Item* it, XmlGenName name)
{
   int stat = xmlGenStart(pctxt, out, name);
   if (stat == 0) stat = xmlGenInt(pctxt, out, it->id, XmlGenName{"id", 2});
   if (stat == 0) stat = xmlEncPos(pctxt, out, it, XmlGenName{"pos", 3});
   if (stat == 0) stat = xmlGenUInt(pctxt, out, (uint32_t)it->speed, XmlGenName{"speed", 5});
   if (stat == 0) stat = xmlGenEnd(pctxt, out, name);
   return stat;
}

VX_TYPE_FN int xmlEncList(VXCTXT* pctxt, const Item* list, int n, const char* elemName)
{
   const XmlGenOut out = xmlGenOutput(pctxt);
   const XmlGenName name = xmlGenNameOf(elemName);
   int stat = xmlGenStart(pctxt, out, name);
   for (int i = 0; i < n && stat == 0; i++)
      stat = xmlEncItem(pctxt, out, &list[i], XmlGenName{"item", 4});
   if (stat == 0) stat = xmlGenEnd(pctxt, out, name);
   return stat;
}

// The document as a message is written: the root's start tag left open,
// the list with the empty name (so its start only closes the root's tag).
int writeXml(VXCTXT* pctxt)
{
   pctxt->buffer.byteIndex = 0;
   pctxt->state = XMLSTATE_INITIAL;
   int stat = rtXmlEncStartDocument(pctxt);
   if (stat == 0) stat = rtXmlEncStartElement(pctxt, "doc", nullptr, nullptr, false);
   if (stat == 0) stat = xmlEncList(pctxt, items(), kItems, "");
   if (stat == 0) stat = rtXmlEncEndElement(pctxt, "doc", nullptr);
   return stat;
}

// The same document through the general writer functions alone.
int writeXmlGeneral(VXCTXT* pctxt)
{
   pctxt->buffer.byteIndex = 0;
   pctxt->state = XMLSTATE_INITIAL;
   int stat = rtXmlEncStartDocument(pctxt);
   if (stat == 0) stat = rtXmlEncStartElement(pctxt, "doc", nullptr, nullptr, true);
   for (int i = 0; i < kItems && stat == 0; i++) {
      const Item& it = items()[i];
      stat = rtXmlEncStartElement(pctxt, "item", nullptr, nullptr, true);
      if (stat == 0) stat = rtXmlEncInt(pctxt, it.id, "id", nullptr);
      if (stat == 0) stat = rtXmlEncStartElement(pctxt, "pos", nullptr, nullptr, true);
      if (stat == 0) stat = rtXmlEncInt(pctxt, it.lat, "lat", nullptr);
      if (stat == 0) stat = rtXmlEncInt(pctxt, it.lon, "lon", nullptr);
      if (stat == 0) stat = rtXmlEncEndElement(pctxt, "pos", nullptr);
      if (stat == 0) stat = rtXmlEncUInt(pctxt, (uint32_t)it.speed, "speed", nullptr);
      if (stat == 0) stat = rtXmlEncEndElement(pctxt, "item", nullptr);
   }
   if (stat == 0) stat = rtXmlEncEndElement(pctxt, "doc", nullptr);
   return stat;
}

VX_TYPE_FN int jsonEncCoord(VXCTXT* pctxt, const int32_t* value)
{
   return jsonGenPutInt(pctxt, *value, rtxTxtWriteInt);
}

VX_TYPE_FN int jsonEncPos(VXCTXT* pctxt, const Item* it)
{
   const JsonGenOut out = jsonGenOutput(pctxt);
   int stat = jsonGenOpenKey(pctxt, out, "\"lat\":", 6);
   if (stat == 0) stat = jsonEncCoord(pctxt, &it->lat);
   if (stat == 0) stat = jsonGenNextKey(pctxt, out, "\"lon\":", 6);
   if (stat == 0) stat = jsonEncCoord(pctxt, &it->lon);
   if (stat == 0) stat = jsonGenClose(pctxt, out, '}');
   return stat;
}

VX_TYPE_FN int jsonEncItem(VXCTXT* pctxt, const Item* it)
{
   const JsonGenOut out = jsonGenOutput(pctxt);
   int stat = 0;
   if (!jsonGenOpenKeyNumber(pctxt, out, "\"id\":", 5, it->id)) {
      stat = jsonGenOpenKey(pctxt, out, "\"id\":", 5);
      if (stat == 0) stat = jsonGenPutInt(pctxt, it->id, rtxTxtWriteInt);
   }
   if (stat == 0) stat = jsonGenNextKey(pctxt, out, "\"pos\":", 6);
   if (stat == 0) stat = jsonEncPos(pctxt, it);
   if (stat == 0 && !jsonGenNextKeyNumber(pctxt, out, "\"speed\":", 8, it->speed)) {
      stat = jsonGenNextKey(pctxt, out, "\"speed\":", 8);
      if (stat == 0) stat = jsonGenPutInt(pctxt, it->speed, rtxTxtWriteInt);
   }
   if (stat == 0) stat = jsonGenClose(pctxt, out, '}');
   return stat;
}

VX_TYPE_FN int jsonEncList(VXCTXT* pctxt, const Item* list, int n)
{
   const JsonGenOut out = jsonGenOutput(pctxt);
   int stat = jsonGenOpen(pctxt, out, '[');
   for (int i = 0; i < n && stat == 0; i++) {
      if (i > 0) stat = jsonGenNext(pctxt, out);
      if (stat == 0) stat = jsonEncItem(pctxt, &list[i]);
   }
   if (stat == 0) stat = jsonGenClose(pctxt, out, ']');
   return stat;
}

// The same content as one JSON object with the list under "item".
int writeJson(VXCTXT* pctxt)
{
   pctxt->buffer.byteIndex = 0;
   pctxt->indent = 0;
   const JsonGenOut out = jsonGenOutput(pctxt);
   int stat = jsonGenOpenKey(pctxt, out, "\"item\":", 7);
   if (stat == 0) stat = jsonEncList(pctxt, items(), kItems);
   if (stat == 0) stat = jsonGenClose(pctxt, out, '}');
   return stat;
}

// A context writing into a growing buffer, kept from run to run.
struct Writer {
   VXCTXT ctx;
   explicit Writer(bool xml)
   {
      rtInitContext(&ctx);
      if (xml) {
         rtXmlInitCtxtAppInfo(&ctx);
         ctx.flags |= VXCTXT_FLAG_NOXMLNS;
         rtXmlSetEncBufPtr(&ctx, nullptr, 0);
      } else {
         rtxInitContextBuffer(&ctx, nullptr, 0);
      }
   }
   ~Writer() { rtFreeContext(&ctx); }
   std::string text() const
   {
      return std::string((const char*)ctx.buffer.data, ctx.buffer.byteIndex);
   }
};

const std::string& xmlText()
{
   static const std::string text = [] {
      Writer w(true);
      writeXml(&w.ctx);
      return w.text();
   }();
   return text;
}

const std::string& jsonText()
{
   static const std::string text = [] {
      Writer w(false);
      writeJson(&w.ctx);
      return w.text();
   }();
   return text;
}

__attribute__((noinline)) int xmlWriteOnce(VXCTXT* pctxt) { return writeXml(pctxt); }
__attribute__((noinline)) int xmlWriteGeneralOnce(VXCTXT* pctxt) { return writeXmlGeneral(pctxt); }
__attribute__((noinline)) int jsonWriteOnce(VXCTXT* pctxt) { return writeJson(pctxt); }

// Pulls every event; names and data are looked at as a decoder would.
__attribute__((noinline)) long xmlReadOnce(const std::string& text, bool buffered)
{
   VXCTXT ctx;
   rtInitContext(&ctx);
   VXRTMEMBUF capture;
   rtxMemBufInit(&ctx, &capture, 0);
   rtxStreamMemoryAttach(&ctx, (const uint8_t*)text.data(), text.size(), VXRT_STREAM_INPUT);
   if (buffered) rtxStreamSetCapture(&ctx, &capture);
   XmlReader* r = rtXmlRdCreateXmlReader(&ctx);
   long sum = 0;
   int ev = r != nullptr ? (int)r->lastEvent : -1;
   while (ev > 0 && ev != XMLRD_ENDDOC) {
      if (ev == XMLRD_STARTTAG) {
         const uint8_t* name;
         size_t len;
         rtXmlRdGetTagName(r, &name, &len, nullptr);
         sum += (long)len;
      } else if (ev == XMLRD_DATA) {
         sum += (long)r->contentLen;
      }
      ev = rtXmlRdNext(r);
   }
   if (ev < 0) sum = ev;
   rtXmlpFreeReader(&ctx, r);
   rtxMemBufFree(&capture);
   rtFreeContext(&ctx);
   return sum;
}

// ---- the document through the decoding layer ------------------------------

// Element tables as the generator lays them out: one row per component, and
// for a SEQUENCE one group per position.
const XmlElemDescr kDocElems[] = {{"item", 4, 0, 1}};
const XmlElemDescr kItemElems[] = {{"id", 2, 0, 1}, {"pos", 3, 0, 2}, {"speed", 5, 0, 3}};
const XmlGroupDescr kItemGroups[] = {{0, 1, -1}, {1, 1, -1}, {2, 1, -1}};
const XmlElemDescr kPosElems[] = {{"lat", 3, 0, 1}, {"lon", 3, 0, 2}};
const XmlGroupDescr kPosGroups[] = {{0, 1, -1}, {1, 1, -1}};

// The element `id` expected at each position of a SEQUENCE of `n` required
// components; `value` reads the one found and closes it.
template <typename Value>
int decSeq(VXCTXT* pctxt, const XmlElemDescr* elems, const XmlGroupDescr* groups, int n,
           Value value)
{
   for (int pos = 0; pos < n; pos++) {
      int id = rtXmlpGetNextSeqElemID(pctxt, elems, groups, pos, n - 1, false);
      if (id < 0) return id;
      if (id != pos + 1) return -1;
      int stat = value(id);
      if (stat == 0) stat = rtXmlpMatchEndTag(pctxt, -1);
      if (stat != 0) return stat;
   }
   return 0;
}

int decPos(VXCTXT* pctxt, Item* it)
{
   return decSeq(pctxt, kPosElems, kPosGroups, 2,
                 [&](int id) { return rtXmlpDecInt(pctxt, id == 1 ? &it->lat : &it->lon); });
}

int decItem(VXCTXT* pctxt, Item* it)
{
   return decSeq(pctxt, kItemElems, kItemGroups, 3, [&](int id) {
      if (id == 1) return rtXmlpDecInt(pctxt, &it->id);
      if (id == 2) return decPos(pctxt, it);
      uint16_t speed = 0;
      int stat = rtXmlpDecUInt16(pctxt, &speed);
      it->speed = speed;
      return stat;
   });
}

// The number of items read, each compared with what was written, or a
// failure.
__attribute__((noinline)) int xmlReadElemsOnce(const std::string& text)
{
   VXCTXT ctx;
   rtInitContext(&ctx);
   rtXmlInitCtxtAppInfo(&ctx);
   rtxStreamMemoryAttach(&ctx, (const uint8_t*)text.data(), text.size(), VXRT_STREAM_INPUT);
   int stat = rtXmlpCreateReader(&ctx);
   if (stat == 0) stat = rtXmlpMatchStartTag(&ctx, "doc", 0);
   int n = 0;
   while (stat == 0) {
      int id = rtXmlpGetNextElemID(&ctx, kDocElems, 1, -1, true);
      if (id == XML_OK_EOB) break;
      if (id != 1) {
         stat = id < 0 ? id : -1;
         break;
      }
      Item got{}, want = itemAt(n);
      stat = decItem(&ctx, &got);
      if (stat == 0) stat = rtXmlpMatchEndTag(&ctx, -1);
      if (stat == 0 && (got.id != want.id || got.lat != want.lat || got.lon != want.lon ||
                        got.speed != want.speed))
         stat = -1;
      n++;
   }
   if (stat == 0) stat = rtXmlpMatchEndTag(&ctx, -1);
   if (stat == 0) stat = rtxErrGetStatus(&ctx);
   rtFreeContext(&ctx);
   return stat != 0 ? stat : n;
}

// Calls of the system allocator made by one call of `fn`.
size_t g_allocs = 0;
void* countMalloc(size_t n) { return g_allocs++, std::malloc(n); }
void* countRealloc(void* p, size_t n) { return g_allocs++, std::realloc(p, n); }

template <typename Fn>
double allocsOf(Fn fn)
{
   rtxMemSetAllocFuncs(countMalloc, countRealloc, std::free);
   g_allocs = 0;
   fn();
   size_t n = g_allocs;
   rtxMemSetAllocFuncs(std::malloc, std::realloc, std::free);
   return (double)n;
}

__attribute__((noinline)) int jsonReadOnce(const std::string& text)
{
   VXCTXT ctx;
   rtInitContext(&ctx);
   rtxStreamMemoryAttach(&ctx, (const uint8_t*)text.data(), text.size(), VXRT_STREAM_INPUT);
   int stat = rtJsonDecAnyType(&ctx, nullptr);
   rtFreeContext(&ctx);
   return stat;
}

// The XML writers must agree on the text before they are timed.
void BM_Write(benchmark::State& state, bool xml, int (*writeOnce)(VXCTXT*))
{
   Writer w(xml);
   if (writeOnce(&w.ctx) != 0) return state.SkipWithError("writer failed");
   if (xml) {
      Writer general(true);
      if (xmlWriteGeneralOnce(&general.ctx) != 0 || general.text() != w.text())
         return state.SkipWithError("the XML writers disagree");
   }
   for (auto _ : state) {
      if (writeOnce(&w.ctx) != 0) return state.SkipWithError("writer failed");
   }
   state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)w.ctx.buffer.byteIndex);
   state.counters["bytes"] = (double)w.ctx.buffer.byteIndex;
}

void BM_XmlRead(benchmark::State& state, bool buffered)
{
   const std::string& text = xmlText();
   for (auto _ : state) {
      if (xmlReadOnce(text, buffered) < 0) return state.SkipWithError("XML reader failed");
   }
   state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)text.size());
   state.counters["bytes"] = (double)text.size();
}

// The system allocator is asked the same few times whatever the number of
// items: "allocs" counts its calls in one reading of the document.
void BM_XmlReadElems(benchmark::State& state)
{
   const std::string& text = xmlText();
   for (auto _ : state) {
      if (xmlReadElemsOnce(text) != kItems) return state.SkipWithError("XML decoding failed");
   }
   state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)text.size());
   state.counters["bytes"] = (double)text.size();
   state.counters["allocs"] = allocsOf([&] { xmlReadElemsOnce(text); });
}

void BM_JsonRead(benchmark::State& state)
{
   const std::string& text = jsonText();
   for (auto _ : state) {
      if (jsonReadOnce(text) != 0) return state.SkipWithError("JSON reader failed");
   }
   state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)text.size());
   state.counters["bytes"] = (double)text.size();
}

}  // namespace

BENCHMARK_CAPTURE(BM_Write, xml, true, xmlWriteOnce)->Name("XmlWrite/doc");
BENCHMARK_CAPTURE(BM_Write, xmlgeneral, true, xmlWriteGeneralOnce)->Name("XmlWriteGeneral/doc");
BENCHMARK_CAPTURE(BM_Write, json, false, jsonWriteOnce)->Name("JsonWrite/doc");
BENCHMARK_CAPTURE(BM_XmlRead, inplace, false)->Name("XmlRead/doc");
BENCHMARK_CAPTURE(BM_XmlRead, buffered, true)->Name("XmlReadBuffered/doc");
BENCHMARK(BM_XmlReadElems)->Name("XmlReadElems/doc");
BENCHMARK(BM_JsonRead)->Name("JsonRead/doc");

BENCHMARK_MAIN();
