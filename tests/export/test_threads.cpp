// Calls on different threads are independent: the exports run at the same
// time on several threads give what they give on one.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "export_files.h"
#include "itscodec.h"

namespace {

using ToText = int (*)(const char*, unsigned long, char**, char**, bool);
using FromText = int (*)(const char*, char**, unsigned long*, char**, bool);

struct Message {
   const char* file;  // JSON, relative to the test data folder
   FromText fromJson;
   ToText toJson, toXml;
   FromText fromXml;
};

const Message kMessages[] = {
   {"cam_containers.json", etsi_CAM_from_json, etsi_CAM_to_json, etsi_CAM_to_xml,
    etsi_CAM_from_xml},
   {"../../bench/data/denm.json", etsi_DENM_from_json, etsi_DENM_to_json, etsi_DENM_to_xml,
    etsi_DENM_from_xml},
   {"spatem_sample.json", etsi_SPATEM_from_json, etsi_SPATEM_to_json, etsi_SPATEM_to_xml,
    etsi_SPATEM_from_xml},
   {"../../bench/data/mapem.json", etsi_MAPEM_from_json, etsi_MAPEM_to_json, etsi_MAPEM_to_xml,
    etsi_MAPEM_from_xml},
   {"../../bench/data/ivim.json", etsi_IVIM_from_json, etsi_IVIM_to_json, etsi_IVIM_to_xml,
    etsi_IVIM_from_xml},
   {"srem_sample.json", etsi_SREM_from_json, etsi_SREM_to_json, etsi_SREM_to_xml,
    etsi_SREM_from_xml},
   {"ssem_sample.json", etsi_SSEM_from_json, etsi_SSEM_to_json, etsi_SSEM_to_xml,
    etsi_SSEM_from_xml},
};

// JSON -> UPER -> JSON, UPER -> XML -> UPER, and a truncated UPER that
// fails: status, outputs and report of each step, as one text.
std::string convert(const Message& m, const std::string& json)
{
   std::string out;
   char *bytes = nullptr, *err = nullptr, *text = nullptr;
   unsigned long n = 0;
   int stat = m.fromJson(json.c_str(), &bytes, &n, &err, false);
   out += std::to_string(stat) + (err ? err : "") + "\n";
   std::string uper = bytes ? std::string(bytes, n) : std::string();
   etsi_delete_array(bytes);
   etsi_delete_array(err);
   err = nullptr;

   stat = m.toJson(uper.data(), uper.size(), &text, &err, false);
   out += std::to_string(stat) + (text ? text : "") + (err ? err : "") + "\n";
   etsi_delete_array(text);
   etsi_delete_array(err);
   text = err = nullptr;

   stat = m.toXml(uper.data(), uper.size(), &text, &err, false);
   std::string xml = text ? text : "";
   out += std::to_string(stat) + xml + (err ? err : "") + "\n";
   etsi_delete_array(text);
   etsi_delete_array(err);
   err = nullptr;

   bytes = nullptr;
   stat = m.fromXml(xml.c_str(), &bytes, &n, &err, false);
   out += std::to_string(stat) + (bytes && std::string(bytes, n) == uper ? "same" : "other") +
          (err ? err : "") + "\n";
   etsi_delete_array(bytes);
   etsi_delete_array(err);
   text = err = nullptr;

   stat = m.toJson(uper.data(), uper.size() / 2, &text, &err, false);
   out += std::to_string(stat) + (text ? text : "") + normalise(err ? err : "") + "\n";
   etsi_delete_array(text);
   etsi_delete_array(err);
   return out;
}

TEST(Threads, CallsOnSeveralThreadsGiveWhatOneThreadGives)
{
   std::vector<std::string> json, expected;
   for (const Message& m : kMessages) {
      json.push_back(readDataFile(m.file));
      ASSERT_FALSE(json.back().empty()) << m.file;
      expected.push_back(convert(m, json.back()));
   }
   const int kThreads = 4, kRounds = 25;
   std::atomic<int> mismatches{0};
   std::vector<std::thread> threads;
   for (int t = 0; t < kThreads; t++) {
      threads.emplace_back([&, t] {
         for (int r = 0; r < kRounds; r++) {
            // Each thread walks the messages from another start.
            for (size_t i = 0; i < json.size(); i++) {
               size_t k = (i + (size_t)t) % json.size();
               if (convert(kMessages[k], json[k]) != expected[k]) mismatches++;
            }
         }
      });
   }
   for (std::thread& th : threads) th.join();
   EXPECT_EQ(0, mismatches.load());
}

}  // namespace
