#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>

#include "os/wake_event.h"
#include "service/protocol/from_worker.h"
#include "service/remote/worker.h"
#include "service/sdk/awake_clock.h"
#include "service/sdk/run_state.h"

namespace orvan::remote {

// How long things may take; only time counts in which we were awake.
struct WorkerLimits {
  std::chrono::milliseconds testGrace{2000};     // of a test or a tool, once it was told to stop
  std::chrono::milliseconds scanGrace{500};      // of a scan, and of a start
  std::chrono::milliseconds kernelLimit{60000};  // in the kernel without a sign of life
  std::chrono::milliseconds stallLimit{60000};   // stopped, or without a processor
};

// What became of what a worker was asked for.
struct Outcome {
  enum class Kind {
    kDone,
    kStoppedLate,  // it did not end in time after its stop
    kEnded,        // the process is gone
    kLost,         // it closed its connection and goes on
    kGarbage,      // it said what has no place here
    kInKernel,     // it hangs there
    kStalled,      // it was stopped, or got no processor
    kUntold,       // what it was asked for did not go out
  };
  Kind kind = Kind::kDone;
  // Of kEnded: how, and its last word, if it had one.
  tarvex::ProcessEnd end = {};
  std::optional<protocol::Crashed> crash = {};
  std::optional<protocol::OutOfMemory> memory = {};
  // Of kUntold: why, an errno.
  int error = 0;
};

// What becomes of an order whose sending ended with that errno: null when it is on its way, and
// also when the worker is gone, which is heard.
std::optional<Outcome> Untold(int error);

// Who talks with a worker while it works on one request.
struct Talk {
  enum class Reply { kMore, kDone, kGarbage };

  std::uint64_t request = 0;
  std::stop_token stop = {};
  std::chrono::milliseconds grace{};
  std::function<sdk::StopReason()> whyStop;          // called once the stop token is set
  std::function<std::uint32_t()> systemEvents = {};  // may be empty
  // Takes a message of the request.
  std::function<Reply(protocol::FromWorker&)> take;
  std::uint32_t toldEvents = 0;  // what the order said of them
};

// Listens to the worker until the request is over or the worker has to be given up. Whatever
// `take` throws passes. One thread.
class Conversation {
 public:
  Conversation(Worker& worker, const WorkerLimits& limits, const Talk& talk);
  Outcome Run();
  // Takes what is there and does not wait for more, but for the end of one that is about to end;
  // none: nothing is over.
  std::optional<Outcome> Drain();

 private:
  using Kind = Outcome::Kind;
  using Duration = sdk::AwakeClock::Duration;

  std::optional<Kind> Receive(bool& heard);
  std::optional<Kind> Take(protocol::FromWorker& message);
  Talk::Reply LetTake(protocol::FromWorker& message);
  // What the clock says, whatever is heard.
  std::optional<Kind> Overdue();
  // What the process says; `heard` when there may be more to hear.
  std::optional<Kind> LookAtProcess(bool& heard);
  std::optional<Kind> LookAtState();
  void TellOfStop();
  void TellOfEvents();
  void Wait();
  // It is about to end, and nobody waits long for it.
  void ExpectEnd();
  bool HasLastWords() const { return outcome_.crash || outcome_.memory; }
  Outcome Over(Kind kind);

  Worker& worker_;
  const WorkerLimits& limits_;
  const Talk& talk_;
  sdk::AwakeClock clock_;
  Duration now_{};
  Duration lastLook_{};
  Duration lastSign_{};  // of anything
  Duration inKernel_{};  // how long each look found the thread that works there
  Duration stalled_{};   // of the time since the last sign
  Duration lastEndLook_{};
  std::optional<Duration> deadline_;   // once it was told to stop
  std::optional<Duration> latestEnd_;  // once its end is expected
  bool isClosed_ = false;              // the connection
  bool hasEnded_ = false;              // and what it has said is still to be taken
  std::size_t takenSinceEnd_ = 0;
  bool asked_ = false;
  std::uint32_t toldEvents_;
  Outcome outcome_;
  tarvex::WakeEvent wake_;
};

}  // namespace orvan::remote
