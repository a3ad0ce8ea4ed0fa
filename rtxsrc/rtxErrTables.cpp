// The process-wide table of status text tables, and the core table of the
// run-time (-1 and below). Tables are registered at run time, one per layer;
// a status finds its template positionally in the first table whose range
// holds it.
#include "rtxError.h"

namespace {

struct ErrTableEntry {
   const char* const* templates;
   int start;      // status of templates[0]
   int end;        // first status below the table's range
   int64_t count;  // templates before the terminating null entry
};

const int kMaxErrTables = 5;

// Filled on first use without a lock and only read afterwards; registering
// is idempotent, so every context set-up may call the init functions again.
ErrTableEntry g_errTables[kMaxErrTables];
int g_errTableCount = 0;

// Positional: entry i is the template of status -1 - i.
const char* const kCoreTemplates[] = {
   "Encode buffer overflow",                                                 // -1
   "Unexpected end of buffer on decode",                                     // -2
   "Unexpected identifier encountered: expected = %s, parsed = %s",          // -3
   "Enumerated value %s not in defined set",                                 // -4
   "Duplicate element in container object (SEQUENCE, SET, etc.)",            // -5
   "Missing required element %s in container object (SEQUENCE, SET, etc.)",  // -6
   "Element index %s not within bounds of ASN.1 SET or XSD all type",        // -7
   "Max elements defined for repeating field exceeded",                      // -8
   "Element with identifier %s is an invalid option in choice",              // -9
   "No dynamic memory available",                                            // -10
   "Invalid hex string",                                                     // -11
   "Invalid real value",                                                     // -12
   "Max items in sized character or binary string field exceeded",           // -13
   "Value not valid for its type",                                           // -14
   "Nesting level too deep",                                                 // -15
   "Value constraint violation: field %s, value %s",                         // -16
   "Unexpected end of file detected",                                        // -17
   "Invalid UTF-8 character at index %s",                                    // -18
   "Array index out of bounds",                                              // -19
   "Invalid parameter passed to function or method",                         // -20
   "Invalid value format",                                                   // -21
   "Context is not initialized",                                             // -22
   "Value will not fit in target variable: element '%s'",                    // -23
   "Character is not within the defined character set",                      // -24
   "Invalid XML state for attempted operation",                              // -25
   "Error condition returned from XML parser:\n%s",                          // -26
   "Sequence elements not in correct order",                                 // -27
   "File not found or can't be opened",                                      // -28
   "Read error",                                                             // -29
   "Write error",                                                            // -30
   "Invalid Base64 string",                                                  // -31
   "Socket error",                                                           // -32
   "Attribute \"%s.%s\" not defined",                                        // -33
   "Regexp error: %s: %s",                                                   // -34
   "Pattern match violation: field %s, value %s",                            // -35
   "Missing required attribute \"%s\"",                                      // -36
   "Host name could not be resolved",                                        // -37
   "HTTP error: %s",                                                         // -38
   "SOAP error. Code: %s, Reason:\n%s",                                      // -39
   "",                                                                       // -40: not used
   "Unexpected element \"%s\" found",                                        // -41
   "Invalid number of occurences of element %s (%s)",                        // -42
   "Invalid message buffer",                                                 // -43
   "Decode \"%s\" for element \"%s.%s\" failed",                             // -44
   "Decode of attribute \"%s.%s\" failed",                                   // -45
   "Current stream must be closed before opening a new stream",              // -46
   "Unexpected null pointer value: %s",                                      // -47
   "General failure: %s",                                                    // -48
   "Attribute '%s' value '%s' does not match defined fixed value",           // -49
   "Multiple errors; see context error list for details on each error",      // -50
   "Derived type could not be decoded due to missing type info",             // -51
   "Address is already in use",                                              // -52
   "Remote connection was reset",                                            // -53
   "Host was unreachable due to network or host failure",                    // -54
   "Socket is not connected",                                                // -55
   "Connection refused",                                                     // -56
   "Invalid socket option",                                                  // -57
   "SOAP fault message",                                                     // -58
   "Mark is not supported on this type of stream",                           // -59
   "Feature not supported: %s",                                              // -60
   "Unbalanced structure detected",                                          // -61
   "Expected name in name/value pair but encountered value instead",         // -62
   "Invalid Unicode character encountered",                                  // -63
   "Invalid Boolean value keyword encountered",                              // -64
   "Invalid null or nil value keyword encountered",                          // -65
   "Invalid field length detected",                                          // -66
   "Unknown information element received, ID = %d",                          // -67
   "Element expected to start on byte boundary",                             // -68
   "Extraneous data exists in buffer after decode complete",                 // -69
   "Invalid Message Authentication Code; expected = %s; computed = %s",      // -70
   "No security parameters were provided to decrypt/validate message",       // -71
   "Copy operation failed",                                                  // -72
   "Unable to parse message '%s'",                                           // -73
   "Values not equal: element '%s', value1 '%s', value2 '%s'",               // -74
   "Buffers not equal: element '%s', diffs = '%s'",                          // -75
   "Bit string value contains unused bits that have not been set to zero",   // -76
   "",                                                                       // -77: not used
   "No decoder generated for type found in encoding",                        // -78
   "Socket would have blocked",                                              // -79
   "CDR or message file contains no data records",                           // -80
   "Error returned from MBEDTLS function %d, status = %d",                   // -81
   nullptr};

}  // namespace

int rtxErrAddErrorTableEntry(const char* const* templates, int start, int end)
{
   if (templates == nullptr || g_errTableCount >= kMaxErrTables) return 0;
   for (int i = 0; i < g_errTableCount; i++) {
      if (g_errTables[i].templates == templates) return 0;
   }
   int64_t count = 0;
   while (templates[count] != nullptr) count++;
   ErrTableEntry& entry = g_errTables[g_errTableCount];
   entry.templates = templates;
   entry.start = start;
   entry.end = end;
   entry.count = count;
   g_errTableCount++;
   return 1;
}

const char* rtxErrGetTemplate(int status)
{
   for (int i = 0; i < g_errTableCount; i++) {
      const ErrTableEntry& entry = g_errTables[i];
      if (status <= entry.start && status > entry.end) {
         int64_t index = (int64_t)entry.start - status;
         if (index >= entry.count) return nullptr;
         const char* tmpl = entry.templates[index];
         return (tmpl != nullptr && tmpl[0] != '\0') ? tmpl : nullptr;
      }
   }
   return nullptr;
}

int rtxErrInit()
{
   rtxErrAddErrorTableEntry(kCoreTemplates, RTERR_BUFOVFLW, -99);
   return 0;
}
