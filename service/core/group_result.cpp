#include "service/core/group_result.h"

#include <algorithm>

namespace orvan::core {
namespace {

constexpr std::size_t kLongestVersion = 24;

bool IsPlain(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.';
}

}  // namespace

void WorstVerdict::Add(TestStatus status) {
  const tarvex::TestStatusRow* row = tarvex::FindStatus(status);
  if (row != nullptr && row->rank > (worst_ == nullptr ? 0 : worst_->rank)) worst_ = row;
}

const char* WorstVerdict::Word() const {
  return worst_ == nullptr ? "NONE" : worst_->word;
}

std::string ProvisionalCode(const std::string& version, const WorstVerdict& worst,
                            std::int64_t groupId) {
  std::string code = version.substr(0, kLongestVersion);
  std::replace_if(
      code.begin(), code.end(), [](char c) { return !IsPlain(c); }, '_');
  return code + '-' + worst.Word() + '-' + std::to_string(groupId);
}

}  // namespace orvan::core
