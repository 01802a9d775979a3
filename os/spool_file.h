#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarvex {

// Adds `line`, which ends with a line end, at the end of a file (0600) in an existing folder, in
// one write and behind whole lines only; the file is made when it is missing. Runs that add at the
// same time do so one after the other (flock); a file that is taken away meanwhile gets no line,
// but the next one of that name does. False, with the file as it was, when it would grow past
// `limit` bytes, when others hold its lock for more than a second, when a stranger's link stands on
// the way, when it is a link, has further names or none any more, is no regular file or belongs to
// another user, and when the line can't be written whole. `folder` is in the system's own form. Any
// thread.
bool AppendToSpool(const std::string& folder, const std::string& name, std::string_view line,
                   std::size_t limit);

}  // namespace tarvex
