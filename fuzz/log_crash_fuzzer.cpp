#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "service/log/log_artifacts.h"
#include "service/log/log_crash.h"

namespace {

using orvan::log::HasRunEnd;
using orvan::log::OpenSteps;

// No step of a real log has such a number: the fuzzer would have to find it.
constexpr std::uint64_t kNewStep = 987654321987654321;

void Require(bool holds) {
  if (!holds) std::abort();
}

std::string RunEnd() {
  using namespace orvan::log;
  return RunLine({}, RunEndArtifact(LogStatus::kComplete, LogResult::kPass));
}

// The names in any order, for a step that begins may stand before others or behind them.
std::vector<std::string> Sorted(std::vector<std::string> names) {
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

// Any bytes are the end of a log: each whole line names one step at most, a line without its end
// changes nothing, and what a run adds behind the last whole line counts as in any log.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string tail(reinterpret_cast<const char*>(data), size);
  const std::string whole = tail.substr(0, tail.rfind('\n') + 1);
  const std::vector<std::string> steps = OpenSteps(tail);
  const auto lines = static_cast<std::size_t>(std::count(whole.begin(), whole.end(), '\n'));
  Require(steps.size() <= lines);
  Require(OpenSteps(whole) == steps && HasRunEnd(whole) == HasRunEnd(tail));
  Require(HasRunEnd(whole + RunEnd()) && OpenSteps(whole + RunEnd()) == steps);

  const auto line = [](const std::string& artifact) {
    return orvan::log::StepLine({}, kNewStep, artifact);
  };
  const std::string begun = whole + line(orvan::log::StepStartArtifact("new"));
  std::vector<std::string> more = steps;
  more.emplace_back("new");
  Require(!HasRunEnd(begun) && Sorted(OpenSteps(begun)) == Sorted(more));
  const std::string ended =
      begun + line(orvan::log::StepEndArtifact(orvan::log::LogStatus::kComplete));
  Require(!HasRunEnd(ended) && OpenSteps(ended) == steps);
  return 0;
}
