#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "service/modules/storage/self_test/self_test_history.h"
#include "service/sdk/verdict.h"

// What the self-tests of drives say to the operator, and which verdict it comes with. Any thread.
namespace orvan::storage::words {

// "|SHORT_SELF-TEST_STARTED,_THE_DRIVE_EXPECTS_IT_TO_TAKE_2_MINUTES". `estimate`: none when the
// drive does not say.
std::string SelfTestOpening(SelfTestKind kind, std::optional<std::chrono::seconds> estimate);

// Somebody else's self-test runs on the drive.
sdk::Verdict SelfTestRunsAlready(std::optional<int> percentDone);

// How the test that was started ended. `lastFailure`: what the drive says beside its log of how its
// last self-test failed; empty: nothing.
sdk::Verdict SelfTestVerdict(SelfTestKind kind, const RememberedTest& test,
                             const std::string& lastFailure);

// What became of a test that was to be ended on the drive.
struct EndedSelfTest {
  std::optional<RememberedTest> test;  // as the log has it after that
  std::string trouble;                 // why nothing is known; plain text
};
// The drive took the start, and nothing told that it did something.
sdk::Verdict SelfTestLeftNoTrace(const EndedSelfTest& ended);
sdk::Verdict SelfTestStopped(SelfTestKind kind, const EndedSelfTest& ended);
sdk::Verdict SelfTestStandsStill(std::optional<int> percentDone, std::chrono::seconds estimate,
                                 const EndedSelfTest& ended);
// The same for any other reason to give it up.
sdk::Verdict SelfTestGivenUp(sdk::Verdict why, const EndedSelfTest& ended);

}  // namespace orvan::storage::words
