#include "service/machine/read_engine.h"

#include <poll.h>
#include <sys/mman.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <thread>
#include <utility>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

namespace orvan::machine {
namespace {

using sdk::BlockRead;
using sdk::ReadOutcome;

constexpr std::size_t kHugePageBytes = 2U << 20;
constexpr std::size_t kBufferAlignment = 4096;
// While enough reads are waiting to be started, results are gathered up to this number and age, so
// that a fast disk does not cost the caller one wake-up per read.
constexpr std::size_t kResultsPerDelivery = 16;
constexpr std::chrono::milliseconds kOldestUndelivered{5};
// A kernel that is short of something for the moment is asked again at this pace and for so long.
constexpr std::chrono::milliseconds kSubmitPace{10};
constexpr std::chrono::milliseconds kSubmitPatience{500};

bool MayPass(int error) {
  return error == EAGAIN || error == ENOMEM || error == EBUSY || error == EINTR;
}

std::size_t RoundedUp(std::size_t bytes, std::size_t unit) {
  return (bytes + unit - 1) / unit * unit;
}

// liburing maps and unmaps its rings past the thread sanitizer, which would take a ring for the one
// that was at its address before. These two tell it that the one had ended when the other began.
#if defined(__SANITIZE_THREAD__)
const char kRings = 0;  // Only its address counts.
void SayRingBegins() {
  __tsan_acquire(const_cast<char*>(&kRings));
}
void SayRingEnds() {
  __tsan_release(const_cast<char*>(&kRings));
}
#else
void SayRingBegins() {}
void SayRingEnds() {}
#endif

}  // namespace

ReadEngine::ReadEngine(std::shared_ptr<ReadMailbox> mailbox, std::shared_ptr<BlockDevice> device,
                       const sdk::BlockReaderOptions& options)
    : mailbox_(std::move(mailbox)),
      device_(std::move(device)),
      largestReadBytes_(
          static_cast<std::uint32_t>(RoundedUp(options.largestReadBytes, kBufferAlignment))),
      timeLimit_(options.timeLimit),
      slots_(options.depth),
      refusedSince_(Duration::max()) {}

ReadEngine::~ReadEngine() {
  if (hasRing_) {
    SayRingEnds();
    io_uring_queue_exit(&ring_);
  }
  if (buffers_ != nullptr) munmap(buffers_, buffersBytes_);
}

int ReadEngine::SetUp() {
  buffersBytes_ = RoundedUp(slots_.size() * largestReadBytes_, kHugePageBytes);
  void* memory =
      mmap(nullptr, buffersBytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return errno;
  buffers_ = static_cast<std::byte*>(memory);
  madvise(buffers_, buffersBytes_, MADV_HUGEPAGE);
  const int made = io_uring_queue_init(static_cast<unsigned>(slots_.size()), &ring_, 0);
  if (made < 0) return -made;
  SayRingBegins();
  hasRing_ = true;
  std::vector<iovec> parts(slots_.size());
  for (std::uint32_t i = 0; i < parts.size(); ++i) parts[i] = {Buffer(i), largestReadBytes_};
  // Refused where too little memory may be locked; reading works without.
  registered_ =
      io_uring_register_buffers(&ring_, parts.data(), static_cast<unsigned>(parts.size())) == 0;
  return 0;
}

std::byte* ReadEngine::Buffer(std::uint32_t slot) const {
  return buffers_ + static_cast<std::size_t>(slot) * largestReadBytes_;
}

int ReadEngine::Start(std::unique_ptr<ReadEngine> engine) {
  try {
    std::thread([engine = std::move(engine)]() mutable {
      // Whoever ends a reader waits for the end of the device, too.
      const std::shared_ptr<ReadMailbox> mailbox = engine->mailbox_;
      mailbox->Begin();
      engine->Serve();
      engine.reset();
      mailbox->Finish();
    }).detach();
  } catch (const std::system_error& error) {
    return error.code().value();
  }
  return 0;
}

void ReadEngine::Serve() {
  BlockSignals();
  while (!MayEnd()) {
    std::array<pollfd, 2> events{pollfd{mailbox_->Event(), POLLIN, 0},
                                 pollfd{ring_.ring_fd, POLLIN, 0}};
    if (poll(events.data(), events.size(), AwaitEvent()) < 0 && errno != EINTR) {
      Abandon();
      return;
    }
    TakeOrders();
    // What came back while we were stopped is taken before anything is judged by the time.
    const Duration now = clock_.Look();
    TakeCompletions(now);
    if (isOver_) continue;
    ExpireOverdue(now);
    StartQueued();
    Submit();
    if (MustDeliver()) mailbox_->Deliver(results_);
  }
}

bool ReadEngine::MayEnd() const {
  return isOver_ && std::none_of(slots_.begin(), slots_.end(),
                                 [](const Slot& slot) { return slot.isInKernel; });
}

// The kernel may still write there, so ring and buffers stay for good.
void ReadEngine::Abandon() {
  hasRing_ = false;
  buffers_ = nullptr;
  mailbox_->Lose();
}

// Milliseconds to the next deadline or look at the clock, rounded up; -1 when there is none.
int ReadEngine::AwaitEvent() {
  if (isOver_) return -1;
  const Duration now = clock_.Look();
  Duration next = results_.empty() ? Duration::max() : oldestResult_ + kOldestUndelivered;
  for (const Slot& slot : slots_) {
    if (slot.state == SlotState::kReading)
      next = std::min({next, slot.deadline, now + sdk::kAwakePace});
  }
  if (!unsubmitted_.empty() && refusal_ == 0) next = std::min<Duration>(next, now + kSubmitPace);
  if (next == Duration::max()) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - now);
  return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
}

bool ReadEngine::IsValid(const BlockRead& read) const {
  const sdk::BlockGeometry& geometry = device_->Geometry();
  return read.sizeBytes > 0 && read.sizeBytes <= largestReadBytes_ &&
         read.sizeBytes % geometry.logicalSectorBytes == 0 &&
         read.offsetBytes % geometry.logicalSectorBytes == 0 &&
         read.offsetBytes <= geometry.sizeBytes &&
         read.sizeBytes <= geometry.sizeBytes - read.offsetBytes;
}

void ReadEngine::TakeOrders() {
  ReadMailbox::Orders orders = mailbox_->TakeOrders();
  isOver_ = isOver_ || orders.isOver;
  for (const BlockRead& read : orders.reads) {
    if (IsValid(read)) {
      queue_.push_back(read);
    } else {
      Answer(read.id, ReadOutcome::kNotTried, EINVAL);
    }
  }
}

void ReadEngine::StartQueued() {
  if (refusal_ != 0) {
    for (const BlockRead& read : queue_) Answer(read.id, ReadOutcome::kNotTried, refusal_);
    queue_.clear();
  }
  for (std::uint32_t i = 0; i < slots_.size() && !queue_.empty(); ++i) {
    if (slots_[i].state != SlotState::kFree) continue;
    // Its time begins when the kernel takes it.
    slots_[i] = {SlotState::kReading, false, queue_.front(), 0, {}, Duration::max()};
    queue_.pop_front();
    StartRead(i);
  }
  const auto isLost = [](const Slot& slot) { return slot.state == SlotState::kLost; };
  if (std::all_of(slots_.begin(), slots_.end(), isLost)) {
    // No slot will come free in time, so these would wait for ever.
    for (const BlockRead& read : queue_) {
      Answer(read.id, ReadOutcome::kTimedOut, ETIMEDOUT);
    }
    queue_.clear();
  }
}

// Hands over what the kernel has not taken yet. It never fails a read for the disk's sake, so what
// it refuses for good is answered as not tried, at once, and is neither the disk's silence nor its
// error.
void ReadEngine::Submit() {
  if (unsubmitted_.empty() || refusal_ != 0) return;
  // A read may be done before the kernel comes back from taking it.
  const Duration before = clock_.Look();
  const int taken = io_uring_submit(&ring_);
  const Duration now = clock_.Look();
  for (int i = 0; i < taken && !unsubmitted_.empty(); ++i) {
    Slot& slot = slots_[unsubmitted_.front()];
    unsubmitted_.pop_front();
    slot.isInKernel = true;
    if (slot.doneBytes != 0) continue;
    slot.begun = before;
    slot.deadline = now + timeLimit_;
  }
  if (taken > 0) refusedSince_ = Duration::max();
  if (taken >= 0) return;
  refusedSince_ = std::min(refusedSince_, now);
  if (!MayPass(-taken) || now - refusedSince_ >= kSubmitPatience) FailUnsubmitted(-taken);
}

// The entries stay in the ring, so their slots are never used again.
void ReadEngine::FailUnsubmitted(int error) {
  refusal_ = error;
  for (const std::uint32_t index : unsubmitted_) {
    Slot& slot = slots_[index];
    if (slot.state != SlotState::kReading) continue;
    slot.state = SlotState::kLost;
    Answer(slot.read.id, ReadOutcome::kNotTried, error);
  }
  unsubmitted_.clear();
  for (const BlockRead& read : queue_) Answer(read.id, ReadOutcome::kNotTried, error);
  queue_.clear();
}

void ReadEngine::StartRead(std::uint32_t index) {
  const Slot& slot = slots_[index];
  // One entry per slot, so the submission queue cannot be full.
  io_uring_sqe* entry = io_uring_get_sqe(&ring_);
  std::byte* to = Buffer(index) + slot.doneBytes;
  const std::uint32_t size = slot.read.sizeBytes - slot.doneBytes;
  const std::uint64_t offset = slot.read.offsetBytes + slot.doneBytes;
  if (registered_) {
    io_uring_prep_read_fixed(entry, device_->Number(), to, size, offset, static_cast<int>(index));
  } else {
    io_uring_prep_read(entry, device_->Number(), to, size, offset);
  }
  entry->user_data = index;
  unsubmitted_.push_back(index);
}

void ReadEngine::TakeCompletions(Duration now) {
  io_uring_cqe* completion = nullptr;
  while (io_uring_peek_cqe(&ring_, &completion) == 0) {
    const auto index = static_cast<std::uint32_t>(completion->user_data);
    const int result = completion->res;
    io_uring_cqe_seen(&ring_, completion);
    Slot& slot = slots_[index];
    slot.isInKernel = false;
    const bool partial =
        !isOver_ && result > 0 &&
        slot.doneBytes + static_cast<std::uint32_t>(result) < slot.read.sizeBytes &&
        static_cast<std::uint32_t>(result) % device_->Geometry().logicalSectorBytes == 0;
    if (slot.state == SlotState::kReading && partial) {
      slot.doneBytes += static_cast<std::uint32_t>(result);
      StartRead(index);
    } else {
      Finish(slot, result, now);
    }
  }
}

void ReadEngine::Finish(Slot& slot, int result, Duration now) {
  const bool isAnswered = slot.state != SlotState::kReading;
  slot.state = SlotState::kFree;
  if (isAnswered) return;
  const bool whole =
      result > 0 && slot.doneBytes + static_cast<std::uint32_t>(result) == slot.read.sizeBytes;
  if (whole) {
    AnswerTimed(slot, ReadOutcome::kRead, 0, now);
    return;
  }
  // An end of the data before the device's end has no errno of its own.
  const int error = device_->IsGone() ? ENODEV : result < 0 ? -result : EIO;
  AnswerTimed(slot, ReadOutcome::kFailed, error, now);
}

void ReadEngine::ExpireOverdue(Duration now) {
  for (Slot& slot : slots_) {
    if (slot.state != SlotState::kReading || now < slot.deadline) continue;
    slot.state = SlotState::kLost;
    AnswerTimed(slot, ReadOutcome::kTimedOut, ETIMEDOUT, now);
  }
}

void ReadEngine::Answer(std::uint64_t id, ReadOutcome outcome, int error) {
  if (results_.empty()) oldestResult_ = clock_.Look();
  results_.push_back({id, outcome, error});
}

void ReadEngine::AnswerTimed(const Slot& slot, ReadOutcome outcome, int error, Duration now) {
  Answer(slot.read.id, outcome, error);
  results_.back().begun = slot.begun;
  results_.back().ended = now;
}

bool ReadEngine::MustDeliver() {
  return !results_.empty() &&
         (queue_.size() < slots_.size() || results_.size() >= kResultsPerDelivery ||
          clock_.Look() >= oldestResult_ + kOldestUndelivered);
}

}  // namespace orvan::machine
