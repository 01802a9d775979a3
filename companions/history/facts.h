#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "companions/history/run.h"

// What one run found out of one device, for the comparison of runs. Any thread.
namespace tarvex::history {

struct Value {
  std::string name;
  double value = 0;
  std::string unit;
};

// From a sector on, so many.
using Places = std::vector<std::pair<double, double>>;

struct TestFacts {
  std::string module;
  std::string diagnostic;
  std::string test;
  Verdict verdict = Verdict::kUnfinished;
  std::vector<Value> values;
  Places bad;  // sectors that could not be read, written, or held something else
};

struct DeviceFacts {
  RunDevice device;
  // What makes it the same device in other runs: its key, and the machine (KeyOfMachine) where only
  // that makes the key one of a kind, and the place where two of the run have one key.
  std::string identity;
  std::vector<TestFacts> tests;
};

// The devices of a run that were tested, in the run's order.
std::vector<DeviceFacts> FactsOf(const LoggedRun& run);

Verdict WorstOf(const std::vector<TestFacts>& tests);

// The tests of one device as a text for the index, and back; none of a text that is none.
std::string TextOfFacts(const std::vector<TestFacts>& tests);
std::optional<std::vector<TestFacts>> FactsOfText(const std::string& text);

}  // namespace tarvex::history
