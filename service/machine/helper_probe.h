#pragma once

#include "service/machine/helper_protocol.h"

namespace orvan::machine {

// Looks at a device and at a mounted file system, in the helper program. May hang.
ProbedMessage AnswerProbe(const ProbeMessage& question);

}  // namespace orvan::machine
