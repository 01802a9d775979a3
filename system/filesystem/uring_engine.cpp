#include <liburing.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <map>
#include <mutex>
#include <vector>

#include "system/filesystem/transfer_engine.h"

namespace tarvex {
namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kEntries = 16;
// Room is kept for the transfer that is waited for and its cancelling.
constexpr std::size_t kMostUnfinished = kEntries - 2;
// Marks the completion of a cancelling; transfers count from 1.
constexpr std::uint64_t kCancelling = 0;

// A ring and what it still works on. Its memory may only go when all of that has ended.
struct Ring {
  Ring() = default;
  Ring(const Ring&) = delete;
  Ring& operator=(const Ring&) = delete;
  ~Ring() {
    if (open) io_uring_queue_exit(&queue);
  }

  // Takes one completion; true when it is that of the transfer `wanted`.
  bool Take(io_uring_cqe* completion, std::uint64_t wanted, std::int64_t& result) {
    const std::uint64_t id = io_uring_cqe_get_data64(completion);
    const int value = completion->res;
    io_uring_cqe_seen(&queue, completion);
    if (id == kCancelling) return false;
    unfinished.erase(id);
    if (id != wanted) return false;
    result = value;
    return true;
  }

  // Takes what has completed. True when nothing is unfinished any more.
  bool IsIdle() {
    io_uring_cqe* completion = nullptr;
    std::int64_t ignored = 0;
    while (io_uring_peek_cqe(&queue, &completion) == 0) Take(completion, kCancelling, ignored);
    return unfinished.empty();
  }

  io_uring queue{};
  bool open = false;
  std::map<std::uint64_t, std::shared_ptr<TransferBuffer>> unfinished;
};

// Rings whose owner is gone while the kernel still works for them. Never destroyed: the kernel may
// touch their memory up to the end of the process.
class AbandonedRings {
 public:
  static AbandonedRings& Get() {
    static AbandonedRings& rings = *new AbandonedRings;
    return rings;
  }
  void Add(std::unique_ptr<Ring> ring) {
    const std::lock_guard lock(mutex_);
    rings_.push_back(std::move(ring));
  }
  void DropIdle() {
    const std::lock_guard lock(mutex_);
    rings_.erase(std::remove_if(rings_.begin(), rings_.end(),
                                [](const std::unique_ptr<Ring>& ring) { return ring->IsIdle(); }),
                 rings_.end());
  }

 private:
  std::mutex mutex_;
  std::vector<std::unique_ptr<Ring>> rings_;  // guarded by mutex_
};

class UringEngine : public TransferEngine {
 public:
  explicit UringEngine(std::unique_ptr<Ring> ring) : ring_(std::move(ring)) {}
  ~UringEngine() override {
    if (!ring_->IsIdle()) AbandonedRings::Get().Add(std::move(ring_));
  }

  int Start(const TransferRequest& request) override {
    if (request.size > std::numeric_limits<unsigned>::max()) return EINVAL;
    if (!ring_->IsIdle() && ring_->unfinished.size() >= kMostUnfinished) return EBUSY;
    io_uring_sqe* const entry = io_uring_get_sqe(&ring_->queue);
    if (entry == nullptr) return EBUSY;
    const auto prepare = request.direction == TransferDirection::kRead ? PrepareRead : PrepareWrite;
    prepare(entry, request);
    io_uring_sqe_set_data64(entry, ++current_);
    ring_->unfinished.emplace(current_, request.buffer);
    const int submitted = io_uring_submit(&ring_->queue);
    // An entry that an earlier call left behind may go along, so only what stays queued counts.
    if (submitted > 0 && io_uring_sq_ready(&ring_->queue) == 0) return 0;
    // The entry stays queued: turn it into nothing, so that no later submission carries it out.
    io_uring_prep_nop(entry);
    io_uring_sqe_set_data64(entry, current_);
    return submitted < 0 ? -submitted : EAGAIN;
  }

  TransferWait Wait(std::chrono::seconds limit, std::int64_t& result) override {
    const Clock::time_point deadline = Clock::now() + limit;
    for (;;) {
      const auto left =
          std::max(std::chrono::nanoseconds(0), std::chrono::nanoseconds(deadline - Clock::now()));
      __kernel_timespec time{};
      time.tv_sec = left.count() / 1'000'000'000;
      time.tv_nsec = left.count() % 1'000'000'000;
      io_uring_cqe* completion = nullptr;
      const int error = io_uring_wait_cqe_timeout(&ring_->queue, &completion, &time);
      if (error == -ETIME) return TransferWait::kTimedOut;
      if (error == -EINTR) continue;
      if (error < 0) return TransferWait::kFailed;
      if (ring_->Take(completion, current_, result)) return TransferWait::kEnded;
    }
  }

  void Abandon() override {
    io_uring_sqe* const entry = io_uring_get_sqe(&ring_->queue);
    if (entry == nullptr) return;
    io_uring_prep_cancel64(entry, current_, 0);
    io_uring_sqe_set_data64(entry, kCancelling);
    io_uring_submit(&ring_->queue);
  }

 private:
  static void PrepareRead(io_uring_sqe* entry, const TransferRequest& request) {
    io_uring_prep_read(entry, request.descriptor, request.buffer->Data(),
                       static_cast<unsigned>(request.size), request.offset);
  }
  static void PrepareWrite(io_uring_sqe* entry, const TransferRequest& request) {
    io_uring_prep_write(entry, request.descriptor, request.buffer->Data(),
                        static_cast<unsigned>(request.size), request.offset);
  }

  std::unique_ptr<Ring> ring_;
  std::uint64_t current_ = 0;  // id of the transfer that was started last
};

}  // namespace

std::unique_ptr<TransferEngine> MakeUringEngine() {
  AbandonedRings::Get().DropIdle();
  auto ring = std::make_unique<Ring>();
  if (io_uring_queue_init(kEntries, &ring->queue, 0) != 0) return nullptr;
  ring->open = true;
  return std::make_unique<UringEngine>(std::move(ring));
}

}  // namespace tarvex
