// Whole-message costs of a CAM, a DENM, a MAPEM and an IVIM: UPER decode and
// UPER encode each with its own buffer, control object and context (as the
// exported functions build them), and UPER->JSON / JSON->UPER through the
// exports, outputs released included. The inputs are the JSON texts in
// bench/data/ (VX_BENCH_DATA overrides the directory); their UPER comes from
// the library at start-up. Each benchmark reports the peak of heap bytes a
// call holds from the allocator ("peak_heap_bytes"). BM_ExportMemoryGrowth
// makes 10^6 export calls and reports the resident size before and after.
//
// Run: bench_messages --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
// The machine is shared: read the cpu_time medians.
#include <benchmark/benchmark.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "asn1PerCppTypes.h"
#include "itscodec.h"
#include "itsgen_all.h"
#include "rtxMemory.h"

namespace {

// ---- heap accounting: every block a heap takes from the allocator -------

struct HeapCount {
   size_t current = 0;
   size_t peak = 0;
};
HeapCount g_heap;

// Each block carries its size in front so that free and realloc can
// subtract it; the header keeps the block's alignment.
constexpr size_t kHeader = alignof(std::max_align_t);

void* countingMalloc(size_t n)
{
   unsigned char* p = static_cast<unsigned char*>(std::malloc(n + kHeader));
   if (p == nullptr) return nullptr;
   std::memcpy(p, &n, sizeof n);
   g_heap.current += n;
   if (g_heap.current > g_heap.peak) g_heap.peak = g_heap.current;
   return p + kHeader;
}

void countingFree(void* ptr)
{
   if (ptr == nullptr) return;
   unsigned char* p = static_cast<unsigned char*>(ptr) - kHeader;
   size_t n;
   std::memcpy(&n, p, sizeof n);
   g_heap.current -= n;
   std::free(p);
}

void* countingRealloc(void* ptr, size_t n)
{
   if (ptr == nullptr) return countingMalloc(n);
   unsigned char* p = static_cast<unsigned char*>(ptr) - kHeader;
   size_t old;
   std::memcpy(&old, p, sizeof old);
   unsigned char* q = static_cast<unsigned char*>(std::realloc(p, n + kHeader));
   if (q == nullptr) return nullptr;
   std::memcpy(q, &n, sizeof n);
   g_heap.current = g_heap.current - old + n;
   if (g_heap.current > g_heap.peak) g_heap.peak = g_heap.current;
   return q + kHeader;
}

// Runs one call with the counting allocator in place and returns the peak
// of bytes held during it (above what was held before).
template <class Call>
double peakHeapOf(Call call)
{
   rtxMemSetAllocFuncs(countingMalloc, countingRealloc, countingFree);
   g_heap = HeapCount();
   call();
   size_t peak = g_heap.peak;
   rtxMemSetAllocFuncs(std::malloc, std::realloc, std::free);
   return (double)peak;
}

// ---- inputs -------------------------------------------------------------

std::string dataDir()
{
   if (const char* dir = std::getenv("VX_BENCH_DATA")) return dir;
   std::string file = __FILE__;
   return file.substr(0, file.find_last_of('/') + 1) + "data";
}

typedef int (*ToJson)(const char*, unsigned long, char**, char**, bool);
typedef int (*FromJson)(const char*, char**, unsigned long*, char**, bool);

struct Input {
   std::string json;
   std::string uper;
   std::string xml;  // the XML twin of the JSON text, when there is one
};

// The JSON text of a message and its UPER from the library; ends the
// process with a report when the file is missing or does not convert.
Input loadInput(const std::string& file, FromJson fromJson)
{
   std::string path = dataDir() + "/" + file;
   std::ifstream in(path, std::ios::binary);
   if (!in) {
      std::fprintf(stderr, "bench_messages: cannot read %s\n", path.c_str());
      std::exit(1);
   }
   Input input;
   input.json.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
   char* encoded = nullptr;
   char* errorText = nullptr;
   unsigned long encodedLen = 0;
   int stat = fromJson(input.json.c_str(), &encoded, &encodedLen, &errorText, false);
   if (stat != 0) {
      std::fprintf(stderr, "bench_messages: %s does not convert (%d):\n%s\n", path.c_str(), stat,
                   errorText ? errorText : "");
      std::exit(1);
   }
   input.uper.assign(encoded, encodedLen);
   etsi_delete_array(encoded);
   std::string xmlPath = path.substr(0, path.size() - 5) + ".xml";
   std::ifstream xml(xmlPath, std::ios::binary);
   if (xml) input.xml.assign(std::istreambuf_iterator<char>(xml), std::istreambuf_iterator<char>());
   return input;
}

template <class Record, class Control>
struct Message {
   static const Input& input();
};

// The data file of a message: its name in lower case, ".json".
std::string dataFile(std::string name)
{
   for (char& c : name) c = (char)std::tolower((unsigned char)c);
   return name + ".json";
}

#define VX_BENCH_MESSAGE(MSG, ID, MEMBER)                                        \
   template <>                                                                   \
   const Input& Message<ASN1T_##MSG, Vexil_##MSG>::input()                       \
   {                                                                             \
      static const Input in = loadInput(dataFile(#MSG), etsi_##MSG##_from_json); \
      return in;                                                                 \
   }
ITSCODEC_MESSAGES(VX_BENCH_MESSAGE)
#undef VX_BENCH_MESSAGE
#undef VX_BENCH_MESSAGE

void fail(benchmark::State& state, const char* what, int stat)
{
   state.SkipWithError((std::string(what) + " failed with status " + std::to_string(stat)).c_str());
}

// ---- UPER decode and encode ---------------------------------------------

// One decode as the exports make it: buffer (and its context), record,
// control object; everything destroyed at the end of the call.
template <class Record, class Control>
int decodeOnce(const std::string& uper)
{
   ASN1PERDecodeBuffer decodeBuffer((const uint8_t*)uper.data(), uper.size(), 0);
   Record record;
   Control control(decodeBuffer, record);
   return control.Decode(0);
}

template <class Record, class Control>
void BM_UperDecode(benchmark::State& state)
{
   const std::string& uper = Message<Record, Control>::input().uper;
   for (auto _ : state) {
      int stat = decodeOnce<Record, Control>(uper);
      if (stat != 0) return fail(state, "decode", stat);
   }
   state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)uper.size());
   state.counters["peak_heap_bytes"] = peakHeapOf([&] { decodeOnce<Record, Control>(uper); });
}

// One encode of a record decoded beforehand: buffer (and its context) and
// control object made and destroyed per call.
template <class Record, class Control>
int encodeOnce(Record& record, size_t* len)
{
   ASN1PEREncodeBuffer encodeBuffer(0);
   Control control(encodeBuffer, record);
   int stat = control.Encode();
   *len = encodeBuffer.getMsgLen();
   benchmark::DoNotOptimize(encodeBuffer.getMsgPtr());
   return stat;
}

template <class Record, class Control>
void BM_UperEncode(benchmark::State& state)
{
   const std::string& uper = Message<Record, Control>::input().uper;
   ASN1PERDecodeBuffer decodeBuffer((const uint8_t*)uper.data(), uper.size(), 0);
   Record record;
   Control decoder(decodeBuffer, record);
   int stat = decoder.Decode(0);
   if (stat != 0) return fail(state, "decode", stat);
   size_t len = 0;
   for (auto _ : state) {
      stat = encodeOnce<Record, Control>(record, &len);
      if (stat != 0) return fail(state, "encode", stat);
   }
   if (len != uper.size()) return fail(state, "re-encode length check", -1);
   state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)uper.size());
   state.counters["peak_heap_bytes"] =
      peakHeapOf([&] { encodeOnce<Record, Control>(record, &len); });
}

