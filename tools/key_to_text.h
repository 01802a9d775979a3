#pragma once

#include <string>
#include <string_view>

namespace tarvex {

// From a tool's key to display text: lower case; an underscore becomes a blank; a bar goes and
// raises the next letter, as `capitalizeFirst` does the first one; what stands between "^" and "$"
// (or the end) stays as it is, without these two signs. Case is that of ASCII. Pure; any thread.
std::string KeyToText(std::string_view key, bool capitalizeFirst = false);

// The text as a stretch that KeyToText leaves as it is. A "$" inside ends the stretch early.
std::string Protected(std::string_view text);

}  // namespace tarvex
