#include "service/sdk/numbers.h"

#include <charconv>

namespace orvan::sdk {

Verdict InvalidParameter(const std::string& name) {
  return Verdict::Invalid("|INVALID_VALUE_OF_PARAMETER_" + name);
}

std::optional<std::uint64_t> NumberIn(const std::string& text) {
  std::uint64_t value = 0;
  const char* end = text.data() + text.size();
  const auto [at, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || at != end) return {};
  return value;
}

std::optional<std::uint64_t> Bounded(const NumberRow& row, std::uint64_t value) {
  if (value < row.least || value > row.greatest) return {};
  return value;
}

std::optional<std::uint64_t> ValueIn(const NumberRow& row, const std::string& text) {
  if (row.isSwitch) {
    if (text != "TRUE" && text != "FALSE") return {};
    return text == "TRUE" ? 1 : 0;
  }
  const std::optional<std::uint64_t> value = NumberIn(text);
  return value ? Bounded(row, *value) : value;
}

ParameterSpec SpecOf(const NumberRow& row, std::uint64_t initial) {
  if (row.isSwitch) {
    return {row.name,          row.label,  row.detail, initial == 0 ? "no" : "yes",
            kParameterBoolean, "yes or no"};
  }
  const std::string range = std::to_string(row.least) + '-' + std::to_string(row.greatest);
  return {row.name,          row.label, row.detail, std::to_string(initial),
          kParameterInteger, range,     row.least,  row.greatest};
}

}  // namespace orvan::sdk
