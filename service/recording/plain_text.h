#pragma once

#include <string_view>

namespace orvan::recording {

// Whether secrets can be looked for in it: UTF-8 without control characters but tab, line ends and
// the NUL that ends texts of firmware. A last character may be cut off. Any thread.
bool IsPlainText(std::string_view content);

}  // namespace orvan::recording
