#pragma once

#include <cstdint>
#include <string>

namespace orvan::log {

// A time as the log writes it: UTC with milliseconds, 2024-11-21T08:00:00.000Z.
// Source: RFC 3339.
std::string UtcTimeText(std::int64_t millisecondsSinceEpoch);
// The same for the name of a file: 20241121T080000.000Z.
std::string FileTimeText(std::int64_t millisecondsSinceEpoch);
std::int64_t NowMilliseconds();

}  // namespace orvan::log
