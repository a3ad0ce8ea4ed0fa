// itsconv capture: every C-ITS message of a pcap or pcapng file through the
// matching export, written as JSON Lines (or XML documents, or the message
// bytes as hexadecimal), with a summary on standard error.
#include "capture.h"

#include <strings.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "input.h"
#include "itscodec.h"
#include "output.h"
#include "rtxCapture.h"

namespace itsconv {

const char kCaptureHelp[] =
   "  itsconv capture FILE [--to json|xml|hex] [--only CAM,DENM,...] [--jobs N]\n"
   "             every C-ITS message of a pcap or pcapng capture ('-': standard\n"
   "             input): JSON Lines with the frame, time, link-layer source,\n"
   "             GeoNetworking packet type, BTP port and security of each;\n"
   "             --to xml one document per message with those facts in a\n"
   "             comment, --to hex the message bytes unconverted\n";

namespace {

typedef int (*ToText)(const char*, unsigned long, char**, char**, bool);

struct Kind {
   const char* name;
   int id;
   ToText toJson, toXml;
};

#define CAPTURE_KIND(MSG, ID, MEMBER) {#MSG, ID, etsi_##MSG##_to_json, etsi_##MSG##_to_xml},
const Kind kKinds[] = {ITSCODEC_MESSAGES(CAPTURE_KIND)};
#undef CAPTURE_KIND
const int kKindCount = sizeof kKinds / sizeof kKinds[0];

// The well-known BTP port of each message, by header messageID.
int wellKnownPort(int id)
{
   switch (id) {
      case 2:
         return 2001;  // CAM
      case 1:
         return 2002;  // DENM
      case 5:
         return 2003;  // MAPEM
      case 4:
         return 2004;  // SPATEM
      case 6:
         return 2006;  // IVIM
      case 9:
         return 2007;  // SREM
      case 10:
         return 2008;  // SSEM
   }
   return 0;
}

int kindById(int id)
{
   for (int i = 0; i < kKindCount; i++)
      if (kKinds[i].id == id) return i;
   return -1;
}

int kindByPort(int port)
{
   for (int i = 0; i < kKindCount; i++)
      if (wellKnownPort(kKinds[i].id) == port) return i;
   return -1;
}

enum class Form { Json, Xml, Hex };

struct CaptureOptions {
   Form form = Form::Json;
   unsigned jobs = 1;
   bool only[16];
   const char* file = nullptr;
   std::string label;
   CaptureOptions()
   {
      for (bool& b : only) b = true;
   }
};

// What a run of frames left: output in frame order, lines for standard
// error, and the counts. Threads fill neighbouring ones, so each has cache
// lines of its own.
struct alignas(64) Tally {
   OutBuf out;
   std::string err;
   size_t frames = 0, converted = 0;
   size_t perKind[16] = {0};
   std::map<std::string, size_t> failures, skipped;

