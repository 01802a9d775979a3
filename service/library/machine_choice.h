#pragma once

#include <string>

#include "service/remote/worker.h"

namespace orvan::library {

// Chooses the machine that all modules of this run get: this one, this one recorded into the file
// that ORVAN_RECORD names, or the recording that ORVAN_REPLAY names. Empty, or the reason why there
// is none, in one line for the operator.
std::string ChooseMachine(remote::MachinePlan& plan);

}  // namespace orvan::library
