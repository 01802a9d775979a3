#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "service/modules/storage/self_test/self_tests.h"
#include "service/sdk/awake_clock.h"
#include "service/sdk/context.h"
#include "service/sdk/machine.h"

namespace orvan::storage {

// Waits for the end of a self-test that was started on a drive. One thread.
class SelfTestWatch {
 public:
  enum class End {
    kOver,         // Ours() is the entry of the drive's log that the start made
    kNoTrace,      // no test runs, and the log has no entry of ours
    kStandsStill,  // for as long as all of it should take, and past twice that time
    kStopped,
    kLost,  // the drive cannot be asked any more; Trouble() says why
  };

  // `before`: the drive's log before the start. What is given must be there as long. `sizeBytes` of
  // the disk, for a drive that does not say how long its test takes.
  SelfTestWatch(sdk::TestContext& context, sdk::Machine& machine, SelfTests& tests,
                SelfTestKind kind, const TestHistory& before,
                std::optional<std::uint64_t> sizeBytes);

  End Wait();

  const std::optional<RememberedTest>& Ours() const { return ours_; }
  const DriveAnswer& Trouble() const { return trouble_; }
  // What the drive says beside its log of how its last test failed; empty: nothing.
  const std::string& LastFailure() const { return lastFailure_; }
  // The most that the drive has told; none: nothing that makes sense.
  std::optional<int> PercentDone() const { return percentDone_; }
  bool WasSeen() const { return wasSeen_; }  // the drive said that it ran
  std::chrono::seconds Expected() const { return expected_; }

 private:
  using Duration = sdk::AwakeClock::Duration;

  std::optional<End> Look();
  std::optional<End> LookAtLog();
  std::optional<End> OnTrouble(DriveAnswer answer);
  void OnRunning(const SelfTestState& state);
  bool StandsStill() const;
  void Rest();

  sdk::TestContext& context_;
  sdk::Machine& machine_;
  SelfTests& tests_;
  const SelfTestKind kind_;
  const TestHistory& before_;
  const std::chrono::seconds expected_;
  const std::chrono::milliseconds pace_;
  sdk::AwakeClock clock_;
  Duration now_{};
  Duration lastStep_{};                // when the percentage rose last
  Duration lastAnswer_{};              // when the drive could be asked last
  std::optional<Duration> idleSince_;  // when it said first that no test runs
  std::optional<int> percentDone_;
  bool wasSeen_ = false;
  std::optional<RememberedTest> ours_;
  std::string lastFailure_;
  DriveAnswer trouble_;
};

}  // namespace orvan::storage
