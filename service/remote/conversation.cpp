#include "service/remote/conversation.h"

#include <algorithm>
#include <array>
#include <utility>

namespace orvan::remote {
namespace {

using Kind = Outcome::Kind;
using std::chrono::duration_cast;
using std::chrono::milliseconds;

// The system closes a process' descriptors a moment before it tells of its end.
constexpr milliseconds kEndWait{1000};

}  // namespace

Conversation::Conversation(Worker& worker, const WorkerLimits& limits, const Talk& talk)
    : worker_(worker), limits_(limits), talk_(talk) {
  if (talk_.systemEvents) toldEvents_ = talk_.systemEvents();
}

Outcome Conversation::Run() {
  const std::stop_callback wake(talk_.stop, [this] { wake_.Set(); });
  while (true) {
    now_ = clock_.Look();
    TellOfEvents();
    TellOfStop();
    if (deadline_ && now_ >= *deadline_) return {Kind::kStoppedLate};
    bool heard = false;
    std::optional<Outcome> over = Receive(heard);
    if (!over && !heard) over = Look();
    if (over) return *std::move(over);
    if (!heard) Wait();
  }
}

std::optional<Outcome> Conversation::Drain() {
  bool heard = true;
  std::optional<Outcome> over;
  while (heard && !over) over = Receive(heard);
  return over;
}

std::optional<Outcome> Conversation::Receive(bool& heard) {
  std::optional<protocol::FromWorker> message;
  heard = false;
  switch (worker_.Channel().Receive(message, nullptr)) {
    case WorkerChannel::Receipt::kNothing:
      return std::nullopt;
    case WorkerChannel::Receipt::kPacket:
      heard = true;
      return Take(*message);
    case WorkerChannel::Receipt::kClosed:
      return EndOfProcess();
    case WorkerChannel::Receipt::kBroken:
      break;
  }
  return Outcome{Kind::kGarbage};
}

std::optional<Outcome> Conversation::Take(protocol::FromWorker& message) {
  lastSign_ = now_;
  stalled_ = {};
  asked_ = false;
  if (std::holds_alternative<protocol::Pong>(message)) return std::nullopt;
  if (const auto* crash = std::get_if<protocol::Crashed>(&message)) {
    outcome_.crash = *crash;
    return std::nullopt;
  }
  if (const auto* memory = std::get_if<protocol::OutOfMemory>(&message)) {
    outcome_.memory = *memory;
    return std::nullopt;
  }
  const Talk::Reply reply = talk_.take(message);
  // What the taking took was not the worker's time.
  now_ = clock_.Look();
  lastLook_ = lastSign_ = now_;
  inKernel_ = {};
  if (reply == Talk::Reply::kMore) return std::nullopt;
  return Outcome{reply == Talk::Reply::kDone ? Kind::kDone : Kind::kGarbage};
}

// Where a message does not go out the worker is gone, and that is heard.
void Conversation::TellOfStop() {
  if (deadline_ || !talk_.stop.stop_requested()) return;
  deadline_ = now_ + talk_.grace;
  const sdk::StopReason why = talk_.whyStop ? talk_.whyStop() : sdk::StopReason::kAborted;
  worker_.Channel().Send(protocol::Stop{talk_.request, why}, false);
}

void Conversation::TellOfEvents() {
  if (!talk_.systemEvents) return;
  const std::uint32_t events = talk_.systemEvents();
  if (events == std::exchange(toldEvents_, events)) return;
  worker_.Channel().Send(protocol::SystemEvents{events}, false);
}

std::optional<Outcome> Conversation::Look() {
  if (now_ - lastLook_ < sdk::kAwakePace) return std::nullopt;
  const Duration passed = now_ - std::exchange(lastLook_, now_);
  const char state = worker_.Process().State();
  // Its first thread is the one that works.
  inKernel_ = state == tarvex::kInKernel ? inKernel_ + passed : Duration{};
  if (inKernel_ > limits_.kernelLimit) return Outcome{Kind::kInKernel};
  const Duration silence = now_ - lastSign_;
  if (silence >= sdk::kAwakePace && !std::exchange(asked_, true)) {
    worker_.Channel().Send(protocol::Ping{}, false);
  }
  // A worker that lives answers at once.
  if (silence < 2 * sdk::kAwakePace || state == tarvex::kInKernel) return std::nullopt;
  stalled_ += passed;
  return stalled_ > limits_.stallLimit ? std::optional(Outcome{Kind::kStalled}) : std::nullopt;
}

void Conversation::Wait() {
  Duration limit = sdk::kAwakePace;
  if (deadline_) limit = std::min(limit, *deadline_ - now_);
  const auto rounded = duration_cast<milliseconds>(limit) + milliseconds(1);
  tarvex::WaitForAny(std::array{worker_.Channel().Socket().Get(), deadline_ ? -1 : wake_.Get()},
                     rounded);
}

Outcome Conversation::EndOfProcess() {
  tarvex::WaitForAny(std::array{worker_.Process().Handle()}, kEndWait);
  const std::optional<tarvex::ProcessEnd> end = worker_.Process().TakeEnd();
  outcome_.kind = end ? Kind::kEnded : Kind::kLost;
  outcome_.end = end.value_or(tarvex::ProcessEnd{});
  return std::move(outcome_);
}

}  // namespace orvan::remote
