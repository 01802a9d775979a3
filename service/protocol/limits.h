#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace orvan::protocol {

// Raised with every change of a message. Both sides are of one build, so another version means that
// somebody mixed two.
inline constexpr std::uint32_t kVersion = 8;

// What a message may hold at most.
inline constexpr std::size_t kLongestText = 1U << 20;           // bytes
inline constexpr std::size_t kMostElements = 1U << 20;          // of any list
inline constexpr std::size_t kMostElementBytes = 256ULL << 20;  // of all lists, in memory
inline constexpr std::size_t kMostScanBytes = 256ULL << 20;  // of all devices of a scan, in memory
inline constexpr std::string_view kCutMark = " [cut]";       // behind what was longer
inline constexpr std::size_t kMostFrames = 48;               // of a crash
inline constexpr std::size_t kLibraryNameBytes = 48;         // in a frame of it

// What a worker exits with when its own surroundings are at fault.
inline constexpr int kExitNoConnection = 101;  // it is closed, or what came over it is none of ours
inline constexpr int kExitNotConfined = 102;   // the system would not take rights from it
inline constexpr int kExitNoMemory = 103;      // it grew past its limit

}  // namespace orvan::protocol
