#pragma once

#include <string>

namespace tarvex {

// Whether "config.ini" in the working directory asks for the section about the maker's drives, in a
// file without a fault (config_file.h). Read anew each time. Where nothing can read it, it asks for
// nothing, and a line on standard error says why. Any thread.
bool IsDriveInfoEnabled();

// For tests: the same of a library of that name.
bool IsDriveInfoEnabledBy(const char* library);

// What the library exports: takes the descriptor of a config, and says whether it asks for that.
using DriveInfoReader = int (*)(int descriptor);
inline constexpr char kDriveInfoReader[] = "TarvexReadDriveInfo";

}  // namespace tarvex
