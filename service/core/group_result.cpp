#include "service/core/group_result.h"

#include <algorithm>
#include <array>

namespace orvan::core {
namespace {

constexpr std::size_t kLongestVersion = 24;

struct Row {
  TestStatus status;
  const char* word;
};

// From the lightest to the gravest; the place is the rank.
constexpr std::array<Row, 6> kRanks{{{kTestNotApplicable, "NOT_APPLICABLE"},
                                     {kTestInvalid, "INVALID"},
                                     {kTestPassed, "PASSED"},
                                     {kTestCanceled, "CANCELED"},
                                     {kTestWarning, "WARNING"},
                                     {kTestFailed, "FAILED"}}};

bool IsPlain(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.';
}

}  // namespace

void WorstVerdict::Add(TestStatus status) {
  for (std::size_t place = 0; place < kRanks.size(); ++place) {
    if (kRanks[place].status == status) {
      rank_ = std::max(rank_, static_cast<int>(place) + 1);
    }
  }
}

const char* WorstVerdict::Word() const {
  return rank_ == 0 ? "NONE" : kRanks[static_cast<std::size_t>(rank_ - 1)].word;
}

std::string ProvisionalCode(const std::string& version, const WorstVerdict& worst,
                            std::int64_t groupId) {
  std::string code = version.substr(0, kLongestVersion);
  std::replace_if(
      code.begin(), code.end(), [](char c) { return !IsPlain(c); }, '_');
  return code + '-' + worst.Word() + '-' + std::to_string(groupId);
}

}  // namespace orvan::core
