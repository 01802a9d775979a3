#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvan::storage {

enum class SelfTestKind : std::uint8_t { kShort, kExtended };

// "short", "extended".
const char* NameOf(SelfTestKind kind);

// How a self-test ended, whatever the drive's protocol calls it.
enum class SelfTestOutcome : std::uint8_t {
  kPassed,
  kFailed,      // the drive found itself faulty, or could not test itself to the end
  kAborted,     // by a command
  kBrokenOff,   // by a reset, a format or the like
  kRunning,     // not over yet
  kMeaningless  // the standard has no such end
};

// One self-test that a drive remembers.
struct RememberedTest {
  std::optional<SelfTestKind> kind;  // none: a test of another kind
  SelfTestOutcome outcome = SelfTestOutcome::kMeaningless;
  std::string words;  // how it ended, as plain text
  std::uint64_t powerOnHours = 0;
  std::optional<std::uint64_t> failingLba;

  bool operator==(const RememberedTest&) const = default;
};

// What a drive remembers of its self-tests.
struct TestHistory {
  std::vector<RememberedTest> tests;  // newest first
  std::size_t places = 0;             // at most so many
  // The place of the newest, from 1 on, 0 for none, where the drive's log is a ring; else none.
  std::optional<std::size_t> newestPlace;
};

// The test that a start between the two histories made; none when there is no trace of one. Of
// several new tests it is the oldest of this kind. `wasSeen`: the drive said that it ran, which
// decides where all that a full log holds is alike. Pure; any thread.
std::optional<RememberedTest> TestStartedBetween(const TestHistory& before,
                                                 const TestHistory& after, SelfTestKind kind,
                                                 bool wasSeen);

}  // namespace orvan::storage
