// Status texts of the ASN.1 support layer (-100 and below).
#include "rtContext.h"
#include "rtxError.h"

namespace {

// Positional: entry i is the template of status -100 - i.
const char* const kASN1Templates[] = {
   "Invalid object identifier",                                        // -100
   "Invalid field length detected",                                    // -101
   "Invalid tag value",                                                // -102
   "Invalid binary string value",                                      // -103
   "Invalid index for table constraint identifier",                    // -104
   "Invalid value for relational table constraint fixed type field",   // -105
   "List error: concurrent modification attempt while iterating",      // -106
   "List error: illegal state for attempted operation",                // -107
   "Attempt to invoke encode or decode method on a non-PDU type",      // -108
   "Element type could not be resolved",                               // -109
   "PER encoding for element does not match configured value",         // -110
   "Element with tag %s not defined in SEQUENCE",                      // -111
   "Encoding has bad alignment",                                       // -112
   "PDU type for message could not be determined",                     // -113
   "Encoding is not canonical: %s",                                    // -114
   "Value is not valid for the given type",                            // -115
   "Length form is invalid for given encoding rules",                  // -116
   "Length is not encoded with minimal octets",                        // -117
   "Given encoding rules require primitive form",                      // -118
   "Value is not correctly fragmented as required by encoding rules",  // -119
   nullptr};

}  // namespace

int rtErrASN1Init()
{
   rtxErrAddErrorTableEntry(kASN1Templates, ASN_E_INVOBJID, -199);
   return 0;
}
