// Named event handlers: the out-of-line anchor of the class.
#include "asn1EventHandler.h"

Asn1NamedEventHandler::~Asn1NamedEventHandler() {}
