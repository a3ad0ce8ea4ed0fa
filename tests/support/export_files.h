// Helpers of the export tests: the test data files and reports with their
// build-specific positions taken out.
#ifndef EXPORT_FILES_H
#define EXPORT_FILES_H

#include <cctype>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>

#include "itscodec.h"

// A file of the test data folder (tests/data), whole.
inline std::string readDataFile(const std::string& name)
{
   std::ifstream in(std::string(VX_TEST_DATA_DIR) + "/" + name, std::ios::binary);
   return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// The bytes of a data file of hexadecimal digits (up to the first other
// character).
inline std::string readHexFile(const std::string& name)
{
   std::string hex = readDataFile(name), bytes;
   for (size_t i = 0; i + 1 < hex.size() && isxdigit((unsigned char)hex[i]); i += 2)
      bytes += (char)std::stoi(hex.substr(i, 2), nullptr, 16);
   return bytes;
}

// Report lines "Module: <path> Line <n>" carry build-specific positions.
inline std::string normalise(const std::string& report)
{
   return std::regex_replace(report, std::regex("Module: \\S+ Line \\d+"), "Module: M Line N");
}

// What a UPER-to-text export handed out: its status, text and report, and
// which of the two outputs it set (both start non-null, so that one left
// alone shows).
struct TextResult {
   int stat;
   std::string text, error;
   bool textSet, errorSet;
};

typedef int (*ToTextFn)(const char*, unsigned long, char**, char**, bool);

inline TextResult callToText(ToTextFn fn, const std::string& bytes)
{
   char* text = reinterpret_cast<char*>(1);
   char* err = reinterpret_cast<char*>(1);
   TextResult r;
   r.stat = fn(bytes.data(), bytes.size(), &text, &err, false);
   r.textSet = text != nullptr;
   r.errorSet = err != nullptr;
   if (text) r.text = text;
   if (err) r.error = err;
   etsi_delete_array(text);
   etsi_delete_array(err);
   return r;
}

#endif
