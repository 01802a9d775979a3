#include "service/remote/conversation.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace orvan::remote {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// For what ends: one whose thread hangs in the kernel has said its last words and cannot end.
constexpr milliseconds kEndWait{1000};
// More than a connection holds, and longer than it takes to empty it.
constexpr std::size_t kMostHeld = 1024;
constexpr milliseconds kDrainLimit{100};

bool IsGone(int error) {
  return error == EPIPE || error == ECONNRESET;
}

bool IsDead(char state) {
  return state == tarvex::kZombie || state == tarvex::kDead;
}

}  // namespace

std::optional<Outcome> Untold(int error) {
  if (error == 0 || IsGone(error)) return std::nullopt;
  Outcome outcome{Outcome::Kind::kUntold};
  outcome.error = error;
  return outcome;
}

Conversation::Conversation(Worker& worker, const WorkerLimits& limits, const Talk& talk)
    : worker_(worker), limits_(limits), talk_(talk), toldEvents_(talk.toldEvents) {}

Outcome Conversation::Run() {
  const std::stop_callback wake(talk_.stop, [this] { wake_.Set(); });
  while (true) {
    now_ = clock_.Look();
    TellOfEvents();
    TellOfStop();
    bool heard = false;
    std::optional<Kind> over = Overdue();
    if (!over) over = Receive(heard);
    if (!over) over = LookAtProcess(heard);
    if (over) return Over(*over);
    if (!heard) Wait();
  }
}

std::optional<Outcome> Conversation::Drain() {
  hasEnded_ = worker_.Process().HasEnded();
  const auto latest = steady_clock::now() + kDrainLimit;
  for (std::size_t taken = 0; taken < kMostHeld && steady_clock::now() < latest; ++taken) {
    bool heard = false;
    if (const std::optional<Kind> over = Receive(heard)) return Over(*over);
    if (heard) continue;
    if (latestEnd_ || hasEnded_) return Run();
    return std::nullopt;
  }
  return Over(Kind::kGarbage);
}

std::optional<Outcome::Kind> Conversation::Receive(bool& heard) {
  if (isClosed_) return std::nullopt;
  std::optional<protocol::FromWorker> message;
  switch (worker_.Channel().Receive(message, nullptr)) {
    case WorkerChannel::Receipt::kNothing:
      return std::nullopt;
    case WorkerChannel::Receipt::kPacket:
      heard = true;
      return Take(*message);
    case WorkerChannel::Receipt::kClosed:
      isClosed_ = true;
      ExpectEnd();
      return std::nullopt;
    case WorkerChannel::Receipt::kBroken:
      break;
  }
  return Kind::kGarbage;
}

std::optional<Outcome::Kind> Conversation::Take(protocol::FromWorker& message) {
  if (hasEnded_ && ++takenSinceEnd_ > kMostHeld) return Kind::kEnded;
  lastSign_ = now_;
  stalled_ = {};
  asked_ = false;
  if (std::holds_alternative<protocol::Pong>(message)) {
    return worker_.TakeAnsweredPing() ? std::nullopt : std::optional(Kind::kGarbage);
  }
  if (const auto* crash = std::get_if<protocol::Crashed>(&message)) {
    outcome_.crash = *crash;
    ExpectEnd();
  } else if (const auto* memory = std::get_if<protocol::OutOfMemory>(&message)) {
    outcome_.memory = *memory;
    ExpectEnd();
  }
  // What its other threads say while it ends counts for nothing.
  if (HasLastWords()) return std::nullopt;
  switch (LetTake(message)) {
    case Talk::Reply::kMore:
      return std::nullopt;
    case Talk::Reply::kDone:
      return Kind::kDone;
    case Talk::Reply::kGarbage:
      break;
  }
  return Kind::kGarbage;
}

Talk::Reply Conversation::LetTake(protocol::FromWorker& message) {
  const auto begin = steady_clock::now();
  const Duration before = now_;
  const Talk::Reply reply = talk_.take(message);
  // What the taking took was not the worker's time.
  now_ = clock_.Look();
  lastLook_ = lastSign_ = now_;
  inKernel_ = {};
  // But whoever waits for a stop waits for us, too, however long the clock takes us to have slept.
  const Duration missed = steady_clock::now() - begin - (now_ - before);
  if (deadline_ && missed > Duration{}) *deadline_ -= missed;
  return reply;
}