   void clear()
   {
      out.clear();
      err.clear();
      frames = converted = 0;
      for (size_t& n : perKind) n = 0;
      failures.clear();
      skipped.clear();
   }
   void add(const Tally& o)
   {
      frames += o.frames;
      converted += o.converted;
      for (int i = 0; i < 16; i++) perKind[i] += o.perKind[i];
      for (const auto& f : o.failures) failures[f.first] += f.second;
      for (const auto& s : o.skipped) skipped[s.first] += s.second;
   }
};

void appendText(OutBuf* out, const char* s) { out->append(s, strlen(s)); }

// A JSON string: quotes, backslashes and control characters escaped.
void appendJsonString(OutBuf* out, const char* s, size_t n)
{
   static const char digits[] = "0123456789abcdef";
   out->push('"');
   for (size_t i = 0; i < n; i++) {
      unsigned char c = static_cast<unsigned char>(s[i]);
      if (c == '"' || c == '\\') {
         out->push('\\');
         out->push(static_cast<char>(c));
      } else if (c == '\n') {
         appendText(out, "\\n");
      } else if (c < 0x20) {
         char esc[6] = {'\\', 'u', '0', '0', digits[c >> 4], digits[c & 15]};
         out->append(esc, 6);
      } else {
         out->push(static_cast<char>(c));
      }
   }
   out->push('"');
}

// Days since 1970-01-01 to a civil date (proleptic Gregorian).
void civilDate(int64_t days, int64_t* y, unsigned* m, unsigned* d)
{
   days += 719468;
   int64_t era = (days >= 0 ? days : days - 146096) / 146097;
   unsigned doe = static_cast<unsigned>(days - era * 146097);
   unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
   unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
   unsigned mp = (5 * doy + 2) / 153;
   *d = doy - (153 * mp + 2) / 5 + 1;
   *m = mp < 10 ? mp + 3 : mp - 9;
   *y = static_cast<int64_t>(yoe) + era * 400 + (*m <= 2);
}

char* put(char* d, const char* s, size_t n)
{
   memcpy(d, s, n);
   return d + n;
}
char* put(char* d, const char* s) { return put(d, s, strlen(s)); }

char* putUnsigned(char* d, unsigned long long v)
{
   char tmp[24];
   int n = 0;
   do {
      tmp[n++] = static_cast<char>('0' + v % 10);
      v /= 10;
   } while (v != 0);
   while (n > 0) *d++ = tmp[--n];
   return d;
}

// The text of the last second written: frames come many to a second.
struct SecondCache {
   bool valid = false;
   int64_t second = 0;
   char text[40];
   size_t length = 0;
};

// 2023-11-14T22:13:20.123456Z, with as many fraction digits as the file's
// time unit justifies. Writes at most 64 bytes.
char* putTime(char* d, const vxcap::CapturedFrame& f, SecondCache* cache)
{
   if (!cache->valid || cache->second != f.seconds) {
      int64_t days = f.seconds / 86400, rest = f.seconds % 86400;
      if (rest < 0) {
         rest += 86400;
         days--;
      }
      int64_t y;
      unsigned m, day;
      civilDate(days, &y, &m, &day);
      // YYYY-MM-DDTHH:MM:SS (years beyond 9999 or before 0 as printf writes them).
      char* t = cache->text;
      if (y >= 0 && y <= 9999) {
         unsigned yy = static_cast<unsigned>(y);
         for (unsigned div : {1000u, 100u, 10u, 1u}) *t++ = static_cast<char>('0' + yy / div % 10);
      } else {
         t += snprintf(t, 24, "%lld", static_cast<long long>(y));
      }
      unsigned parts[5] = {m, day, static_cast<unsigned>(rest / 3600),
                           static_cast<unsigned>(rest / 60 % 60), static_cast<unsigned>(rest % 60)};
      const char seps[5] = {'-', '-', 'T', ':', ':'};
      for (int i = 0; i < 5; i++) {
         *t++ = seps[i];
         *t++ = static_cast<char>('0' + parts[i] / 10);
         *t++ = static_cast<char>('0' + parts[i] % 10);
      }
      cache->length = static_cast<size_t>(t - cache->text);
      cache->second = f.seconds;
      cache->valid = true;
   }
   d = put(d, cache->text, cache->length);
   if (f.fractionDigits > 0) {
      *d++ = '.';
      uint32_t v = f.nanos;
      char digits[9];
      for (int i = 8; i >= 0; i--, v /= 10) digits[i] = static_cast<char>('0' + v % 10);
      d = put(d, digits, f.fractionDigits > 9 ? 9 : f.fractionDigits);
   }
   *d++ = 'Z';
   return d;
}

std::string timeText(const vxcap::CapturedFrame& f)
{
   SecondCache cache;
   char buf[72];
   return std::string(buf, static_cast<size_t>(putTime(buf, f, &cache) - buf));
}

// aa:bb:cc:dd:ee:ff; at most 24 bytes.
char* putSource(char* d, const vxcap::ItsPacket& p)
{
   static const char digits[] = "0123456789abcdef";
   for (unsigned i = 0; i < p.sourceLength; i++) {
      if (i > 0) *d++ = ':';
      *d++ = digits[p.source[i] >> 4];
      *d++ = digits[p.source[i] & 15];
   }
   return d;
}

std::string sourceText(const vxcap::ItsPacket& p)
{
   char buf[32];
   return std::string(buf, static_cast<size_t>(putSource(buf, p) - buf));
}

class Processor {
 public:
   explicit Processor(const CaptureOptions& o) : o_(o) {}
   void process(const vxcap::CaptureEvent& ev, Tally* t);

