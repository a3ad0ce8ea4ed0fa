// Hook through which the codecs pass recoverable faults (a missing required
// element, an enumeration value outside its set). Without a registered
// handler a status comes back unchanged; a handler may turn it into 0 to let
// the codec go on.
#ifndef ASN1ERRORHANDLER_H
#define ASN1ERRORHANDLER_H

#include "rtContext.h"
#include "rtxContext.h"

// Control block describing where a fault was met: the position of the item
// in the message buffer and its length in bytes. Both may be zero (null) when
// the caller has nothing to point at; codecs pass a zeroed local block.
struct VexilCB {
   const uint8_t* pos;
   uint64_t len;
};

class Asn1ErrorHandler {
 public:
   virtual ~Asn1ErrorHandler() {}

   // Decides on a fault: returns the status to go on with (0 to ignore it).
   virtual int error(VXCTXT* pctxt, VexilCB* pCCB, int stat) = 0;

   // Registers pHandler (null removes it) in the context's ASN.1 information
   // record, creating that record if needed. 0, or -10 on exhaustion.
   static int setErrorHandler(VXCTXT* pctxt, Asn1ErrorHandler* pHandler);

   // stat unchanged without a handler, else what the handler makes of it.
   static int invoke(VXCTXT* pctxt, VexilCB* pCCB, int stat);
   static int invoke(VXCTXT* pctxt, const uint8_t* pos, uint64_t len, int stat);
};

#endif
