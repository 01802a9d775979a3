#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace tarvex {

enum class TransferDirection { kRead, kWrite };

// Memory that transfers are made from and into: aligned for every disk, and kept alive by whoever
// may still touch it.
class TransferBuffer {
 public:
  static constexpr std::size_t kAlignment = 4096;
  // Null when there is no memory.
  static std::shared_ptr<TransferBuffer> Make(std::size_t size);
  char* Data() { return bytes_.get(); }
  std::size_t Size() const { return size_; }

 private:
  struct Free {
    void operator()(char* bytes) const { std::free(bytes); }
  };
  std::unique_ptr<char, Free> bytes_;
  std::size_t size_ = 0;
};

struct TransferRequest {
  TransferDirection direction = TransferDirection::kRead;
  int descriptor = -1;
  std::uint64_t offset = 0;
  std::size_t size = 0;  // at most the buffer's
  std::shared_ptr<TransferBuffer> buffer;
};

enum class TransferWait { kEnded, kTimedOut, kFailed };

// Carries out transfers that nobody needs to wait for to their end. One transfer at a time is
// waited for; one that was abandoned may go on, and keeps its buffer. One thread at a time.
class TransferEngine {
 public:
  virtual ~TransferEngine() = default;
  // Starts a transfer. 0, or an errno value when it can't start.
  virtual int Start(const TransferRequest& request) = 0;
  // Waits for the end of the transfer that was started last. With kEnded, `result` is the bytes
  // moved, or a negated errno value.
  virtual TransferWait Wait(std::chrono::seconds limit, std::int64_t& result) = 0;
  // Asks for the end of that transfer without waiting for it.
  virtual void Abandon() = 0;
};

// The best engine that this system offers.
std::unique_ptr<TransferEngine> MakeTransferEngine();
// Over the kernel's queue of transfers; null where there is none.
// Source: io_uring(7).
std::unique_ptr<TransferEngine> MakeUringEngine();

// The call that a thread of MakeThreadEngine makes: bytes moved, or a negated errno value.
using BlockingTransfer = std::int64_t (*)(const TransferRequest& request);
std::int64_t PositionedTransfer(const TransferRequest& request);
// One thread for each transfer.
std::unique_ptr<TransferEngine> MakeThreadEngine(BlockingTransfer call = PositionedTransfer);

}  // namespace tarvex
