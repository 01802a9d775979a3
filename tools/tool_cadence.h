#pragma once

#include <chrono>

namespace tarvex {

// The pace of a tool's progress lines and of its look at the keyboard: the first whole millisecond
// above a quarter of a second.
inline constexpr std::chrono::milliseconds kToolCadence{251};

}  // namespace tarvex
