#include "service/machine/helper_reads.h"

#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace orvan::machine {
namespace {

constexpr std::size_t kHugePageBytes = 2U << 20;
constexpr std::size_t kBufferAlignment = 4096;
// While enough reads are waiting to be started, results are gathered up to this number and age, so
// that a fast disk does not cost the caller one wake-up per read.
constexpr std::size_t kResultsPerMessage = 16;
constexpr std::chrono::milliseconds kOldestUnsent{5};
// A kernel that is short of something for the moment is asked again at this pace and for so long.
constexpr std::chrono::milliseconds kSubmitPace{10};
constexpr std::chrono::milliseconds kSubmitPatience{500};

bool MayPass(int error) {
  return error == EAGAIN || error == ENOMEM || error == EBUSY || error == EINTR;
}

std::size_t RoundedUp(std::size_t bytes, std::size_t unit) {
  return (bytes + unit - 1) / unit * unit;
}

}  // namespace

HelperReads::HelperReads(int socket, const HelperDevice& device, const OpenMessage& request)
    : socket_(socket),
      device_(device),
      largestReadBytes_(
          static_cast<std::uint32_t>(RoundedUp(request.largestReadBytes, kBufferAlignment))),
      timeLimit_(request.timeLimitMs),
      slots_(request.depth),
      refusedSince_(Duration::max()) {}

HelperReads::~HelperReads() {
  if (hasRing_) io_uring_queue_exit(&ring_);
  if (buffers_ != nullptr) munmap(buffers_, buffersBytes_);
}

int HelperReads::SetUp() {
  buffersBytes_ = RoundedUp(slots_.size() * largestReadBytes_, kHugePageBytes);
  void* memory =
      mmap(nullptr, buffersBytes_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return errno;
  buffers_ = static_cast<std::byte*>(memory);
  madvise(buffers_, buffersBytes_, MADV_HUGEPAGE);
  const int made = io_uring_queue_init(static_cast<unsigned>(slots_.size()), &ring_, 0);
  if (made < 0) return -made;
  hasRing_ = true;
  std::vector<iovec> parts(slots_.size());
  for (std::uint32_t i = 0; i < parts.size(); ++i) parts[i] = {Buffer(i), largestReadBytes_};
  // Refused where too little memory may be locked; reading works without.
  registered_ =
      io_uring_register_buffers(&ring_, parts.data(), static_cast<unsigned>(parts.size())) == 0;
  return 0;
}

std::byte* HelperReads::Buffer(std::uint32_t slot) const {
  return buffers_ + static_cast<std::size_t>(slot) * largestReadBytes_;
}

void HelperReads::Run() {
  while (true) {
    std::array<pollfd, 2> events{pollfd{socket_, POLLIN, 0}, pollfd{ring_.ring_fd, POLLIN, 0}};
    if (poll(events.data(), events.size(), AwaitEvent()) < 0 && errno != EINTR) return;
    if (events[0].revents != 0 && !TakeRequests()) return;
    // What came back while we were stopped is taken before anything is judged by the time.
    const Duration now = clock_.Look();
    TakeCompletions();
    ExpireOverdue(now);
    StartQueued();
    Submit();
    if (MustSend() && !SendResults()) return;
  }
}

// Milliseconds to the next deadline or look at the clock, rounded up; -1 when there is none.
int HelperReads::AwaitEvent() {
  const Duration now = clock_.Look();
  Duration next = results_.empty() ? Duration::max() : oldestResult_ + kOldestUnsent;
  for (const Slot& slot : slots_) {
    if (slot.state == SlotState::kReading)
      next = std::min({next, slot.deadline, now + sdk::kAwakePace});
  }
  if (!unsubmitted_.empty() && refusal_ == 0) next = std::min<Duration>(next, now + kSubmitPace);
  if (next == Duration::max()) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - now);
  return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
}

bool HelperReads::IsValid(const BlockRead& read) const {
  const BlockGeometry& geometry = device_.Geometry();
  return read.sizeBytes > 0 && read.sizeBytes <= largestReadBytes_ &&
         read.sizeBytes % geometry.logicalSectorBytes == 0 &&
         read.offsetBytes % geometry.logicalSectorBytes == 0 &&
         read.offsetBytes <= geometry.sizeBytes &&
         read.sizeBytes <= geometry.sizeBytes - read.offsetBytes;
}

// False when the client is gone or breaks the protocol.
bool HelperReads::TakeRequests() {
  while (true) {
    ReadMessage message;
    const ssize_t got = recv(socket_, &message, sizeof(message), MSG_DONTWAIT | MSG_TRUNC);
    if (got < 0) return errno == EAGAIN || errno == EINTR;
    const auto size = static_cast<std::size_t>(got);
    if (size < sizeof(MessageHead)) return false;
    const bool isQuestion = message.head.kind == MessageKind::kAsk && size == sizeof(MessageHead);
    if (!(isQuestion ? SendAlive() : TakeReads(message, size))) return false;
  }
}

bool HelperReads::TakeReads(const ReadMessage& message, std::size_t size) {
  if (message.head.kind != MessageKind::kRead || message.head.count > kMostReadsPerMessage ||
      size != ListBytes<BlockRead>(message.head.count) ||
      queue_.size() + message.head.count > kMostReadsOutstanding) {
    return false;
  }
  const auto begin = message.reads.begin();
  const auto end = begin + message.head.count;
  if (!std::all_of(begin, end, [this](const BlockRead& read) { return IsValid(read); })) {
    return false;
  }
  queue_.insert(queue_.end(), begin, end);
  return true;
}

