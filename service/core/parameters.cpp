#include "service/core/parameters.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "boundary/ascii_case.h"
#include "service/core/outside_text.h"
#include "service/sdk/numbers.h"
#include "system/ini_file.h"

namespace orvan::core {
namespace {

constexpr std::size_t kLongestText = 4096;
constexpr std::size_t kLongestShownName = 48;

std::uint32_t Saturated(std::uint64_t value) {
  return static_cast<std::uint32_t>(
      std::min<std::uint64_t>(value, std::numeric_limits<std::uint32_t>::max()));
}

bool HasRange(const sdk::ParameterSpec& spec) {
  return spec.least != 0 || spec.greatest != 0;
}

// The name as part of a message key: what a key would take as a mark is left out.
std::string KeyPart(const std::string& name) {
  std::string part;
  for (const char c : name.substr(0, kLongestShownName)) {
    const char upper = tarvex::AsciiUpper(c);
    const bool isLetter = upper >= 'A' && upper <= 'Z';
    part += isLetter || (c >= '0' && c <= '9') || c == '_' || c == '-' ? upper : '?';
  }
  return part;
}

std::optional<std::string> CheckedInteger(const sdk::ParameterSpec& spec, const std::string& text) {
  const std::optional<std::uint64_t> value = sdk::NumberIn(text);
  if (!value || (HasRange(spec) && (*value < spec.least || *value > spec.greatest))) {
    return std::nullopt;
  }
  return std::to_string(*value);
}

std::optional<std::string> CheckedBoolean(const std::string& text) {
  const std::string lower = tarvex::LowerAscii(text);
  if (lower == "true" || lower == "yes" || lower == "1") return "TRUE";
  if (lower == "false" || lower == "no" || lower == "0") return "FALSE";
  return std::nullopt;
}

std::optional<std::string> CheckedText(const std::string& text) {
  if (text.size() > kLongestText || text.find('\0') != std::string::npos) return std::nullopt;
  return text;
}

std::optional<std::string> CheckedValue(const sdk::ParameterSpec& spec, const std::string& text) {
  switch (spec.type) {
    case kParameterInteger:
      return CheckedInteger(spec, text);
    case kParameterBoolean:
      return CheckedBoolean(text);
    default:
      return CheckedText(text);
  }
}

std::string FaultOf(const sdk::ParameterSpec& spec) {
  std::string fault = "THE_PARAMETER_" + KeyPart(spec.name) + "_MUST_BE_";
  if (spec.type == kParameterInteger) {
    fault += "A_NUMBER";
    if (HasRange(spec)) {
      fault += "_FROM_" + std::to_string(spec.least) + "_TO_" + std::to_string(spec.greatest);
    }
    return fault;
  }
  return fault + (spec.type == kParameterBoolean ? "YES_OR_NO" : "A_SHORTER_TEXT");
}

}  // namespace

std::vector<TestParameter> ToTestParameters(const std::vector<sdk::ParameterSpec>& specs) {
  std::vector<TestParameter> records;
  records.reserve(specs.size());
  for (const sdk::ParameterSpec& spec : specs) {
    records.push_back({InLine(spec.name),
                       InLine(spec.label),
                       InLine(spec.detail),
                       InLine(spec.initialValue),
                       InLine(spec.value.value_or(spec.initialValue)),
                       spec.type,
                       InLine(spec.extra),
                       {Saturated(spec.least), Saturated(spec.greatest)}});
  }
  return records;
}

CheckedParameters CheckParameters(const std::vector<sdk::ParameterSpec>& specs,
                                  const std::vector<TestParameter>& given) {
  CheckedParameters checked;
  for (const TestParameter& parameter : given) {
    const std::string name = tarvex::LowerAscii(parameter.name);
    const auto spec = std::find_if(specs.begin(), specs.end(), [&](const auto& candidate) {
      return tarvex::LowerAscii(candidate.name) == name;
    });
    if (spec == specs.end()) {
      checked.fault = "THE_TEST_HAS_NO_PARAMETER_" + KeyPart(parameter.name);
      break;
    }
    std::optional<std::string> value = CheckedValue(*spec, parameter.value);
    if (!value) {
      checked.fault = FaultOf(*spec);
      break;
    }
    checked.values.insert_or_assign(name, std::move(*value));
  }
  return checked;
}

}  // namespace orvan::core
