#pragma once

#include <cstddef>
#include <string>
#include <utility>

#include "service/sdk/run_state.h"

namespace orvan::remote {

// How much one run of a test or a tool may have for the log. One thread.
class LogBudget {
 public:
  // `whose` is "test" or "tool".
  explicit LogBudget(std::string whose) : whose_(std::move(whose)) {}

  // False for what is left out; the first time a line of the context's log says so. `textBytes` are
  // those of the texts of all these entries.
  template <typename Context>
  bool Take(std::size_t textBytes, Context& context, std::size_t entries = 1) {
    if (taken_ > kMost) return false;
    taken_ += textBytes + entries * kEntryBytes;
    if (taken_ <= kMost) return true;
    context.Log(sdk::LogLevel::kWarning,
                "The rest of what the " + whose_ + " has for the log is left out");
    return false;
  }

 private:
  static constexpr std::size_t kMost = 16U << 20;
  static constexpr std::size_t kEntryBytes = 256;  // of each entry, beside its texts

  const std::string whose_;
  std::size_t taken_ = 0;
};

}  // namespace orvan::remote
