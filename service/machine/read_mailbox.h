#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "os/descriptor.h"
#include "service/machine/apart_calls.h"
#include "service/sdk/block_reader.h"

namespace orvan::machine {

// What passes between a reader's caller and the thread that reads for it. Both keep it alive. The
// caller's half and the thread's half, one thread each.
class ReadMailbox {
 public:
  explicit ReadMailbox(std::shared_ptr<LeftBehindCount> leftBehind)
      : leftBehind_(std::move(leftBehind)) {}

  // Before anything else. 0, or the errno.
  int Open();

  // The caller's half.
  void Order(const std::vector<sdk::BlockRead>& reads);
  void AskForSign();
  struct News {
    bool isHeard = false;  // results, or the sign that was asked for
    bool isLost = false;   // the thread gave up; nothing more comes
  };
  // Appends what has come to `results`, waiting up to `wait` for anything.
  News Take(std::vector<sdk::BlockReadResult>& results, std::chrono::milliseconds wait);
  // Nothing more is wanted. Waits for the thread's end for a moment, and counts it as left behind
  // when that does not come.
  void End();
  // The thread that reads; 0 as long as it has not begun.
  pid_t Thread() const { return thread_; }

  // The thread's half.
  void Begin();
  // Readable when there are orders.
  int Event() const { return event_.Get(); }
  struct Orders {
    std::vector<sdk::BlockRead> reads;
    bool isOver = false;
  };
  // A sign that was asked for is given by the way.
  Orders TakeOrders();
  // Empties `results`.
  void Deliver(std::vector<sdk::BlockReadResult>& results);
  void Lose();
  void Finish();

 private:
  void Wake();

  const std::shared_ptr<LeftBehindCount> leftBehind_;
  tarvex::Descriptor event_;
  std::atomic<pid_t> thread_ = 0;
  std::mutex mutex_;  // guards all below
  std::condition_variable changed_;
  std::vector<sdk::BlockRead> orders_;
  std::vector<sdk::BlockReadResult> results_;
  bool isAsked_ = false;
  bool hasSign_ = false;
  bool isLost_ = false;
  bool isOver_ = false;
  bool isFinished_ = false;
  bool isLeft_ = false;
};

}  // namespace orvan::machine
