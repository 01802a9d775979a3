#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarvex {

// Adds `text` at the end of a file (0600) in an existing folder, in one write; the file is made
// when it is missing. False, with the file as it was, when it would grow past `limit` bytes, when
// a stranger's link stands on the way, when it is a link, has further names, is no regular file or
// belongs to another user, and when the text can't be written whole. `folder` is in the system's
// own form. Any thread.
bool AppendToSpool(const std::string& folder, const std::string& name, std::string_view text,
                   std::size_t limit);

}  // namespace tarvex
