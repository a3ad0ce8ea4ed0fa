// Fuzz target of the SREM: UPER decoder and both JSON exports.
#include "SREM-PDU-DescriptionsJson.h"
#include "fuzz_message.h"

FUZZ_MESSAGE_TARGET(SREM)
