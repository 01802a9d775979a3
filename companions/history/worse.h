#pragma once

#include <optional>
#include <string>
#include <vector>

#include "companions/history/facts.h"
#include "companions/history/options.h"
#include "companions/history/run_index.h"

// What got worse on a device since it was looked at before. Any thread.
namespace tarvex::history {

// One thing that is worse than the last time that the same test told of it.
struct Worsening {
  enum class What { kVerdict, kValue, kSectors };
  What what = What::kValue;
  RunDevice device;
  std::string test;
  std::string name;    // of the measurement
  std::string before;  // verdicts in words, values as people read them
  std::string after;
  std::optional<double> valueBefore;
  std::optional<double> valueAfter;
  std::string unit;
  std::string runBefore;
};

// `runs` are those of one device, oldest first; what the run number `at` found is compared with
// what was found before it.
std::vector<Worsening> WhatGotWorse(const std::vector<DeviceRun>& runs, std::size_t at);

// The table's say: whether `after` is worse than `before` by so much that it counts.
bool IsWorse(const std::string& name, double before, double after);

std::string WorseReport(const RunSummary& run, const std::vector<Worsening>& found, Format format);

}  // namespace tarvex::history
