#pragma once

#include <liburing.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "service/machine/block_device.h"
#include "service/machine/read_mailbox.h"
#include "service/sdk/awake_clock.h"

namespace orvan::machine {

// The thread that reads for a caller: takes reads from the mailbox, keeps up to `depth` of them in
// flight at the device, and answers each within the time limit. Once it is told to end it lives on
// until the kernel has let go of its memory, however long that takes.
class ReadEngine {
 public:
  ReadEngine(std::shared_ptr<ReadMailbox> mailbox, std::shared_ptr<BlockDevice> device,
             const sdk::BlockReaderOptions& options);
  ~ReadEngine();
  ReadEngine(const ReadEngine&) = delete;
  ReadEngine& operator=(const ReadEngine&) = delete;

  // Buffers and ring. 0, or the errno.
  int SetUp();
  // Starts the thread, which owns the engine. 0, or the errno.
  static int Start(std::unique_ptr<ReadEngine> engine);

 private:
  using Duration = sdk::AwakeClock::Duration;
  enum class SlotState { kFree, kReading, kLost };
  struct Slot {
    SlotState state = SlotState::kFree;
    bool isInKernel = false;
    sdk::BlockRead read;
    std::uint32_t doneBytes = 0;
    Duration begun{};
    Duration deadline{};
  };

  void Serve();
  bool MayEnd() const;
  int AwaitEvent();
  void TakeOrders();
  bool IsValid(const sdk::BlockRead& read) const;
  void StartQueued();
  void StartRead(std::uint32_t index);
  void Submit();
  void FailUnsubmitted(int error);
  void TakeCompletions(Duration now);
  void Finish(Slot& slot, int result, Duration now);
  void ExpireOverdue(Duration now);
  void Answer(std::uint64_t id, sdk::ReadOutcome outcome, int error);
  void AnswerTimed(const Slot& slot, sdk::ReadOutcome outcome, int error, Duration now);
  bool MustDeliver();
  void Abandon();
  std::byte* Buffer(std::uint32_t slot) const;

  sdk::AwakeClock clock_;
  const std::shared_ptr<ReadMailbox> mailbox_;
  const std::shared_ptr<BlockDevice> device_;
  std::uint32_t largestReadBytes_;
  std::chrono::milliseconds timeLimit_;
  std::vector<Slot> slots_;
  bool isOver_ = false;  // nothing more is wanted
  std::deque<sdk::BlockRead> queue_;
  std::deque<std::uint32_t> unsubmitted_;      // slots that the kernel has not taken yet, in order
  Duration refusedSince_;                      // max: the kernel takes what it is given
  int refusal_ = 0;                            // not 0: why the kernel takes no more reads
  std::vector<sdk::BlockReadResult> results_;  // not delivered yet
  Duration oldestResult_{};
  std::byte* buffers_ = nullptr;
  std::size_t buffersBytes_ = 0;
  io_uring ring_{};
  bool hasRing_ = false;
  bool registered_ = false;  // the buffers are known to the ring
};

}  // namespace orvan::machine