// ---- the exports ----------------------------------------------------------

int toJsonOnce(ToJson toJson, const std::string& uper)
{
   char* text = nullptr;
   char* errorText = nullptr;
   int stat = toJson(uper.data(), uper.size(), &text, &errorText, false);
   etsi_delete_array(text);
   etsi_delete_array(errorText);
   return stat;
}

int fromJsonOnce(FromJson fromJson, const std::string& json)
{
   char* encoded = nullptr;
   char* errorText = nullptr;
   unsigned long encodedLen = 0;
   int stat = fromJson(json.c_str(), &encoded, &encodedLen, &errorText, false);
   etsi_delete_array(encoded);
   etsi_delete_array(errorText);
   return stat;
}

template <class Record, class Control>
void BM_UperToJson(benchmark::State& state, ToJson toJson)
{
   const std::string& uper = Message<Record, Control>::input().uper;
   for (auto _ : state) {
      int stat = toJsonOnce(toJson, uper);
      if (stat != 0) return fail(state, "to_json", stat);
   }
   state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)uper.size());
   state.counters["peak_heap_bytes"] = peakHeapOf([&] { toJsonOnce(toJson, uper); });
}

// UPER -> XML through the export, beside UPER -> JSON (the same to_text
// procedure with the XML buffer).
template <class Record, class Control>
void BM_UperToXml(benchmark::State& state, ToJson toXml)
{
   const std::string& uper = Message<Record, Control>::input().uper;
   for (auto _ : state) {
      int stat = toJsonOnce(toXml, uper);
      if (stat != 0) return fail(state, "to_xml", stat);
   }
   state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)uper.size());
   state.counters["peak_heap_bytes"] = peakHeapOf([&] { toJsonOnce(toXml, uper); });
}

template <class Record, class Control>
void BM_JsonToUper(benchmark::State& state, FromJson fromJson)
{
   const std::string& json = Message<Record, Control>::input().json;
   for (auto _ : state) {
      int stat = fromJsonOnce(fromJson, json);
      if (stat != 0) return fail(state, "from_json", stat);
   }
   state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)json.size());
   state.counters["peak_heap_bytes"] = peakHeapOf([&] { fromJsonOnce(fromJson, json); });
}

