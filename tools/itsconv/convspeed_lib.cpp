// The library's own rate on a file of hexadecimal UPER messages, one per
// line: every line is decoded to bytes first, then the export alone is timed
// (etsi_<MSG>_to_json and the release of what it hands out), on one thread.
//
//   convspeed_lib MSG FILE [ROUNDS]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "input.h"
#include "itscodec.h"

int main(int argc, char** argv)
{
   typedef int (*ToJson)(const char*, unsigned long, char**, char**, bool);
   ToJson toJson = nullptr;
#define CONVSPEED_PICK(MSG, ID, MEMBER) \
   if (argc > 1 && strcmp(argv[1], #MSG) == 0) toJson = etsi_##MSG##_to_json;
   ITSCODEC_MESSAGES(CONVSPEED_PICK)
#undef CONVSPEED_PICK
   if (toJson == nullptr || argc < 3) {
      fprintf(stderr, "usage: convspeed_lib MSG FILE [ROUNDS]\n");
      return 2;
   }
   int rounds = argc > 3 ? atoi(argv[3]) : 1;
   std::string data, problem;
   if (!itsconv::readInput(argv[2], &data, &problem)) {
      fprintf(stderr, "convspeed_lib: %s: %s\n", argv[2], problem.c_str());
      return 1;
   }
   std::vector<itsconv::Item> items;
   itsconv::splitLines(data, &items);
   std::vector<std::vector<char>> messages(items.size());
   for (size_t i = 0; i < items.size(); i++) {
      if (!itsconv::decodeHex(data.data() + items[i].begin, data.data() + items[i].end,
                              &messages[i], &problem)) {
         fprintf(stderr, "convspeed_lib: %s:%zu: %s\n", argv[2], items[i].line, problem.c_str());
         return 1;
      }
   }
   size_t failed = 0, textBytes = 0;
   auto start = std::chrono::steady_clock::now();
   for (int r = 0; r < rounds; r++) {
      for (const std::vector<char>& m : messages) {
         char* text = nullptr;
         char* report = nullptr;
         if (toJson(m.data(), m.size(), &text, &report, false) != 0)
            failed++;
         else
            textBytes += strlen(text);
         etsi_delete_array(text);
         etsi_delete_array(report);
      }
   }
   double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
   double calls = static_cast<double>(messages.size()) * rounds;
   printf(
      "%.0f calls in %.3f s: %.0f messages/s, %.2f us per message (%zu failed, %zu bytes of "
      "JSON)\n",
      calls, seconds, calls / seconds, seconds / calls * 1e6, failed, textBytes);
   return failed == 0 ? 0 : 1;
}
