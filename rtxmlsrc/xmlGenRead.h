// xmlGenRead.h: the reading steps of the generated XML decoders.
#ifndef XMLGENREAD_H
#define XMLGENREAD_H

#include "asn1ErrorHandler.h"
#include "asn1Gen.h"
#include "rtXmlDec.h"
#include "rtXmlPull.h"
#include "rtxDList.h"
#include "rtxDListBuf.h"
#include "rtxError.h"
#include "rtxMemory.h"

#endif
