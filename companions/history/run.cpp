#include "companions/history/run.h"

#include <algorithm>

#include "system/key_format.h"

namespace tarvex::history {
namespace {

constexpr std::array<const char*, kVerdicts> kVerdictWords{
    "failed", "unfinished", "warning", "canceled", "passed", "invalid", "not applicable"};
constexpr std::array<const char*, 4> kStateWords{"complete", "running", "crashed", "cut"};

}  // namespace

const char* WordOf(Verdict verdict) {
  return kVerdictWords.at(static_cast<std::size_t>(verdict));
}

std::optional<Verdict> VerdictOfWord(std::string_view word) {
  const auto* const found = std::find(kVerdictWords.begin(), kVerdictWords.end(), word);
  if (found == kVerdictWords.end()) return {};
  return static_cast<Verdict>(found - kVerdictWords.begin());
}

const char* WordOf(RunState state) {
  return kStateWords.at(static_cast<std::size_t>(state));
}

std::array<std::size_t, kVerdicts> LoggedRun::Counts() const {
  std::array<std::size_t, kVerdicts> counts{};
  for (const RunTest& test : tests) ++counts.at(static_cast<std::size_t>(test.verdict));
  return counts;
}

const std::string& KeyOfMachine(const std::string& id, const std::string& name) {
  return id.empty() ? name : id;
}

std::string NameOfKey(const std::string& key) {
  return FormatKey(key, true, true, true);
}

Verdict VerdictOf(const LoggedRun& run) {
  // A run that says nothing of its end may have found anything but what it says it found.
  Verdict worst = run.state == RunState::kComplete ? Verdict::kNotApplicable : Verdict::kUnfinished;
  if (run.tests.empty() && run.state == RunState::kComplete && !run.errors.empty()) {
    worst = Verdict::kInvalid;
  }
  for (const RunTest& test : run.tests) worst = std::min(worst, test.verdict);
  return worst;
}

}  // namespace tarvex::history
