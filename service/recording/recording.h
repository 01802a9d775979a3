#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orvan::recording {

// The first line of a recording, and its version.
inline constexpr std::string_view kFirstLine = "tarvex-recording 1\n";
// A recording ends before it gets longer than this, and none that is longer is read.
inline constexpr std::size_t kMostBytes = 128U << 20;
inline constexpr std::size_t kMostLines = 4000000;
inline constexpr std::size_t kLongestLine = 32U << 20;
inline constexpr std::size_t kMostAccessFields = 64;

// A recording that was read: which module got which answer, in the order of the answers. One line
// for each, its fields joined by one blank:
//   TIME MODULE ACCESS... = ANSWER...
// TIME is in microseconds since the recording began. Empty lines and such that begin with "#" are
// skipped. A last line without an end is what a crash left, and is passed over. Immutable; any
// thread.
class Recording {
 public:
  struct Line {
    std::uint64_t time = 0;  // in microseconds
    std::string_view access;
    std::string_view answer;
  };
  using Lines = std::vector<Line>;

  // Each throws RecordingFault, with the number of the line and what is wrong with it.
  static Recording Parse(std::string text);
  // Keeps nothing of it.
  static void Check(std::string_view text);
  // The lines of one module in a text that was checked and that `owner` keeps where it is.
  static Recording OfModule(std::string_view text, std::shared_ptr<const void> owner,
                            const std::string& module);

  // What a module was answered; nothing for one that is not in it.
  const Lines& LinesOf(const std::string& module) const;

  Recording(Recording&&) = default;
  Recording& operator=(Recording&&) = delete;

 private:
  Recording() = default;

  std::shared_ptr<const void> text_;  // what the lines point into
  std::map<std::string, Lines, std::less<>> modules_;
};

}  // namespace orvan::recording
