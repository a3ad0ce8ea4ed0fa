// The library's own rate on a file of hexadecimal UPER messages, one per
// line: every line is decoded to bytes first, then the export alone is timed
// (etsi_<MSG>_to_json and the release of what it hands out), on THREADS
// threads (1 by default) that each take an equal share of the messages.
//
//   convspeed_lib MSG FILE [THREADS]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <thread>
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
      fprintf(stderr, "usage: convspeed_lib MSG FILE [THREADS]\n");
      return 2;
   }
   int threads = argc > 3 ? atoi(argv[3]) : 1;
   if (threads < 1) threads = 1;
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
   std::vector<size_t> failed(threads), textBytes(threads);
   auto share = [&](int t) {
      for (size_t i = t; i < messages.size(); i += threads) {
         char* text = nullptr;
         char* report = nullptr;
         if (toJson(messages[i].data(), messages[i].size(), &text, &report, false) != 0)
            failed[t]++;
         else
            textBytes[t] += strlen(text);
         etsi_delete_array(text);
         etsi_delete_array(report);
      }
   };
   auto start = std::chrono::steady_clock::now();
   std::clock_t cpuStart = std::clock();
   std::vector<std::thread> pool;
   for (int t = 1; t < threads; t++) pool.emplace_back(share, t);
   share(0);
   for (std::thread& t : pool) t.join();
   double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
   double cpu = static_cast<double>(std::clock() - cpuStart) / CLOCKS_PER_SEC;
   double calls = static_cast<double>(messages.size());
   size_t failedAll = 0, bytesAll = 0;
   for (int t = 0; t < threads; t++) failedAll += failed[t], bytesAll += textBytes[t];
   printf(
      "%.0f calls on %d threads in %.3f s (processor time %.3f s): %.0f messages/s, %.2f us per "
      "message (%zu failed, %zu bytes of JSON)\n",
      calls, threads, seconds, cpu, calls / seconds, seconds / calls * 1e6, failedAll, bytesAll);
   return failedAll == 0 ? 0 : 1;
}
