#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "service/recording/answers.h"
#include "service/recording/recording.h"

namespace orvan::recording {

// What one module was answered, given again in the order of the answers to each access, and the
// clock that goes with them. Any thread.
class ReplaySource {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // `worker` counts the processes of the module that replay, from 0; each begins where that process
  // of the recorded run began.
  ReplaySource(std::shared_ptr<const Recording> recording, const std::string& module,
               std::uint64_t worker);

  // The next answer; once all were given, the last one again. None where there never was one, of
  // which `MissedAccesses` tells.
  template <typename Answer>
  std::optional<Answer> Next(const FieldWriter& access) {
    const auto text = NextText(access.Line(), true);
    if (!text) return {};
    return AnswerOf<Answer>(*text);
  }
  // The same without giving any answer twice.
  template <typename Answer>
  std::optional<Answer> NextNew(const FieldWriter& access) {
    const auto text = NextText(access.Line(), false);
    if (!text) return {};
    return AnswerOf<Answer>(*text);
  }

  // How a read of a device ended at the last time, whichever reader did it; none: it never did.
  std::optional<CollectedReads> LastRead(const std::string& device, std::uint64_t offset,
                                         std::uint32_t size) const;

  // The time of the last answer. Where the recording tells no more, time goes on a little with each
  // question, so that who waits for it does not wait for ever.
  Time Now();
  void PassTime(std::chrono::microseconds time);

 private:
  using ReadKey = std::tuple<std::string, std::uint64_t, std::uint32_t>;

  std::optional<std::string_view> NextText(const std::string& access, bool maybeAgain);
  void LearnReads();

  const std::shared_ptr<const Recording> recording_;
  const Recording::Lines& lines_;
  std::map<ReadKey, CollectedReads> reads_;  // this and what follows: written by the constructor
  std::vector<std::uint32_t> byAccess_;      // the lines, those of one access in their order
  std::size_t begin_ = 0;                    // the line where this process began
  std::mutex mutex_;                         // guards all below
  // By an access that was asked for: the place of its next answer in byAccess_.
  std::unordered_map<std::string_view, std::size_t> next_;
  std::uint64_t time_ = 0;       // in microseconds
  std::uint64_t looks_ = 0;      // at the clock since the last answer
  std::size_t afterAnswer_ = 0;  // the line behind the last answer
};

}  // namespace orvan::recording
