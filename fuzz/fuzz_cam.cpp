// Fuzz target of the CAM: UPER decoder and both JSON exports.
#include "CAM-PDU-DescriptionsJson.h"
#include "fuzz_message.h"

FUZZ_MESSAGE_TARGET(CAM)
