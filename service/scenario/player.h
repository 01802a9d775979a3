#pragma once

#include <functional>
#include <memory>

#include "service/scenario/script.h"

namespace orvan::scenario {

// A test that plays its script: reports at their times, and after the duration (or the last report,
// if that is later) the status. Ends canceled at once when stop is requested.
std::function<sdk::Verdict(sdk::TestContext&)> PlayTest(TestScript script);

// Makes `tool` play `run`; stop makes it leave that at once and play `abort`, whose waits nothing
// cuts short, and so does a run that the service does not let begin. Without a listener it returns
// at once; a filtering run withdraws its devices.
void PlayTool(ToolScript script, sdk::ToolRecord& tool);

// A module that offers what the script says.
std::unique_ptr<sdk::Module> MakeModule(ModuleScript script);

}  // namespace orvan::scenario
