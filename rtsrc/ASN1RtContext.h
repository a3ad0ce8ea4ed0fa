// A context object for the ASN.1 encodings: its record carries the ASN.1
// information (size constraint, event handlers) and the ASN.1 status texts
// are registered.
#ifndef ASN1RTCONTEXT_H
#define ASN1RTCONTEXT_H

#include "VXRTContext.h"
#include "rtContext.h"

class ASN1RtContext : public VXRTContext {
 public:
   ASN1RtContext();
   ~ASN1RtContext() override {}
};

#endif
