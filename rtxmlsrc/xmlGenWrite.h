// xmlGenWrite.h: the writing steps of the generated XML encoders.
#ifndef XMLGENWRITE_H
#define XMLGENWRITE_H

#include "asn1ErrorHandler.h"
#include "asn1Gen.h"
#include "rtXml.h"
#include "rtxError.h"

#endif
