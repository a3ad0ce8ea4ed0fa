// xmlGenRead.h: the reading steps of the generated XML decoders. A decoder
// of a type reads the content of an element whose start tag its caller has
// matched; the caller matches the end tag. Each step here records what it
// refuses with its position, except where a bare status is the rule (-4 for
// an unknown enumerator, -16 for a value outside its constraint).
#ifndef XMLGENREAD_H
#define XMLGENREAD_H

#include "asn1ErrorHandler.h"
#include "asn1Gen.h"
#include "rtXmlDec.h"
#include "rtXmlPull.h"
#include "rtxCharStr.h"
#include "rtxDList.h"
#include "rtxDListBuf.h"
#include "rtxError.h"
#include "rtxMemory.h"
#include "rtxUTF8.h"

// The start of a document decode: the information record and the status
// texts if the buffer has none yet, the XML value notation mode (flag 8),
// and the reader positioned at its first event.
int xmlGenDecStart(VXCTXT* pctxt);

// The end of a document decode, after the root's end tag: with nothing
// returned on the way, a -16 among the recorded errors is the result, else
// the status of the error list (0, a recorded failure, or -50 for several).
int xmlGenDecFinish(VXCTXT* pctxt);

// A BOOLEAN: <true/> or <false/> as the only child; any other child is
// recorded as -41 and passed over, and no child at all is -209.
int xmlGenDecBool(VXCTXT* pctxt, uint8_t* pvalue);

// An ENUMERATED: the identifier as an empty child element, looked up in the
// type's table (sorted by name). No child is -209, a child with a namespace
// prefix that names a namespace -41, an identifier not in the table a bare
// -4, content inside the identifier -220.
int xmlGenDecEnum(VXCTXT* pctxt, const VXEnumItem* items, size_t count, uint32_t* pvalue);

// Unknown elements at the extension position of a SEQUENCE, the first of
// them current: each is kept as its source text in `list`, up to the first
// element the caller knows or the end of the parent, which is given back.
int xmlGenDecExtElems(VXCTXT* pctxt, ASN1TSeqExt* list);

// An unknown alternative of an extensible CHOICE, current: kept as its
// source text in a new open type record.
int xmlGenDecExtAlt(VXCTXT* pctxt, ASN1OpenType** pvalue);

// The single element expected inside a known open type value (the record
// named by its key), matched by `name`: 0 when it is current and matched,
// -209 without an element, -41 for an element of another name.
int xmlGenDecOpenElem(VXCTXT* pctxt, const XmlElemDescr* row);

// A BIT STRING of SIZE(lo, ...) whose root part lies in `rootBytes` bytes
// of `data` (lo a multiple of 8) and whose bits beyond the root go to a new
// heap block `*pext`, numbered from 0 there. More than 255 bits is -16.
int xmlGenDecBitStrExt(VXCTXT* pctxt, uint8_t* data, size_t rootBytes, uint8_t* pnbits,
                       uint8_t** pext);

// The `nbits` (at most 255) bits of `bits` spread as xmlGenDecBitStrExt
// does: the root part into `data`, the rest into a new heap block. 0, or
// RTERR_NOMEM (not recorded).
int xmlGenSpreadBits(VXCTXT* pctxt, const uint8_t* bits, uint64_t nbits, uint8_t* data,
                     size_t rootBytes, uint8_t* pnbits, uint8_t** pext);

#endif
