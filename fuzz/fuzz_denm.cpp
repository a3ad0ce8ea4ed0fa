// Fuzz target of the DENM: UPER decoder and both JSON exports.
#include "DENM-PDU-DescriptionsJson.h"
#include "fuzz_message.h"

FUZZ_MESSAGE_TARGET(DENM)
