// Fuzz target of the SSEM: UPER decoder and both JSON exports.
#include "SSEM-PDU-DescriptionsJson.h"
#include "fuzz_message.h"

FUZZ_MESSAGE_TARGET(SSEM)
