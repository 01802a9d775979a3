#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <stop_token>
#include <variant>

#include "service/protocol/to_worker.h"
#include "service/sdk/run_state.h"

namespace orvan::worker {

// What the module is to do next.
using Order =
    std::variant<protocol::Scan, protocol::TellResources, protocol::RunTest, protocol::RunTool>;

// What the program wants: given by the thread that listens, done by the main thread.
class Orders {
 public:
  // The listening thread's. False: what it was given does not fit what is under way.
  bool Give(Order order);
  bool Answer(protocol::ToolAnswer answer);
  // A stop of what is over already has no effect. Stop callbacks of the module run in here.
  void Stop(std::uint64_t request, sdk::StopReason reason);
  void SetSystemEvents(std::uint32_t bits) { systemEvents_ = bits; }

  // The main thread's. Waits for an order; its stop token counts until the next one.
  Order Take();
  std::stop_token StopToken() const;
  // To be called before the order's end is told, for the next one may come right behind it.
  void Finish();
  // Waits for the answer to the question that was just asked.
  protocol::ToolAnswer AwaitAnswer();

  // Any thread.
  sdk::StopReason WhyStop() const { return reason_; }
  std::uint32_t SystemEvents() const { return systemEvents_; }
  bool IsBusy() const { return busy_; }

 private:
  mutable std::mutex mutex_;  // guards all below but what is atomic
  std::condition_variable changed_;
  std::optional<Order> next_;
  std::optional<protocol::ToolAnswer> answer_;
  std::uint64_t request_ = 0;  // under way, when busy
  std::stop_source stop_;
  std::atomic<bool> busy_{false};
  std::atomic<sdk::StopReason> reason_{sdk::StopReason::kNone};
  std::atomic<std::uint32_t> systemEvents_{0};
};

}  // namespace orvan::worker
