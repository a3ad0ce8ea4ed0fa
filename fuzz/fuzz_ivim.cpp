// Fuzz target of the IVIM: UPER decoder and both JSON exports.
#include "IVIM-PDU-DescriptionsJson.h"
#include "fuzz_message.h"

FUZZ_MESSAGE_TARGET(IVIM)
