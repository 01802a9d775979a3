#pragma once

#include <string>

#include "companions/history/run.h"

namespace tarvex::history {

// One run as build systems read results: a suite for each device, a case for each test. Failed
// tests are failures, invalid and unfinished ones errors, canceled ones and those that are not
// applicable skipped. Any thread.
std::string JunitText(const LoggedRun& run);

}  // namespace tarvex::history
