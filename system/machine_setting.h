#pragma once

#include <cstdint>
#include <string>

// Reads one machine-wide value: a whole decimal 32-bit number under [General] of orvan.ini in the
// configuration folder. Names are compared without regard to case. 0, or 1 and *value is left
// alone when the file, the value or a number in it is missing. Any thread.
int ReadMachineSetting(const std::string& valueName, std::uint32_t* value);
