#include "service/sdk/numbers.h"

#include <algorithm>

namespace orvan::sdk {

Verdict InvalidParameter(const std::string& name) {
  return Verdict::Invalid("|INVALID_VALUE_OF_PARAMETER_" + name);
}

namespace detail {

std::optional<std::uint64_t> NumberIn(const std::string& text) {
  std::uint64_t value = 0;
  const char* end = text.data() + text.size();
  const auto [at, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || at != end) return {};
  return value;
}

ParameterSpec SpecOf(const char* name, const char* label, const char* detail, std::uint64_t least,
                     std::uint64_t greatest, std::uint64_t initial) {
  const std::string range = std::to_string(least) + '-' + std::to_string(greatest);
  return {name, label, detail, std::to_string(initial), kParameterInteger, range, least, greatest};
}

}  // namespace detail
}  // namespace orvan::sdk
