#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

namespace tarvex {

// Puts a file with this content in the place of the one of that name, which may be missing: whoever
// opens it finds the old one or the whole new one. What is no regular file stays, and so does a
// stranger's link on the way to it. The new one gets that mode, less the umask where `isExact` is
// false. 0, or an errno value with all as it was; EEXIST for what is no regular file. Any thread.
int ReplaceFile(const std::string& path, std::string_view content, mode_t mode, bool isExact);

}  // namespace tarvex
