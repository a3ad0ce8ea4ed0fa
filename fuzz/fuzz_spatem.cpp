// Fuzz target of the SPATEM: UPER decoder and both JSON exports.
#include "SPATEM-PDU-Descriptions.h"
#include "fuzz_message.h"

FUZZ_MESSAGE_TARGET(SPATEM)
