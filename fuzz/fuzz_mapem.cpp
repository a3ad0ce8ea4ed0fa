// Fuzz target of the MAPEM: UPER decoder and both JSON exports.
#include "MAPEM-PDU-DescriptionsJson.h"
#include "fuzz_message.h"

FUZZ_MESSAGE_TARGET(MAPEM)
