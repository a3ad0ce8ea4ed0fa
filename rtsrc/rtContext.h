// The ASN.1 side of the run-time context: the information record hung off
// pASN1Info (size constraint, event handlers, error handler), the contexts
// that carry one, and the ASN.1 status table.
#ifndef RTCONTEXT_H
#define RTCONTEXT_H

#include "rtxContext.h"

// Bounds of a PER size constraint: root lower/upper, extension lower/upper.
struct Asn1SizeCnst {
   uint64_t rootLower;
   uint64_t rootUpper;
   uint64_t extLower;
   uint64_t extUpper;
};

class Asn1ErrorHandler;

// ASN.1 information record, hung off pASN1Info; system-allocated and zeroed.
struct VXASN1Info {
   int (*freeHook)(VXCTXT* pctxt, void* info);
   int (*resetHook)(VXCTXT* pctxt, void* info);
   Asn1SizeCnst sizeConstraint;
   VXRTSList eventHandlers;
   Asn1ErrorHandler* errorHandler;
};

int rtInitContext(VXCTXT* pctxt);
int rtInitASN1RtContext(VXCTXT* pctxt);
int rtInitSubContext(VXCTXT* sub, VXCTXT* parent);
int rtCtxtInitASN1Info(VXCTXT* pctxt);
int rtCtxtFreeASN1Info(VXCTXT* pctxt, void* info);
int rtCtxtResetASN1Info(VXCTXT* pctxt, void* info);
// Event handlers of the decoders, kept in the ASN.1 information record
// (created if missing); registration order is call order.
int rtAddEventHandler(VXCTXT* pctxt, void* handler);
void rtRemoveEventHandler(VXCTXT* pctxt, void* handler);
void rtFreeContext(VXCTXT* pctxt);
void rtSetFastCopy(VXCTXT* pctxt, bool value);
void rtSetCopyValues(VXCTXT* pctxt, bool value);

// Registers the ASN.1 status texts (once; later calls do nothing).
int rtErrASN1Init();

#endif