 private:
   void jsonFacts(OutBuf* out, const vxcap::CaptureEvent& ev, const vxcap::ItsPacket* p, int kind);
   void failure(Tally* t, const vxcap::CaptureEvent& ev, const vxcap::ItsPacket* p, int kind,
                const char* reason, const std::string& text, int status = 0,
                const char* report = nullptr);
   void message(Tally* t, const vxcap::CaptureEvent& ev, const vxcap::ItsPacket& p);

   const CaptureOptions& o_;
   SecondCache second_;
};

// {"frame":1,"time":"…Z","source":"…","gn":"SHB","btp":"B","port":2001,
//  "security":"signed-v3","type":"CAM" — without the closing brace.
void Processor::jsonFacts(OutBuf* out, const vxcap::CaptureEvent& ev, const vxcap::ItsPacket* p,
                          int kind)
{
   // Every piece has a bound: the whole fits in 256 bytes.
   char* start = out->reserve(256);
   char* d = start;
   bool frame = ev.kind == vxcap::CaptureEvent::Frame;
   unsigned long long number = frame ? ev.frame.number : ev.frameNumber;
   d = put(d, number != 0 ? "{\"frame\":" : "{\"offset\":");
   d = putUnsigned(d, number != 0 ? number : ev.offset);
   if (frame) {
      d = put(d, ",\"time\":");
      if (ev.frame.hasTime) {
         *d++ = '"';
         d = putTime(d, ev.frame, &second_);
         *d++ = '"';
      } else {
         d = put(d, "null");
      }
   }
   if (frame && p != nullptr) {
      if (p->sourceLength > 0) {
         d = put(d, ",\"source\":\"");
         d = putSource(d, *p);
         *d++ = '"';
      }
      if (p->hasCommonHeader) {
         char name[16];
         d = put(d, ",\"gn\":\"");
         d = put(d, vxcap::gnTypeName(p->gnType, p->gnSubtype, name));
         *d++ = '"';
      }
      if (p->btp != 0) {
         d = put(d, ",\"btp\":\"");
         *d++ = static_cast<char>(p->btp);
         d = put(d, "\",\"port\":");
         d = putUnsigned(d, p->port);
      }
      if (p->hasBasicHeader) {
         char name[32];
         d = put(d, ",\"security\":\"");
         d = put(d, vxcap::securityName(p->securityVersion, p->security, name));
         *d++ = '"';
      }
      if (kind >= 0) {
         d = put(d, ",\"type\":\"");
         d = put(d, kKinds[kind].name);
         *d++ = '"';
      }
   }
   out->commit(static_cast<size_t>(d - start));
}

// The same facts as words: "frame 3, time …, source …" (XML comments, and
// standard error).
std::string factsText(const vxcap::CaptureEvent& ev, const vxcap::ItsPacket* p, int kind)
{
   std::string s;
   if (ev.kind != vxcap::CaptureEvent::Frame)
      return ev.frameNumber != 0 ? "frame " + std::to_string(ev.frameNumber)
                                 : "offset " + std::to_string(ev.offset);
   s = "frame " + std::to_string(ev.frame.number);
   if (ev.frame.hasTime) s += ", time " + timeText(ev.frame);
   if (p == nullptr) return s;
   if (p->sourceLength > 0) s += ", source " + sourceText(*p);
   if (p->hasCommonHeader) {
      char name[16];
      s += std::string(", gn ") + vxcap::gnTypeName(p->gnType, p->gnSubtype, name);
   }
   if (p->btp != 0)
      s += std::string(", btp ") + static_cast<char>(p->btp) + ", port " + std::to_string(p->port);
   if (p->hasBasicHeader) {
      char name[32];
      s += std::string(", security ") + vxcap::securityName(p->securityVersion, p->security, name);
   }
   if (kind >= 0) s += std::string(", type ") + kKinds[kind].name;
   return s;
}

void Processor::failure(Tally* t, const vxcap::CaptureEvent& ev, const vxcap::ItsPacket* p,
                        int kind, const char* reason, const std::string& text, int status,
                        const char* report)
{
   t->failures[reason]++;
   if (o_.form == Form::Xml) {
      // Standard output holds documents only: the failure goes to standard
      // error, the library's report line by line behind it.
      std::string where = "itsconv: " + o_.label + ": " + factsText(ev, p, kind) + ": ";
      t->err += where + reason + ": " + text + "\n";
      const char* line = report != nullptr ? report : "";
      while (*line != 0) {
         const char* eol = strchr(line, '\n');
         size_t n = eol != nullptr ? static_cast<size_t>(eol - line) : strlen(line);
         if (n > 0) t->err += where + std::string(line, n) + "\n";
         line += n + (eol != nullptr ? 1 : 0);
      }
      return;
   }
   jsonFacts(&t->out, ev, p, kind);
   appendText(&t->out, ",\"error\":");
   appendJsonString(&t->out, reason, strlen(reason));
   if (status != 0) {
      char buf[32];
      snprintf(buf, sizeof buf, ",\"status\":%d", status);
      appendText(&t->out, buf);
   }
   std::string full = text;
   if (report != nullptr && *report != 0) {
      full += "\n";
      full += report;
      while (!full.empty() && full.back() == '\n') full.pop_back();
   }
   appendText(&t->out, ",\"report\":");
   appendJsonString(&t->out, full.data(), full.size());
   appendText(&t->out, "}\n");
}

void Processor::message(Tally* t, const vxcap::CaptureEvent& ev, const vxcap::ItsPacket& p)
{
   if (p.messageLength < 2)
      return failure(
         t, ev, &p, -1, "short-message",
         "a message of " + std::to_string(p.messageLength) + " byte has no room for its header");
   int id = p.message[1];
   int kind = kindById(id);
   if (kind < 0)
      return failure(
         t, ev, &p, -1, "unknown-message",
         "the header's messageID " + std::to_string(id) + " names none of the seven messages");
   int byPort = kindByPort(p.port);
   if (byPort >= 0 && byPort != kind)
      return failure(t, ev, &p, kind, "port-mismatch",
                     "BTP port " + std::to_string(p.port) + " is " + kKinds[byPort].name +
                        "'s, but the header's messageID " + std::to_string(id) + " names " +
                        kKinds[kind].name);
   if (!o_.only[kind]) {
      t->skipped["left out by --only"]++;
      return;
   }
   const char* bytes = reinterpret_cast<const char*>(p.message);
   if (o_.form == Form::Hex) {
      jsonFacts(&t->out, ev, &p, kind);
      appendText(&t->out, ",\"message\":\"");
      appendHex(&t->out, bytes, p.messageLength);
      appendText(&t->out, "\"}\n");
      t->perKind[kind]++;
      t->converted++;
      return;
   }
   bool json = o_.form == Form::Json;
   char* text = nullptr;
   char* report = nullptr;
   const Kind& k = kKinds[kind];
   int status = (json ? k.toJson : k.toXml)(bytes, p.messageLength, &text, &report, false);
   if (status != 0) {
      failure(t, ev, &p, kind, "decode",
              std::string(k.name) + (json ? " to-json" : " to-xml") + " failed with status " +
                 std::to_string(status),
              status, report);
   } else {
      size_t n = strlen(text);
      if (json) {
         jsonFacts(&t->out, ev, &p, kind);
         appendText(&t->out, ",\"message\":");
         appendCompactJson(&t->out, text, n);
         appendText(&t->out, "}\n");
      } else {
         // The comment goes behind the declaration, so each document stays
         // well-formed.
         const char* body = text;
         if (strncmp(text, "<?xml", 5) == 0) {
            const char* eol = strchr(text, '\n');
            body = eol != nullptr ? eol + 1 : text + n;
            t->out.append(text, static_cast<size_t>(body - text));
            if (eol == nullptr) t->out.push('\n');
         }
         appendText(&t->out, "<!-- ");
         t->out.append(factsText(ev, &p, kind));
         appendText(&t->out, " -->\n");
         t->out.append(body, n - static_cast<size_t>(body - text));
         appendText(&t->out, "\n\n");
      }
      t->perKind[kind]++;
      t->converted++;
   }
   etsi_delete_array(text);
   etsi_delete_array(report);
}

void Processor::process(const vxcap::CaptureEvent& ev, Tally* t)
{
   if (ev.kind == vxcap::CaptureEvent::Problem) {
      if (ev.frameNumber != 0) t->frames++;
      return failure(t, ev, nullptr, -1, ev.reason, ev.text);
   }
   t->frames++;
   vxcap::ItsPacket p;
   vxcap::parseFrame(ev.frame, &p);
   switch (p.outcome) {
      case vxcap::ItsPacket::NotGeoNetworking:
         // A link type the reader does not know is named, so it can be told
         // from traffic that is simply something else.
         if (strcmp(p.reason, "link-type") == 0)
            t->skipped["of link type " + std::to_string(ev.frame.linkType) + ", not read"]++;
         else
            t->skipped["not GeoNetworking"]++;
         return;
      case vxcap::ItsPacket::NoMessage:
         t->skipped[std::string("GeoNetworking without a message (") + p.reason + ")"]++;
         return;
      case vxcap::ItsPacket::Problem:
         return failure(t, ev, &p, -1, p.reason, p.text);
      case vxcap::ItsPacket::Message:
         return message(t, ev, p);
   }
}

// Set when writing the output failed; the run ends with status 1.
int writeError = 0;

void emit(const Tally& t)
{
   if (writeError == 0) writeError = writeAll(STDOUT_FILENO, t.out.data(), t.out.size());
   if (!t.err.empty()) fwrite(t.err.data(), 1, t.err.size(), stderr);
}

// Events are gathered in batches; with more than one job the threads take
// chunks of a batch in turn, each into a tally of its own, and the tallies
// are written in frame order once the batch is done.
const size_t kBatch = 8192;
const size_t kChunk = 128;

void runBatch(const CaptureOptions& o, const std::vector<vxcap::CaptureEvent>& batch,
              std::vector<Tally>* tallies, Tally* totals)
{
   size_t chunks = (batch.size() + kChunk - 1) / kChunk;
   if (tallies->size() < chunks) tallies->resize(chunks);
   std::atomic<size_t> next(0);
   auto worker = [&]() {
      Processor proc(o);
      for (;;) {
         size_t c = next.fetch_add(1);
         if (c >= chunks) break;
         Tally& t = (*tallies)[c];
         t.clear();
         size_t end = (c + 1) * kChunk < batch.size() ? (c + 1) * kChunk : batch.size();
         for (size_t i = c * kChunk; i < end; i++) proc.process(batch[i], &t);
      }
   };
   unsigned jobs = o.jobs;
   if (jobs > chunks) jobs = static_cast<unsigned>(chunks);
   std::vector<std::thread> threads;
   for (unsigned j = 1; j < jobs; j++) threads.emplace_back(worker);
   worker();
   for (std::thread& t : threads) t.join();
   for (size_t c = 0; c < chunks && writeError == 0; c++) {
      emit((*tallies)[c]);
      totals->add((*tallies)[c]);
   }
}

void summary(const CaptureOptions& o, const Tally& t)
{
   std::string s = "itsconv: " + o.label + ": " + std::to_string(t.frames) + " frames, " +
                   std::to_string(t.converted) + (o.form == Form::Hex ? " messages" : " converted");
   std::string kinds;
   for (int i = 0; i < kKindCount; i++)
      if (t.perKind[i] != 0)
         kinds += (kinds.empty() ? "" : ", ") + std::string(kKinds[i].name) + " " +
                  std::to_string(t.perKind[i]);
   if (!kinds.empty()) s += " (" + kinds + ")";
   size_t failed = 0;
   for (const auto& f : t.failures) failed += f.second;
   s += ", " + std::to_string(failed) + " failed";
   std::string list;
   for (const auto& f : t.failures)
      list += (list.empty() ? "" : ", ") + f.first + " " + std::to_string(f.second);
   if (!list.empty()) s += " (" + list + ")";
   s += "\n";
   if (!t.skipped.empty()) {
      s += "itsconv: " + o.label + ": skipped:";
      bool first = true;
      for (const auto& k : t.skipped) {
         s += (first ? " " : ", ") + std::to_string(k.second) + " " + k.first;
         first = false;
      }
      s += "\n";
   }
   fputs(s.c_str(), stderr);
}

int usage(const std::string& why)
{
   fprintf(stderr,
           "itsconv: %s\nusage: itsconv capture FILE [--to json|xml|hex] [--only CAM,DENM,...] "
           "[--jobs N]\n(itsconv --help tells more)\n",
           why.c_str());
   return 2;
}

bool parseOnly(const char* list, CaptureOptions* o, std::string* bad)
{
   for (bool& b : o->only) b = false;
   std::string s = list;
   size_t at = 0;
   while (at <= s.size()) {
      size_t comma = s.find(',', at);
      std::string name = s.substr(at, comma == std::string::npos ? std::string::npos : comma - at);
      int found = -1;
      for (int i = 0; i < kKindCount; i++)
         if (strcasecmp(name.c_str(), kKinds[i].name) == 0) found = i;
      if (found < 0) {
         *bad = name;
         return false;
      }
      o->only[found] = true;
      if (comma == std::string::npos) break;
      at = comma + 1;
   }
   return true;
}

}  // namespace

int captureMain(int argc, char** argv)
{
   CaptureOptions o;
   for (int i = 1; i < argc; i++) {
      std::string a = argv[i];
      auto value = [&](const char* option, std::string* v) {
         size_t n = strlen(option);
         if (a == option) {
            if (i + 1 >= argc) return false;
            *v = argv[++i];
            return true;
         }
         if (a.compare(0, n, option) == 0 && a.size() > n && a[n] == '=') {
            *v = a.substr(n + 1);
            return true;
         }
         return false;
      };
      std::string v;
      if (value("--to", &v)) {
         if (v == "json")
            o.form = Form::Json;
         else if (v == "xml")
            o.form = Form::Xml;
         else if (v == "hex")
            o.form = Form::Hex;
         else
            return usage("--to takes json, xml or hex, not " + v);
      } else if (value("--only", &v)) {
         std::string bad;
         if (!parseOnly(v.c_str(), &o, &bad))
            return usage("unknown message " + bad +
                         " in --only (CAM DENM SPATEM MAPEM IVIM "
                         "SREM SSEM)");
      } else if (value("--jobs", &v) || value("-j", &v)) {
         char* end = nullptr;
         long n = strtol(v.c_str(), &end, 10);
         if (v.empty() || *end != 0 || n < 0 || n > 1024)
            return usage("--jobs needs a count, 0 to 1024");
         unsigned cores = std::thread::hardware_concurrency();
         o.jobs = n == 0 ? (cores > 0 ? cores : 1) : static_cast<unsigned>(n);
      } else if (a == "-h" || a == "--help") {
         printf("%s", kCaptureHelp);
         return 0;
      } else if (a.size() > 1 && a[0] == '-') {
         return usage("unknown option " + a);
      } else if (o.file == nullptr) {
         o.file = argv[i];
      } else {
         return usage("one capture file at a time");
      }
   }
   if (o.file == nullptr) return usage("capture needs a FILE ('-': standard input)");
   o.label = strcmp(o.file, "-") == 0 ? "stdin" : o.file;

   InputBytes bytes;
   std::string problem;
   if (!bytes.load(o.file, &problem)) {
      fprintf(stderr, "itsconv: %s: %s\n", o.label.c_str(), problem.c_str());
      return 1;
   }
   vxcap::CaptureReader reader;
   const char* why = nullptr;
   if (!reader.open(reinterpret_cast<const uint8_t*>(bytes.view().data()), bytes.view().size(),
                    &why)) {
      fprintf(stderr, "itsconv: %s: %s\n", o.label.c_str(), why);
      return 1;
   }
   fflush(stdout);
   std::vector<vxcap::CaptureEvent> batch(kBatch);
   std::vector<Tally> tallies;
   Tally totals;
   bool more = true;
   while (more && writeError == 0) {
      size_t n = 0;
      while (n < kBatch && (more = reader.next(&batch[n]))) n++;
      if (n == 0) break;
      if (n < kBatch) batch.resize(n);
      runBatch(o, batch, &tallies, &totals);
   }
   if (writeError != 0) {
      fprintf(stderr, "itsconv: cannot write the output: %s\n", strerror(writeError));
      return 1;
   }
   summary(o, totals);
   return totals.failures.empty() ? 0 : 1;
}

}  // namespace itsconv