std::optional<Outcome::Kind> Conversation::Overdue() {
  if (latestEnd_ && now_ >= *latestEnd_) {
    const bool isDead = HasLastWords() || hasEnded_ || IsDead(worker_.Process().State());
    return isDead ? Kind::kEnded : Kind::kLost;
  }
  if (deadline_ && now_ >= *deadline_) return Kind::kStoppedLate;
  return std::nullopt;
}

std::optional<Outcome::Kind> Conversation::LookAtProcess(bool& heard) {
  if (hasEnded_) return heard ? std::nullopt : std::optional(Kind::kEnded);
  if (heard && now_ - lastEndLook_ < sdk::kAwakePace) return std::nullopt;
  lastEndLook_ = now_;
  // Whatever it has said was said before its end.
  if (worker_.Process().HasEnded()) hasEnded_ = heard = true;
  return heard ? std::nullopt : LookAtState();
}

std::optional<Outcome::Kind> Conversation::LookAtState() {
  if (latestEnd_ || now_ - lastLook_ < sdk::kAwakePace) return std::nullopt;
  const Duration passed = now_ - std::exchange(lastLook_, now_);
  const char state = worker_.Process().State();
  if (IsDead(state)) ExpectEnd();
  // Its first thread is the one that works.
  inKernel_ = state == tarvex::kInKernel ? inKernel_ + passed : Duration{};
  if (inKernel_ > limits_.kernelLimit) return Kind::kInKernel;
  const Duration silence = now_ - lastSign_;
  if (silence >= sdk::kAwakePace && !std::exchange(asked_, true)) worker_.Ping();
  // A worker that lives answers at once.
  if (silence < 2 * sdk::kAwakePace || state == tarvex::kInKernel) return std::nullopt;
  stalled_ += passed;
  return stalled_ > limits_.stallLimit ? std::optional(Kind::kStalled) : std::nullopt;
}

// Where it does not go out the worker is gone, which is heard, or has no room, and its time runs.
void Conversation::TellOfStop() {
  if (deadline_ || !talk_.stop.stop_requested()) return;
  deadline_ = now_ + talk_.grace;
  const sdk::StopReason why = talk_.whyStop ? talk_.whyStop() : sdk::StopReason::kAborted;
  worker_.Channel().Send(protocol::Stop{talk_.request, why}, false);
}

// Where it does not go out it is tried again at the next look.
void Conversation::TellOfEvents() {
  if (!talk_.systemEvents) return;
  const std::uint32_t events = talk_.systemEvents();
  if (events == toldEvents_) return;
  if (worker_.Channel().Send(protocol::SystemEvents{events}, false) == 0) toldEvents_ = events;
}

void Conversation::Wait() {
  Duration limit = sdk::kAwakePace;
  if (deadline_) limit = std::min(limit, *deadline_ - now_);
  if (latestEnd_) limit = std::min(limit, *latestEnd_ - now_);
  const auto rounded = duration_cast<milliseconds>(limit) + milliseconds(1);
  tarvex::WaitForAny(std::array{isClosed_ ? -1 : worker_.Channel().Socket().Get(),
                                worker_.Process().Handle(), deadline_ ? -1 : wake_.Get()},
                     rounded);
}

void Conversation::ExpectEnd() {
  if (!latestEnd_) latestEnd_ = now_ + kEndWait;
}

Outcome Conversation::Over(Kind kind) {
  outcome_.kind = HasLastWords() ? Kind::kEnded : kind;
  if (outcome_.kind != Kind::kEnded) return std::move(outcome_);
  const std::optional<tarvex::ProcessEnd> end = worker_.Process().TakeEnd();
  outcome_.end = end.value_or(tarvex::ProcessEnd{0, 0, false});
  if (!outcome_.end.isKnown && outcome_.crash) outcome_.end = {0, outcome_.crash->signal};
  return std::move(outcome_);
}

}  // namespace orvan::remote
