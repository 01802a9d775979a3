#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "service/modules/storage/drive/ask.h"
#include "service/sdk/verdict.h"

namespace orvan::storage {

// A verdict made of several things that a test has to say of a drive, in plain text: the worst of
// them decides, after a stop the stop, and what is no worse than a pass is said last. One thread.
class Said {
 public:
  void Failed(const std::string& text) { Add(kTestFailed, text); }
  void Warning(const std::string& text) { Add(kTestWarning, text); }
  void Note(const std::string& text) { Add(kTestPassed, text); }
  // What the drive did not tell: by its kind a note, a warning, an own fault, a failure or the
  // stop.
  void NotTold(const DriveTrouble& trouble);

  // So many things are in the message; all of them are in what was found.
  static constexpr std::size_t kMostInMessage = 6;
  // `expected`: what holds of a sound drive, for the log.
  sdk::Verdict Verdict(const std::string& expected) const;
  // Whether anything is worse than a pass.
  bool IsAnyBad() const;

 private:
  struct Part {
    TestStatus status;
    std::string text;
  };
  void Add(TestStatus status, const std::string& text) { parts_.push_back({status, text}); }
  TestStatus Worst() const;

  std::vector<Part> parts_;
  bool isCanceled_ = false;
};

}  // namespace orvan::storage
