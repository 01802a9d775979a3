#pragma once

#include <liburing.h>

#include <deque>
#include <vector>

#include "service/machine/helper_device.h"
#include "service/machine/helper_protocol.h"
#include "service/sdk/awake_clock.h"

namespace orvan::machine {

// The reading side of the helper program: takes reads from the socket, keeps up to `depth` of them
// in flight at the device, and answers each within the time limit. The program's one thread.
class HelperReads {
 public:
  HelperReads(int socket, const HelperDevice& device, const OpenMessage& request);
  ~HelperReads();
  HelperReads(const HelperReads&) = delete;
  HelperReads& operator=(const HelperReads&) = delete;

  // Buffers and ring. 0, or the errno.
  int SetUp();
  // Serves until the socket closes or says something that no honest client says.
  void Run();

 private:
  using Duration = sdk::AwakeClock::Duration;
  enum class SlotState { kFree, kReading, kLost };
  struct Slot {
    SlotState state = SlotState::kFree;
    BlockRead read;
    std::uint32_t doneBytes = 0;
    Duration deadline{};
  };

  int AwaitEvent();
  bool TakeRequests();
  bool TakeReads(const ReadMessage& message, std::size_t size);
  bool IsValid(const BlockRead& read) const;
  void StartQueued();
  void StartRead(std::uint32_t index);
  void Submit();
  void FailUnsubmitted(int error);
  void TakeCompletions();
  void Finish(Slot& slot, int result);
  void ExpireOverdue(Duration now);
  void Answer(std::uint64_t id, ReadOutcome outcome, int error);
  bool MustSend();
  bool SendResults();
  bool SendAlive();
  std::byte* Buffer(std::uint32_t slot) const;

  sdk::AwakeClock clock_;
  int socket_;
  const HelperDevice& device_;
  std::uint32_t largestReadBytes_;
  std::chrono::milliseconds timeLimit_;
  std::vector<Slot> slots_;
  std::deque<BlockRead> queue_;
  std::deque<std::uint32_t> unsubmitted_;  // slots that the kernel has not taken yet, in order
  Duration refusedSince_;                  // max: the kernel takes what it is given
  int refusal_ = 0;                        // not 0: why the kernel takes no more reads
  std::vector<BlockReadResult> results_;   // not sent yet
  Duration oldestResult_{};
  std::byte* buffers_ = nullptr;
  std::size_t buffersBytes_ = 0;
  io_uring ring_{};
  bool hasRing_ = false;
  bool registered_ = false;  // the buffers are known to the ring
};

}  // namespace orvan::machine
