// The fuzz target of one message, FUZZ_MSG (set by the build for each of
// the seven): UPER decoder and both JSON exports.
#include "fuzz_message.h"
#include "itsgen_all.h"

// One more step, so that FUZZ_MSG is replaced before its name is pasted.
#define FUZZ_TARGET_OF(MSG) FUZZ_MESSAGE_TARGET(MSG)
FUZZ_TARGET_OF(FUZZ_MSG)
