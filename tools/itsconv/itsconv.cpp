// itsconv: converts C-ITS messages between UPER and JSON or XML through the
// exported functions of libitscodec.so, one message or a batch of them.
//
//   itsconv MSG to-json|from-json|to-xml|from-xml [options] [FILE...]
//
// help() below and the manual page itsconv.1 tell the whole story.
#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "capture.h"
#include "input.h"
#include "itscodec.h"
#include "output.h"

#ifndef ITSCODEC_VERSION
#define ITSCODEC_VERSION "unknown"
#endif

namespace itsconv {
namespace {

typedef int (*ToText)(const char*, unsigned long, char**, char**, bool);
typedef int (*FromText)(const char*, char**, unsigned long*, char**, bool);

struct Message {
   const char* name;
   int id;
   const char* member;
   ToText toJson, toXml;
   FromText fromJson, fromXml;
};

#define ITSCONV_MESSAGE(MSG, ID, MEMBER) \
   {#MSG,                                \
    ID,                                  \
    #MEMBER,                             \
    etsi_##MSG##_to_json,                \
    etsi_##MSG##_to_xml,                 \
    etsi_##MSG##_from_json,              \
    etsi_##MSG##_from_xml},
const Message kMessages[] = {ITSCODEC_MESSAGES(ITSCONV_MESSAGE)};
#undef ITSCONV_MESSAGE

const Message* byId(long id)
{
   for (const Message& m : kMessages)
      if (m.id == id) return &m;
   return nullptr;
}

const Message* byMember(const std::string& member)
{
   for (const Message& m : kMessages)
      if (member == m.member) return &m;
   return nullptr;
}

const Message* byName(const std::string& name)
{
   for (const Message& m : kMessages)
      if (strcasecmp(name.c_str(), m.name) == 0) return &m;
   return nullptr;
}

enum class Direction { ToJson, ToXml, FromJson, FromXml };

struct Options {
   const Message* message = nullptr;  // null: tell from each message
   Direction direction = Direction::ToJson;
   WireForm wire = WireForm::Hex;
   bool wireGiven = false;  // --hex, --base64 or --binary named
   bool lines = false, whole = false, verbose = false;
   unsigned jobs = 1;
   std::vector<const char*> files;

   bool textIn() const
   {
      return direction == Direction::FromJson || direction == Direction::FromXml;
   }
   const char* directionName() const
   {
      static const char* names[] = {"to-json", "to-xml", "from-json", "from-xml"};
      return names[static_cast<int>(direction)];
   }
};

// One input as read, and how its UPER side is written.
struct Source {
   std::string label;
   InputBytes data;
   WireForm wire = WireForm::Hex;
};

// What converting a run of messages left: the results in input order, the
// lines for standard error, and the counts. Threads fill neighbouring ones,
// so each has cache lines of its own.
struct alignas(64) Results {
   OutBuf out;
   std::string err;
   size_t converted = 0, failed = 0;

   void clear()
   {
      out.clear();
      err.clear();
      converted = failed = 0;
   }
};

std::string position(const Source& src, const Item& item)
{
   return item.line == 0 ? src.label : src.label + ":" + std::to_string(item.line);
}

// A line about one message (or one input) on standard error.
void note(Results* r, const std::string& where, const std::string& what)
{
   r->err += "itsconv: " + where + ": " + what + "\n";
}

// Each thread converts with one of these, so the scratch buffers are reused
// from message to message.
class Converter {
 public:
   explicit Converter(const Options& o) : o_(o) {}
   void convert(const Source& src, const Item& item, Results* r);

 private:
   bool fail(Results* r, const std::string& where, const std::string& what)
   {
      note(r, where, what);
      r->failed++;
      return false;
   }
   void libraryFailure(Results* r, const std::string& where, const Message* m, int status,
                       const char* report, long headerId);
   const Message* pickFromText(const char* p, const char* end, std::string* why, long* headerId);
   void fromUper(const Source& src, const Item& item, Results* r);
   void fromText(const Source& src, const Item& item, Results* r);

   const Options& o_;
   std::vector<char> bytes_;
   std::string text_;
};

void Converter::convert(const Source& src, const Item& item, Results* r)
{
   if (item.problem != nullptr) {
      fail(r, position(src, item), item.problem);
      return;
   }
   if (o_.textIn())
      fromText(src, item, r);
   else
      fromUper(src, item, r);
}

void Converter::libraryFailure(Results* r, const std::string& where, const Message* m, int status,
                               const char* report, long headerId)
{
   note(r, where,
        std::string(m->name) + " " + o_.directionName() + " failed with status " +
           std::to_string(status));
   // The report, line by line, behind the same position.
   const char* line = report != nullptr ? report : "";
   while (*line != 0) {
      const char* eol = strchr(line, '\n');
      size_t n = eol != nullptr ? static_cast<size_t>(eol - line) : strlen(line);
      if (n > 0) r->err += "itsconv: " + where + ": " + std::string(line, n) + "\n";
      line += n + (eol != nullptr ? 1 : 0);
   }
   const Message* named = byId(headerId);
   if (headerId >= 0 && named != m) {
      note(r, where,
           "the header's messageID " + std::to_string(headerId) +
              (named != nullptr ? " names " + std::string(named->name)
                                : " names none of the seven messages") +
              ", not " + m->name + " (" + std::to_string(m->id) + ")");
   }
   r->failed++;
}

void Converter::fromUper(const Source& src, const Item& item, Results* r)
{
   // The position is only put into words when something fails.
   auto where = [&] { return position(src, item); };
   const char* p = src.data.view().data() + item.begin;
   const char* end = src.data.view().data() + item.end;
   std::string problem;
   bool ok = true;
   switch (src.wire) {
      case WireForm::Binary:
         bytes_.assign(p, end);
         break;
      case WireForm::Hex:
         ok = decodeHex(p, end, &bytes_, &problem);
         break;
      case WireForm::Base64:
         ok = decodeBase64(p, end, &bytes_, &problem);
         break;
   }
   if (!ok) {
      fail(r, where(), problem);
      return;
   }
   // The library is never handed an empty buffer: it would decode whatever
   // its fresh work buffer holds.
   if (bytes_.empty()) {
      fail(r, where(), "no message bytes");
      return;
   }
   long headerId = bytes_.size() >= 2 ? static_cast<unsigned char>(bytes_[1]) : -1;
   const Message* m = o_.message;
   if (m == nullptr) {
      if (headerId < 0) {
         fail(r, where(), "1 byte is too short for a message header");
         return;
      }
      m = byId(headerId);
      if (m == nullptr) {
         fail(r, where(),
              "the header's messageID " + std::to_string(headerId) +
                 " names none of the seven messages");
         return;
      }
   }
   bool json = o_.direction == Direction::ToJson;
   char* text = nullptr;
   char* report = nullptr;
   int status =
      (json ? m->toJson : m->toXml)(bytes_.data(), bytes_.size(), &text, &report, o_.verbose);
   if (status != 0) {
      libraryFailure(r, where(), m, status, report, headerId);
   } else {
      size_t n = strlen(text);
      if (json && o_.lines)
         appendCompactJson(&r->out, text, n);
      else
         r->out.append(text, n);
      r->out.push('\n');
      r->converted++;
   }
   etsi_delete_array(text);
   etsi_delete_array(report);
}

const Message* Converter::pickFromText(const char* p, const char* end, std::string* why,
                                       long* headerId)
{
   TextHints hints;
   if (o_.direction == Direction::FromJson)
      jsonHints(p, end, &hints);
   else
      xmlHints(p, end, &hints);
   *headerId = hints.messageId;
   if (o_.message != nullptr) return o_.message;
   if (const Message* m = byId(hints.messageId)) return m;
   for (const std::string& member : hints.members)
      if (const Message* m = byMember(member)) return m;
   if (const Message* m = byName(hints.root)) return m;
   *why = "cannot tell the message: ";
   if (hints.messageId >= 0)
      *why += "the header's messageID " + std::to_string(hints.messageId) +
              " names none of the seven messages";
   else
      *why += "no header messageID";
   *why += ", and no member cam, denm, spat, map, ivi, srm or ssm";
   if (o_.direction == Direction::FromXml) *why += ", and the root element is <" + hints.root + ">";
   return nullptr;
}

void Converter::fromText(const Source& src, const Item& item, Results* r)
{
   // The position is only put into words when something fails.
   auto where = [&] { return position(src, item); };
   const char* p = src.data.view().data() + item.begin;
   const char* end = src.data.view().data() + item.end;
   // The exports read NUL-terminated text.
   text_.assign(p, end);
   std::string why;
   long headerId = -1;
   const Message* m = o_.message;
   // The hints are only read when they are needed: to pick the message, or
   // to explain a failure.
   if (m == nullptr) {
      m = pickFromText(p, end, &why, &headerId);
      if (m == nullptr) {
         fail(r, where(), why);
         return;
      }
   }
   char* encoded = nullptr;
   unsigned long len = 0;
   char* report = nullptr;
   int status = (o_.direction == Direction::FromJson ? m->fromJson : m->fromXml)(
      text_.c_str(), &encoded, &len, &report, o_.verbose);
   if (status != 0) {
      if (o_.message != nullptr) pickFromText(p, end, &why, &headerId);
      libraryFailure(r, where(), m, status, report, headerId);
   } else {
      switch (src.wire) {
         case WireForm::Binary:
            r->out.append(encoded, len);
            break;
         case WireForm::Hex:
            appendHex(&r->out, encoded, len);
            r->out.push('\n');
            break;
         case WireForm::Base64:
            appendBase64(&r->out, encoded, len);
            r->out.push('\n');
            break;
      }
      r->converted++;
   }
   etsi_delete_array(encoded);
   etsi_delete_array(report);
}

// Set when writing the output failed; the run ends with status 1.
int writeError = 0;

// Writes the results straight to the output descriptor (they are already in
// large blocks), after whatever the library printed through stdout.
void emit(const Results& r)
{
   fflush(stdout);
   if (writeError == 0) writeError = writeAll(STDOUT_FILENO, r.out.data(), r.out.size());
   if (!r.err.empty()) fwrite(r.err.data(), 1, r.err.size(), stderr);
}

// Converts the items of one input and writes the results in input order.
// With more than one job, N threads (this one among them) take chunks of
// consecutive items in turn, each into a slot of its own. Whichever thread
// completes the chunk that is next in order writes it and every completed
// chunk behind it; one thread writes at a time. No thread runs more than the
// number of slots ahead of the output, so memory stays bounded however long
// the input.
void run(const Options& o, const Source& src, const std::vector<Item>& items, Results* totals)
{
   size_t n = items.size();
   unsigned jobs = o.verbose ? 1 : o.jobs;
   if (jobs > n) jobs = static_cast<unsigned>(n);
   if (jobs <= 1) {
      // The verbose trace goes to standard output during the call, so each
      // result follows at once.
      size_t chunk = o.verbose ? 1 : 64;
      Converter conv(o);
      Results r;
      for (size_t i = 0; i < n; i += chunk) {
         r.clear();
         for (size_t j = i; j < n && j < i + chunk; j++) conv.convert(src, items[j], &r);
         emit(r);
         totals->converted += r.converted;
         totals->failed += r.failed;
      }
      return;
   }
   // Chunks small enough that all slots' output stays in the processor's
   // cache (tens of kilobytes each), large enough that the lock is rare.
   size_t per = n / (jobs * 16);
   per = per < 1 ? 1 : per > 32 ? 32 : per;
   size_t chunks = (n + per - 1) / per;
   std::vector<Results> slots(4 * jobs);
   std::vector<char> done(slots.size(), 0);
   std::mutex mutex;
   std::condition_variable freed;
   size_t next = 0, written = 0;
   bool writing = false;

   auto worker = [&]() {
      Converter conv(o);
      std::unique_lock<std::mutex> lock(mutex);
      while (next < chunks) {
         size_t c = next++;
         freed.wait(lock, [&] { return c < written + slots.size(); });
         lock.unlock();
         Results& r = slots[c % slots.size()];
         r.clear();
         for (size_t j = c * per; j < n && j < (c + 1) * per; j++) conv.convert(src, items[j], &r);
         lock.lock();
         done[c % slots.size()] = 1;
         if (writing) continue;
         writing = true;
         size_t freedBefore = written;
         while (written < chunks && done[written % slots.size()]) {
            Results& ready = slots[written % slots.size()];
            lock.unlock();
            emit(ready);
            lock.lock();
            totals->converted += ready.converted;
            totals->failed += ready.failed;
            done[written % slots.size()] = 0;
            written++;
         }
         writing = false;
         if (written != freedBefore) freed.notify_all();
      }
   };
   std::vector<std::thread> threads;
   for (unsigned t = 1; t < jobs; t++) threads.emplace_back(worker);
   worker();
   for (std::thread& t : threads) t.join();
}

bool isBlankText(std::string_view data)
{
   for (char c : data)
      if (c != ' ' && c != '\t' && c != '\n' && c != '\r' && c != '\f' && c != '\v') return false;
   return true;
}

// Reads, cuts and converts one input.
void convertInput(const Options& o, const char* path, Results* totals)
{
   Source src;
   src.label = path != nullptr && strcmp(path, "-") != 0 ? path : "stdin";
   Results r;
   std::string problem;
   if (!src.data.load(path, &problem)) {
      note(&r, src.label, problem);
      r.failed++;
      emit(r);
      totals->failed++;
      return;
   }
   src.wire = o.wire;
   const std::string_view data = src.data.view();
   std::vector<Item> items;
   if (o.textIn()) {
      if (o.direction == Direction::FromJson)
         splitJson(data, &items);
      else
         splitXml(data, &items);
   } else {
      if (!o.wireGiven && looksBinary(data)) src.wire = WireForm::Binary;
      if (src.wire == WireForm::Binary || o.whole) {
         if (src.wire == WireForm::Binary ? !data.empty() : !isBlankText(data)) {
            Item item;
            item.end = data.size();
            item.line = src.wire == WireForm::Binary ? 0 : 1;
            items.push_back(item);
         }
      } else {
         splitLines(data, &items);
      }
   }
   if (items.empty()) {
      note(&r, src.label, data.empty() ? "empty input" : "no message in the input");
      r.failed++;
      emit(r);
      totals->failed++;
      return;
   }
   run(o, src, items, totals);
}

const char kUsage[] =
   "usage: itsconv MSG to-json|from-json|to-xml|from-xml [options] [FILE...]\n"
   "       itsconv capture FILE [--to json|xml|hex] [--only MSG,...] [--jobs N]\n";

void help()
{
   printf("%s", kUsage);
   printf(
      "Converts C-ITS messages between UPER and JSON or XML text.\n"
      "\n"
      "  MSG        CAM DENM SPATEM MAPEM IVIM SREM SSEM, or auto: each message's\n"
      "             header messageID (for text also its member cam, denm, spat,\n"
      "             map, ivi, srm, ssm, or the XML root element) picks it\n"
      "  to-json    UPER in, JSON out      from-json  JSON in, UPER out\n"
      "  to-xml     UPER in, XML out       from-xml   XML in, UPER out\n"
      "  FILE       inputs in turn; standard input when none or '-'\n"
      "\n"
      "UPER is hexadecimal by default, one message per line (blanks, 0x prefixes,\n"
      "':', '-' and ',' separators and either case accepted); input that is not\n"
      "text is taken as raw bytes, one message per input. Text inputs hold a\n"
      "sequence of JSON objects or XML documents, one message each.\n"
      "\n"
      "  --hex          UPER as hexadecimal (in and out), even if it looks binary\n"
      "  --base64       UPER as base64, one message per line\n"
      "  --binary       UPER as raw bytes: each input is one message; written\n"
      "                 out with nothing between messages\n"
      "  --whole        each hexadecimal or base64 input is one message, line\n"
      "                 breaks included (wrapped dumps)\n"
      "  --lines        JSON out as JSON Lines: one compact object per line\n"
      "  -j, --jobs N   convert on N threads (0: one per core); output stays in\n"
      "                 input order\n"
      "  -v, --verbose  the library's bit trace of the UPER side on standard\n"
      "                 output (runs on one thread)\n"
      "  -h, --help     this text\n"
      "  -V, --version  the library version\n"
      "\n"
      "%s"
      "\n"
      "Each failure goes to standard error with its place (FILE:LINE) and the\n"
      "library's report; the other messages still convert. A summary line\n"
      "follows unless exactly one message converted. Exit status: 0 all\n"
      "converted, 1 something failed, 2 bad command line.\n",
      kCaptureHelp);
}

int usageError(const std::string& why)
{
   fprintf(stderr, "itsconv: %s\n%s(itsconv --help tells more)\n", why.c_str(), kUsage);
   return 2;
}

bool parseJobs(const char* text, unsigned* jobs)
{
   char* end = nullptr;
   long v = strtol(text, &end, 10);
   if (end == text || *end != 0 || v < 0 || v > 1024) return false;
   if (v == 0) {
      unsigned cores = std::thread::hardware_concurrency();
      v = cores > 0 ? cores : 1;
   }
   *jobs = static_cast<unsigned>(v);
   return true;
}

int main(int argc, char** argv)
{
   if (argc >= 2 && strcmp(argv[1], "capture") == 0) return captureMain(argc - 1, argv + 1);
   Options o;
   std::vector<const char*> words;
   bool optionsEnd = false;
   for (int i = 1; i < argc; i++) {
      const char* a = argv[i];
      std::string s = a;
      if (optionsEnd || a[0] != '-' || s == "-") {
         words.push_back(a);
      } else if (s == "--") {
         optionsEnd = true;
      } else if (s == "-h" || s == "--help") {
         help();
         return 0;
      } else if (s == "-V" || s == "--version") {
         printf("itsconv (itscodec) %s\n", ITSCODEC_VERSION);
         return 0;
      } else if (s == "-v" || s == "--verbose") {
         o.verbose = true;
      } else if (s == "--lines") {
         o.lines = true;
      } else if (s == "--whole") {
         o.whole = true;
      } else if (s == "--hex" || s == "--base64" || s == "--binary") {
         WireForm w = s == "--hex"      ? WireForm::Hex
                      : s == "--base64" ? WireForm::Base64
                                        : WireForm::Binary;
         if (o.wireGiven && w != o.wire)
            return usageError("--hex, --base64 and --binary exclude each other");
         o.wire = w;
         o.wireGiven = true;
      } else if (s == "-j" || s == "--jobs" || s.compare(0, 7, "--jobs=") == 0 ||
                 (s.size() > 2 && s.compare(0, 2, "-j") == 0)) {
         const char* value = s == "-j" || s == "--jobs" ? (i + 1 < argc ? argv[++i] : "")
                             : s[1] == 'j'              ? a + 2
                                                        : a + 7;
         if (!parseJobs(value, &o.jobs)) return usageError("--jobs needs a count, 0 to 1024");
      } else {
         return usageError("unknown option " + s);
      }
   }
   if (words.size() < 2) return usageError("MSG and a direction are needed");
   if (strcasecmp(words[0], "auto") != 0) {
      o.message = byName(words[0]);
      if (o.message == nullptr)
         return usageError(std::string("unknown message ") + words[0] +
                           " (CAM DENM SPATEM MAPEM IVIM SREM SSEM or auto)");
   }
   std::string dir = words[1];
   if (dir == "to-json")
      o.direction = Direction::ToJson;
   else if (dir == "to-xml")
      o.direction = Direction::ToXml;
   else if (dir == "from-json")
      o.direction = Direction::FromJson;
   else if (dir == "from-xml")
      o.direction = Direction::FromXml;
   else
      return usageError("unknown direction " + dir + " (to-json from-json to-xml from-xml)");
   o.files.assign(words.begin() + 2, words.end());
   if (o.files.empty()) o.files.push_back("-");

   Results totals;
   for (const char* f : o.files) {
      convertInput(o, f, &totals);
      if (writeError != 0) break;
   }
   if (fflush(stdout) != 0 && writeError == 0) writeError = errno;
   if (writeError != 0) {
      fprintf(stderr, "itsconv: cannot write the output: %s\n", strerror(writeError));
      return 1;
   }
   if (totals.converted + totals.failed != 1 || totals.failed != 0)
      fprintf(stderr, "itsconv: %zu converted, %zu failed\n", totals.converted, totals.failed);
   return totals.failed == 0 ? 0 : 1;
}

}  // namespace
}  // namespace itsconv

int main(int argc, char** argv) { return itsconv::main(argc, argv); }
