// Status texts of the XML engine (-200 and below).
#include "rtXmlErr.h"
#include "rtxError.h"

namespace {

// Positional: entry i is the template of status -200 - i.
const char* const kXmlTemplates[] = {
   "General error",                                                                    // -200
   "Invalid symbol '%s' detected in XML stream",                                       // -201
   "Start/end XML tags mismatch: expected '%s', parsed '%s'",                          // -202
   "Duplicate attribute found",                                                        // -203
   "Bad character reference '%s;' found",                                              // -204
   "Invalid data mode",                                                                // -205
   "Unexpected end-of-file (document) found",                                          // -206
   "Current tag is not matched to specified one",                                      // -207
   "Required element '%s' missed",                                                     // -208
   "One or more required element missed",                                              // -209
   "minOccurs is not reached",                                                         // -210
   "Unexpected start tag <%s> found",                                                  // -211
   "Unexpected end tag </%s> found",                                                   // -212
   "Unexpected identifier encountered:\n   expected = '%s':%s,\n   parsed = '%s':%s",  // -213
   "Unknown xsi:type '%s':%s",                                                         // -214
   "Namespace URI for prefix '%s' not found",                                          // -215
   "Key not found in '%s', fields: %s %s %s %s",                                       // -216
   "Duplicate key found in '%s', fields: %s %s %s %s",                                 // -217
   "Field #%s absent in some key of '%s'",                                             // -218
   "Key has duplicate field #%s in '%s'",                                              // -219
   "Element is not empty, as is required.",                                            // -220
   nullptr};

}  // namespace

int rtErrXmlInit()
{
   rtxErrAddErrorTableEntry(kXmlTemplates, XML_E_GENERR, -299);
   return 0;
}
