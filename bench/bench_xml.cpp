// The XML writer and pull reader against the JSON writer and reader on the
// same content: a document of about 100 KB of nested records with numbers.
// The writers build it into a growing buffer; the XML reader pulls every
// event (in place over a memory stream, and through its own buffer), the
// JSON reader validates the whole text in one pass.
//
// Per-byte instruction counts: tools/costsplit.py build XmlWrite/doc ...
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "jsonGen.h"
#include "rtJson.h"
#include "rtXml.h"
#include "rtXmlPull.h"
#include "rtxBuffer.h"
#include "rtxError.h"
#include "rtxMemBuf.h"
#include "rtxStream.h"

namespace {

constexpr int kItems = 650;

struct Item {
   int32_t id, lat, lon, speed;
};

Item itemAt(int i)
{
   return Item{i * 7919, -12345678 + i * 1031, 98765432 - i * 977, (i * 37) % 16383};
}

int writeXml(VXCTXT* pctxt)
{
   pctxt->buffer.byteIndex = 0;
   pctxt->state = XMLSTATE_INITIAL;
   int stat = rtXmlEncStartDocument(pctxt);
   if (stat == 0) stat = rtXmlEncStartElement(pctxt, "doc", nullptr, nullptr, true);
   for (int i = 0; i < kItems && stat == 0; i++) {
      Item it = itemAt(i);
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

int writeJson(VXCTXT* pctxt)
{
   pctxt->buffer.byteIndex = 0;
   pctxt->indent = 0;
   const JsonGenOut out = jsonGenOutput(pctxt);
   int stat = jsonGenOpenKey(pctxt, out, "\"item\":", 7);
   if (stat == 0) stat = jsonGenOpen(pctxt, out, '[');
   for (int i = 0; i < kItems && stat == 0; i++) {
      Item it = itemAt(i);
      if (i > 0) stat = jsonGenNext(pctxt, out);
      if (stat == 0) stat = jsonGenOpenKey(pctxt, out, "\"id\":", 5);
      if (stat == 0) stat = jsonGenPutInt(pctxt, it.id, rtxTxtWriteInt);
      if (stat == 0) stat = jsonGenNextKey(pctxt, out, "\"pos\":", 6);
      if (stat == 0) stat = jsonGenOpenKey(pctxt, out, "\"lat\":", 6);
      if (stat == 0) stat = jsonGenPutInt(pctxt, it.lat, rtxTxtWriteInt);
      if (stat == 0) stat = jsonGenNextKey(pctxt, out, "\"lon\":", 6);
      if (stat == 0) stat = jsonGenPutInt(pctxt, it.lon, rtxTxtWriteInt);
      if (stat == 0) stat = jsonGenClose(pctxt, out, '}');
      if (stat == 0) stat = jsonGenNextKey(pctxt, out, "\"speed\":", 8);
      if (stat == 0) stat = jsonGenPutInt(pctxt, it.speed, rtxTxtWriteInt);
      if (stat == 0) stat = jsonGenClose(pctxt, out, '}');
   }
   if (stat == 0) stat = jsonGenClose(pctxt, out, ']');
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

__attribute__((noinline)) int jsonReadOnce(const std::string& text)
{
   VXCTXT ctx;
   rtInitContext(&ctx);
   rtxStreamMemoryAttach(&ctx, (const uint8_t*)text.data(), text.size(), VXRT_STREAM_INPUT);
   int stat = rtJsonDecAnyType(&ctx, nullptr);
   rtFreeContext(&ctx);
   return stat;
}

void BM_Write(benchmark::State& state, bool xml)
{
   Writer w(xml);
   for (auto _ : state) {
      if ((xml ? xmlWriteOnce(&w.ctx) : jsonWriteOnce(&w.ctx)) != 0)
         return state.SkipWithError("writer failed");
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

BENCHMARK_CAPTURE(BM_Write, xml, true)->Name("XmlWrite/doc");
BENCHMARK_CAPTURE(BM_Write, json, false)->Name("JsonWrite/doc");
BENCHMARK_CAPTURE(BM_XmlRead, inplace, false)->Name("XmlRead/doc");
BENCHMARK_CAPTURE(BM_XmlRead, buffered, true)->Name("XmlReadBuffered/doc");
BENCHMARK(BM_JsonRead)->Name("JsonRead/doc");

BENCHMARK_MAIN();
