#pragma once

#include <string>

#include "system/descriptor.h"

namespace tarvex {

enum class LastLink { kFollow, kRefuse };

// Opens a regular file for reading, `path` in the system's own form. Not open for anything else: a
// pipe or a device in the file's place holds nobody. Any thread.
Descriptor OpenRegularFile(const std::string& path, LastLink lastLink);

}  // namespace tarvex
