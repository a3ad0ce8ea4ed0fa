// Fuzz target of the SPATEM: UPER decoder and both JSON exports.
#include "SPATEM-PDU-DescriptionsJson.h"
#include "fuzz_message.h"

FUZZ_MESSAGE_TARGET(SPATEM)