// XML in, UPER out; the bytes must be those of the JSON twin.
template <class Record, class Control>
void BM_XmlToUper(benchmark::State& state, FromJson fromXml)
{
   const Input& in = Message<Record, Control>::input();
   char* encoded = nullptr;
   char* errorText = nullptr;
   unsigned long encodedLen = 0;
   int stat = fromXml(in.xml.c_str(), &encoded, &encodedLen, &errorText, false);
   bool same = stat == 0 && std::string(encoded, encodedLen) == in.uper;
   etsi_delete_array(encoded);
   etsi_delete_array(errorText);
   if (stat != 0) return fail(state, "from_xml", stat);
   if (!same) return fail(state, "from_xml bytes check", -1);
   for (auto _ : state) {
      stat = fromJsonOnce(fromXml, in.xml);
      if (stat != 0) return fail(state, "from_xml", stat);
   }
   state.SetBytesProcessed((int64_t)state.iterations() * (int64_t)in.xml.size());
   state.counters["peak_heap_bytes"] = peakHeapOf([&] { fromJsonOnce(fromXml, in.xml); });
}

template <class Record, class Control>
void registerMessage(const char* name, ToJson toJson, FromJson fromJson, ToJson toXml,
                     FromJson fromXml)
{
   std::string n = name;
   benchmark::RegisterBenchmark(("UperDecode/" + n).c_str(), BM_UperDecode<Record, Control>);
   benchmark::RegisterBenchmark(("UperEncode/" + n).c_str(), BM_UperEncode<Record, Control>);
   benchmark::RegisterBenchmark(("UperToJson/" + n).c_str(), BM_UperToJson<Record, Control>,
                                toJson);
   benchmark::RegisterBenchmark(("JsonToUper/" + n).c_str(), BM_JsonToUper<Record, Control>,
                                fromJson);
   benchmark::RegisterBenchmark(("UperToXml/" + n).c_str(), BM_UperToXml<Record, Control>, toXml);
   if (!Message<Record, Control>::input().xml.empty())
      benchmark::RegisterBenchmark(("XmlToUper/" + n).c_str(), BM_XmlToUper<Record, Control>,
                                   fromXml);
}

// ---- process memory over many calls --------------------------------------

// Resident pages from /proc/self/statm, in KiB.
double residentKiB()
{
   FILE* f = std::fopen("/proc/self/statm", "r");
   if (f == nullptr) return -1;
   long size = 0, resident = 0;
   int n = std::fscanf(f, "%ld %ld", &size, &resident);
   std::fclose(f);
   return n == 2 ? (double)resident * 4.0 : -1;
}

// 10^6 export calls on the CAM (to_json and from_json alternating, or the
// XML pair); the first 1,000 calls run before the first reading so that
// one-time growth (allocator arenas, lazy statics) is not counted.
void BM_ExportMemoryGrowth(benchmark::State& state, bool xml)
{
   typedef Message<ASN1T_CAM, Vexil_CAM> Cam;
   const Input& in = Cam::input();
   ToJson to = xml ? etsi_CAM_to_xml : etsi_CAM_to_json;
   FromJson from = xml ? etsi_CAM_from_xml : etsi_CAM_from_json;
   const std::string& text = xml ? in.xml : in.json;
   if (text.empty()) return fail(state, "no text of the CAM", -1);
   for (int i = 0; i < 500; i++) {
      toJsonOnce(to, in.uper);
      fromJsonOnce(from, text);
   }
   double before = residentKiB();
   for (auto _ : state) {
      for (int i = 0; i < 500000; i++) {
         if (toJsonOnce(to, in.uper) != 0) return fail(state, "to_text", -1);
         if (fromJsonOnce(from, text) != 0) return fail(state, "from_text", -1);
      }
   }
   double after = residentKiB();
   state.counters["rss_before_KiB"] = before;
   state.counters["rss_after_KiB"] = after;
   state.counters["rss_growth_KiB"] = after - before;
}
}  // namespace

int main(int argc, char** argv)
{
   // Every message with a data file in the data directory.
#define VX_REGISTER_MESSAGE(MSG, ID, MEMBER)                                                 \
   if (std::ifstream(dataDir() + "/" + dataFile(#MSG)))                                      \
      registerMessage<ASN1T_##MSG, Vexil_##MSG>(#MSG, etsi_##MSG##_to_json,                  \
                                                etsi_##MSG##_from_json, etsi_##MSG##_to_xml, \
                                                etsi_##MSG##_from_xml);
   ITSCODEC_MESSAGES(VX_REGISTER_MESSAGE)
#undef VX_REGISTER_MESSAGE
   benchmark::RegisterBenchmark("ExportMemoryGrowth/CAM", BM_ExportMemoryGrowth, false)
      ->Iterations(1)
      ->Repetitions(1)
      ->Unit(benchmark::kMillisecond);
   benchmark::RegisterBenchmark("ExportMemoryGrowthXml/CAM", BM_ExportMemoryGrowth, true)
      ->Iterations(1)
      ->Repetitions(1)
      ->Unit(benchmark::kMillisecond);
   benchmark::Initialize(&argc, argv);
   if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
   benchmark::RunSpecifiedBenchmarks();
   benchmark::Shutdown();
   return 0;
}
