#pragma once

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>

#include "service/modules/storage/decoded.h"

// What must hold of whatever a decoder makes of a drive's answer.
namespace orvan::fuzz {

inline void Require(bool holds) {
  if (!holds) std::abort();
}

inline bool IsPlain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

// There is a value, or the reason why not; and the reason is fit for a terminal.
template <typename T>
const T* Checked(const storage::Decoded<T>& decoded) {
  Require(decoded.value.has_value() || !decoded.trouble.empty());
  Require(IsPlain(decoded.trouble));
  return decoded.value ? &*decoded.value : nullptr;
}

}  // namespace orvan::fuzz
