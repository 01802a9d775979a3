#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "service/recording/recording.h"
#include "service/recording/recording_machine.h"
#include "service/recording/replay_machine.h"
#include "tests/support/test_folder.h"

namespace orvan::recording {

inline Key KeyOf(unsigned char seed) {
  std::array<unsigned char, Key::kBytes> bytes{};
  bytes.fill(seed);
  return Key(bytes);
}

// A file that machines are recorded in.
class TestTape {
 public:
  TestTape() { folder_.Write("recording", std::string(kFirstLine)); }

  std::string Path() const { return folder_ / "recording"; }
  std::string Text() const { return folder_.Read("recording"); }

  std::unique_ptr<machine::KeptMachine> Record(std::unique_ptr<machine::KeptMachine> inner,
                                               std::uint64_t worker = 0,
                                               std::function<void(int)> onEnded = {}) const {
    const auto begin = inner->Now();
    tarvex::Descriptor file(open(Path().c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    EXPECT_TRUE(file.IsOpen());
    return MakeRecordingMachine(
        std::move(inner), {std::move(file), "module", worker, KeyOf(1), begin, std::move(onEnded)});
  }

  std::unique_ptr<machine::KeptMachine> Replay(std::uint64_t worker = 0) const {
    return ReplayOf(Text(), worker);
  }

  static std::unique_ptr<machine::KeptMachine> ReplayOf(std::string text,
                                                        std::uint64_t worker = 0) {
    std::shared_ptr<const Recording> recording(new Recording(Recording::Parse(std::move(text))));
    return MakeReplayMachine({std::move(recording), "module", worker});
  }

 private:
  TestFolder folder_;
};

}  // namespace orvan::recording
