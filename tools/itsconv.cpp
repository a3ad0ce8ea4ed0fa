// itsconv: converts one C-ITS message between UPER (hexadecimal text) and
// JSON or XML through the exported functions of libitscodec.so.
//
//   itsconv MSG to-json   [FILE]   UPER as hex digits in, JSON out
//   itsconv MSG from-json [FILE]   JSON in, UPER as hex digits out
//   itsconv MSG to-xml    [FILE]   UPER as hex digits in, XML out
//   itsconv MSG from-xml  [FILE]   XML in, UPER as hex digits out
//
// MSG is one of CAM DENM SPATEM MAPEM IVIM SREM SSEM; FILE defaults to
// standard input. --verbose prints the bit trace of the UPER side.
#include <cctype>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "itscodec.h"

namespace {

typedef int (*ToText)(const char*, unsigned long, char**, char**, bool);
typedef int (*FromText)(const char*, char**, unsigned long*, char**, bool);

struct Message {
   const char* name;
   ToText toJson, toXml;
   FromText fromJson, fromXml;
};

#define ITSCONV_MESSAGE(MSG, ID, MEMBER) \
   {#MSG, etsi_##MSG##_to_json, etsi_##MSG##_to_xml, etsi_##MSG##_from_json, etsi_##MSG##_from_xml},
const Message kMessages[] = {ITSCODEC_MESSAGES(ITSCONV_MESSAGE)};
#undef ITSCONV_MESSAGE

int usage()
{
   std::cerr << "usage: itsconv MSG to-json|from-json|to-xml|from-xml [FILE] [--verbose]\n  MSG:";
   for (const Message& m : kMessages) std::cerr << " " << m.name;
   std::cerr << "\n";
   return 2;
}

bool readAll(const char* path, std::string* out)
{
   if (path == nullptr || strcmp(path, "-") == 0) {
      out->assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
      return true;
   }
   std::ifstream in(path, std::ios::binary);
   if (!in) return false;
   out->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
   return true;
}

bool hexToBytes(const std::string& text, std::vector<char>* bytes)
{
   std::string digits;
   for (char c : text) {
      if (isxdigit((unsigned char)c))
         digits += c;
      else if (!isspace((unsigned char)c))
         return false;
   }
   if (digits.size() % 2) return false;
   for (size_t i = 0; i < digits.size(); i += 2)
      bytes->push_back((char)std::stoi(digits.substr(i, 2), nullptr, 16));
   return true;
}

}  // namespace

int main(int argc, char** argv)
{
   bool verbose = false;
   std::vector<const char*> args;
   for (int i = 1; i < argc; i++) {
      if (strcmp(argv[i], "--verbose") == 0)
         verbose = true;
      else
         args.push_back(argv[i]);
   }
   if (args.size() < 2 || args.size() > 3) return usage();
   const Message* msg = nullptr;
   for (const Message& m : kMessages)
      if (strcmp(m.name, args[0]) == 0) msg = &m;
   if (msg == nullptr) return usage();
   ToText toText = nullptr;
   FromText fromText = nullptr;
   if (strcmp(args[1], "to-json") == 0)
      toText = msg->toJson;
   else if (strcmp(args[1], "to-xml") == 0)
      toText = msg->toXml;
   else if (strcmp(args[1], "from-json") == 0)
      fromText = msg->fromJson;
   else if (strcmp(args[1], "from-xml") == 0)
      fromText = msg->fromXml;
   else
      return usage();

   std::string input;
   if (!readAll(args.size() == 3 ? args[2] : nullptr, &input)) {
      std::cerr << "itsconv: cannot read " << args[2] << "\n";
      return 2;
   }
   char* errorText = nullptr;
   int stat;
   if (toText != nullptr) {
      std::vector<char> bytes;
      if (!hexToBytes(input, &bytes)) {
         std::cerr << "itsconv: input is not hexadecimal digits\n";
         return 2;
      }
      char* text = nullptr;
      stat = toText(bytes.data(), bytes.size(), &text, &errorText, verbose);
      if (stat == 0) std::cout << text << "\n";
      etsi_delete_array(text);
   } else {
      char* encoded = nullptr;
      unsigned long len = 0;
      stat = fromText(input.c_str(), &encoded, &len, &errorText, verbose);
      if (stat == 0) {
         for (unsigned long i = 0; i < len; i++) printf("%02x", (unsigned char)encoded[i]);
         printf("\n");
      }
      etsi_delete_array(encoded);
   }
   if (stat != 0) std::cerr << "itsconv: status " << stat << "\n" << (errorText ? errorText : "");
   etsi_delete_array(errorText);
   return stat == 0 ? 0 : 1;
}
