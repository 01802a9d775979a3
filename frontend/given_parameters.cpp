#include "frontend/given_parameters.h"

#include <algorithm>

#include "system/string_handler.h"

namespace tarvex {

namespace {

std::string Upper(StringHandler& strings, std::string text) {
  strings.ToUpper(text);
  return text;
}

TestParameter UnknownParameter(const std::string& name, const std::string& value) {
  TestParameter unknown;
  unknown.name = unknown.label = name;
  unknown.initialValue = unknown.value = value;
  unknown.type = kParameterUnknown;
  return unknown;
}

}  // namespace

TestParameter* FindParameter(StringHandler& strings, std::vector<TestParameter>& known,
                             const std::string& name) {
  const auto found = std::find_if(known.begin(), known.end(), [&](const TestParameter& one) {
    return Upper(strings, one.name) == Upper(strings, name);
  });
  return found == known.end() ? nullptr : &*found;
}

std::vector<TestParameter> MergeParameters(StringHandler& strings,
                                           const std::map<std::string, std::string>& raw,
                                           std::vector<TestParameter>& known) {
  std::vector<TestParameter> given;
  for (const auto& [word, text] : raw) {
    const std::vector<std::string> parts = strings.Split(word, '=');
    if (parts.empty() || parts.size() > 2) continue;
    const std::string value = parts.size() == 2 ? parts[1] : std::string();
    if (TestParameter* found = FindParameter(strings, known, parts[0]); found != nullptr) {
      found->value = found->type == kParameterBoolean ? Upper(strings, value) : value;
      given.push_back(*found);
    } else {
      given.push_back(known.emplace_back(UnknownParameter(parts[0], value)));
    }
  }
  return given;
}

}  // namespace tarvex
