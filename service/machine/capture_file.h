#pragma once

#include <string>

namespace orvan::machine {

// Writes a file that only its owner may read, new or in place of an older one: a regular file under
// its only name, reached over no stranger's link (os/only_file.h). 0, or the errno.
int WriteCapture(const std::string& path, const std::string& text);

}  // namespace orvan::machine
