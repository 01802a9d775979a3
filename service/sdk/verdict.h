#pragma once

#include <string>

#include "boundary/orvan_service_status.h"

namespace orvan::sdk {

// What a test found. A fault in the hardware is a normal return value, never an exception.
struct Verdict {
  TestStatus status = kTestInvalid;
  // Message key for the operator: for a failure what was found, where, and what was expected; for
  // any other status but passed the reason. May be empty for passed.
  std::string message;
  std::string expected;  // for the log; plain text
  std::string found;     // for the log; plain text
  std::string where;     // for the log; plain text, e.g. "LBA 2048"

  static Verdict Passed(std::string message = {}) {
    return {kTestPassed, std::move(message), {}, {}, {}};
  }
  static Verdict Failed(std::string message, std::string expected, std::string found,
                        std::string where) {
    return {kTestFailed, std::move(message), std::move(expected), std::move(found),
            std::move(where)};
  }
  static Verdict Warning(std::string message) {
    return {kTestWarning, std::move(message), {}, {}, {}};
  }
  static Verdict NotApplicable(std::string reason) {
    return {kTestNotApplicable, std::move(reason), {}, {}, {}};
  }
  static Verdict Canceled() { return {kTestCanceled, {}, {}, {}, {}}; }
  // The fault is our own, or the test could not be tried.
  static Verdict Invalid(std::string reason) {
    return {kTestInvalid, std::move(reason), {}, {}, {}};
  }
};

}  // namespace orvan::sdk
