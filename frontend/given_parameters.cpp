#include "frontend/given_parameters.h"

#include <algorithm>

#include "system/string_handler.h"

namespace tarvex {

namespace {

std::string Upper(StringHandler& strings, std::string text) {
  strings.ToUpper(text);
  return text;
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
    TestParameter* found = FindParameter(strings, known, parts[0]);
    if (found == nullptr) {
      found = &known.emplace_back();
      found->name = found->label = parts[0];
      found->initialValue = value;
      found->type = kParameterUnknown;
    }
    found->value = found->type == kParameterBoolean ? Upper(strings, value) : value;
    given.push_back(*found);
  }
  return given;
}

}  // namespace tarvex
