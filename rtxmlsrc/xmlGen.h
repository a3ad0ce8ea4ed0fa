// xmlGen.h: the steps the generated XML codecs (XmlEnc_<Type>, XmlDec_<Type>)
// share, so that the schema compiler writes only what differs from type to
// type: the writing steps in xmlGenWrite.h, the reading steps in xmlGenRead.h
// and, for the direct readers (XmlFast_<Type>), in xmlFastRead.h.
#ifndef XMLGEN_H
#define XMLGEN_H

#include "xmlFastRead.h"
#include "xmlGenRead.h"
#include "xmlGenWrite.h"

#endif
