#pragma once

#include <cstddef>
#include <string>

#include "frontend/cli.h"
#include "system/timer.h"

// What the run driver keeps while it runs the plans of one module.
struct Cli::ModuleRun {
  DiagModule* module = nullptr;
  std::string moduleName;        // as the module displays it
  DiagDevice* device = nullptr;  // of the plan in hand; null for the pseudo device
  std::size_t plannedTests = 0;  // of all plans of the module
  int percentStep = 0;
  int percentSum = 0;
  Tick lastLook = 0;  // at the abort key; the run's beginning before the first one
  bool planFinished = false;
  bool deviceFailed = false;
};
