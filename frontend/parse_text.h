#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "frontend/result_codes.h"

// Appends the text unless it is there.
inline void AddOnce(std::vector<std::string>& list, const std::string& text) {
  if (std::find(list.begin(), list.end(), text) == list.end()) list.push_back(text);
}

// Sets the text of a failure, as a rule a key, and returns its parse code.
inline int Fail(std::string& errorText, std::string text, int code = kParseFatal) {
  errorText = std::move(text);
  return code;
}
