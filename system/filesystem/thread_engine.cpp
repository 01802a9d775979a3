#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <system_error>
#include <thread>

#include "os/descriptor.h"
#include "system/filesystem/transfer_engine.h"

namespace tarvex {
namespace {

// One transfer, shared by its thread and its waiter. It ends with the later of the two.
struct Job {
  TransferRequest request;
  Descriptor descriptor;  // its own, so that it stays open as long as the thread needs it
  std::mutex mutex;
  std::condition_variable finished;
  bool done = false;        // guarded by mutex
  std::int64_t result = 0;  // guarded by mutex
};

void Work(const std::shared_ptr<Job>& job, BlockingTransfer call) {
  const std::int64_t result = call(job->request);
  const std::lock_guard lock(job->mutex);
  job->result = result;
  job->done = true;
  job->finished.notify_all();
}

class ThreadEngine : public TransferEngine {
 public:
  explicit ThreadEngine(BlockingTransfer call) : call_(call) {}

  int Start(const TransferRequest& request) override {
    auto job = std::make_shared<Job>();
    job->descriptor = Descriptor(fcntl(request.descriptor, F_DUPFD_CLOEXEC, 0));
    if (!job->descriptor.IsOpen()) return errno;
    job->request = request;
    job->request.descriptor = job->descriptor.Get();
    try {
      std::thread(Work, job, call_).detach();
    } catch (const std::system_error& error) {
      return error.code().value();
    }
    job_ = std::move(job);
    return 0;
  }

  TransferWait Wait(std::chrono::seconds limit, std::int64_t& result) override {
    std::unique_lock lock(job_->mutex);
    if (!job_->finished.wait_for(lock, limit, [this] { return job_->done; })) {
      return TransferWait::kTimedOut;
    }
    result = job_->result;
    return TransferWait::kEnded;
  }

  void Abandon() override { job_.reset(); }

 private:
  BlockingTransfer call_;
  std::shared_ptr<Job> job_;
};

}  // namespace

std::int64_t PositionedTransfer(const TransferRequest& request) {
  if (request.offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
    return -EINVAL;
  }
  const auto offset = static_cast<off_t>(request.offset);
  ssize_t moved = 0;
  do {
    moved = request.direction == TransferDirection::kRead
                ? pread(request.descriptor, request.buffer->Data(), request.size, offset)
                : pwrite(request.descriptor, request.buffer->Data(), request.size, offset);
  } while (moved < 0 && errno == EINTR);
  return moved < 0 ? -errno : moved;
}

std::unique_ptr<TransferEngine> MakeThreadEngine(BlockingTransfer call) {
  return std::make_unique<ThreadEngine>(call);
}

}  // namespace tarvex