void HelperReads::StartQueued() {
  if (refusal_ != 0) {
    for (const BlockRead& read : queue_) Answer(read.id, ReadOutcome::kNotTried, refusal_);
    queue_.clear();
  }
  for (std::uint32_t i = 0; i < slots_.size() && !queue_.empty(); ++i) {
    if (slots_[i].state != SlotState::kFree) continue;
    // Its time begins when the kernel takes it.
    slots_[i] = {SlotState::kReading, queue_.front(), 0, Duration::max()};
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
void HelperReads::Submit() {
  if (unsubmitted_.empty() || refusal_ != 0) return;
  const int taken = io_uring_submit(&ring_);
  const Duration now = clock_.Look();
  for (int i = 0; i < taken && !unsubmitted_.empty(); ++i) {
    Slot& slot = slots_[unsubmitted_.front()];
    unsubmitted_.pop_front();
    if (slot.doneBytes == 0) slot.deadline = now + timeLimit_;
  }
  if (taken > 0) refusedSince_ = Duration::max();
  if (taken >= 0) return;
  refusedSince_ = std::min(refusedSince_, now);
  if (!MayPass(-taken) || now - refusedSince_ >= kSubmitPatience) FailUnsubmitted(-taken);
}

// The entries stay in the ring, so their slots are never used again.
void HelperReads::FailUnsubmitted(int error) {
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

void HelperReads::StartRead(std::uint32_t index) {
  const Slot& slot = slots_[index];
  // One entry per slot, so the submission queue cannot be full.
  io_uring_sqe* entry = io_uring_get_sqe(&ring_);
  std::byte* to = Buffer(index) + slot.doneBytes;
  const std::uint32_t size = slot.read.sizeBytes - slot.doneBytes;
  const std::uint64_t offset = slot.read.offsetBytes + slot.doneBytes;
  if (registered_) {
    io_uring_prep_read_fixed(entry, device_.Descriptor(), to, size, offset,
                             static_cast<int>(index));
  } else {
    io_uring_prep_read(entry, device_.Descriptor(), to, size, offset);
  }
  entry->user_data = index;
  unsubmitted_.push_back(index);
}

void HelperReads::TakeCompletions() {
  io_uring_cqe* completion = nullptr;
  while (io_uring_peek_cqe(&ring_, &completion) == 0) {
    const auto index = static_cast<std::uint32_t>(completion->user_data);
    const int result = completion->res;
    io_uring_cqe_seen(&ring_, completion);
    Slot& slot = slots_[index];
    const bool partial =
        result > 0 && slot.doneBytes + static_cast<std::uint32_t>(result) < slot.read.sizeBytes &&
        static_cast<std::uint32_t>(result) % device_.Geometry().logicalSectorBytes == 0;
    if (slot.state == SlotState::kReading && partial) {
      slot.doneBytes += static_cast<std::uint32_t>(result);
      StartRead(index);
    } else {
      Finish(slot, result);
    }
  }
}

void HelperReads::Finish(Slot& slot, int result) {
  const bool isAnswered = slot.state != SlotState::kReading;
  slot.state = SlotState::kFree;
  if (isAnswered) return;
  const bool whole =
      result > 0 && slot.doneBytes + static_cast<std::uint32_t>(result) == slot.read.sizeBytes;
  if (whole) {
    Answer(slot.read.id, ReadOutcome::kRead, 0);
    return;
  }
  // An end of the data before the device's end has no errno of its own.
  const int error = device_.IsGone() ? ENODEV : result < 0 ? -result : EIO;
  Answer(slot.read.id, ReadOutcome::kFailed, error);
}

void HelperReads::ExpireOverdue(Duration now) {
  for (Slot& slot : slots_) {
    if (slot.state != SlotState::kReading || now < slot.deadline) continue;
    slot.state = SlotState::kLost;
    Answer(slot.read.id, ReadOutcome::kTimedOut, ETIMEDOUT);
  }
}

void HelperReads::Answer(std::uint64_t id, ReadOutcome outcome, int error) {
  if (results_.empty()) oldestResult_ = clock_.Look();
  results_.push_back({id, outcome, error});
}

bool HelperReads::MustSend() {
  return !results_.empty() &&
         (queue_.size() < slots_.size() || results_.size() >= kResultsPerMessage ||
          clock_.Look() >= oldestResult_ + kOldestUnsent);
}

bool HelperReads::SendAlive() {
  const MessageHead answer{MessageKind::kAlive, 0};
  return send(socket_, &answer, sizeof(answer), MSG_NOSIGNAL) == sizeof(answer);
}

bool HelperReads::SendResults() {
  for (std::size_t first = 0; first < results_.size(); first += kMostReadsPerMessage) {
    DoneMessage message;
    message.head.count = static_cast<std::uint32_t>(
        std::min<std::size_t>(results_.size() - first, kMostReadsPerMessage));
    std::copy_n(results_.begin() + static_cast<std::ptrdiff_t>(first), message.head.count,
                message.results.begin());
    const std::size_t size = ListBytes<BlockReadResult>(message.head.count);
    if (send(socket_, &message, size, MSG_NOSIGNAL) != static_cast<ssize_t>(size)) return false;
  }
  results_.clear();
  return true;
}

}  // namespace orvan::machine
