#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>

#include "os/descriptor.h"
#include "service/recording/answers.h"

namespace orvan::recording {

// Where the lines of one module go while a machine is recorded, and the clock that a recorded run
// sees. Any thread.
class Tape {
 public:
  using Time = std::chrono::steady_clock::time_point;

  struct Options {
    tarvex::Descriptor file;  // open for appending; several processes may write to it
    std::string module;
    Time begin;                             // of the recording
    std::function<Time()> now;              // the machine's clock
    std::function<void(int)> onEnded = {};  // once, with the errno of why nothing more is recorded
  };
  explicit Tape(Options options);

  template <typename Answer>
  void Add(const FieldWriter& access, const Answer& answer) {
    FieldWriter fields;
    Write(fields, answer);
    AddLine(access.Line(), fields.Line());
  }

  // The time of the last answer; of this look once that is a while ago. A replay knows no other
  // time, and what hangs on time must end in both alike.
  Time Now();

 private:
  void AddLine(const std::string& access, const std::string& answer);
  std::uint64_t Elapsed() const;
  void WriteLine(const std::string& access, const std::string& answer);
  void End(int error);

  const Options options_;
  std::mutex mutex_;             // guards all below
  std::uint64_t time_ = 0;       // of the last answer, in microseconds
  std::uint64_t looks_ = 0;      // at the clock since then
  std::uint64_t sinceLook_ = 0;  // bytes written since the file's length was looked at
  bool hasEnded_ = false;
};

}  // namespace orvan::recording
