#pragma once

#include <chrono>

// The longest wait of the main thread while the service works: the pace of progress lines and of
// the look at the abort key.
inline constexpr std::chrono::milliseconds kCadence{500};
