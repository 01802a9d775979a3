#include "service/remote/worker_keeper.h"

#include <cerrno>
#include <chrono>
#include <utility>

#include "os/capabilities.h"

namespace orvan::remote {
namespace {

constexpr std::chrono::milliseconds kForEver{-1};

}  // namespace

WorkerKeeper::~WorkerKeeper() {
  {
    const std::lock_guard lock(mutex_);
    isOver_ = true;
  }
  changed_.Set();
  if (thread_.joinable()) thread_.join();
}

void WorkerKeeper::EnsureThread() {
  if (!thread_.joinable()) thread_ = std::thread([this] { Keep(); });
}

int WorkerKeeper::Start(const tarvex::Descriptor& passed, tarvex::ChildProcess& worker) {
  if (!changed_.IsOpen()) return EMFILE;
  Request request{passed, worker};
  std::unique_lock lock(mutex_);
  EnsureThread();
  done_.wait(lock, [this] { return request_ == nullptr; });
  request_ = &request;
  changed_.Set();
  done_.wait(lock, [&] { return request.isDone; });
  return request.error;
}

void WorkerKeeper::Bury(tarvex::ChildProcess worker) noexcept {
  worker.Kill();
  if (worker.TakeEnd() || !worker.IsThere()) return;
  try {
    const std::lock_guard lock(mutex_);
    EnsureThread();
    buried_.push_back(std::move(worker));
  } catch (...) {
    // It is killed all the same; what is left of it ends with us.
    return;
  }
  changed_.Set();
}

std::vector<int> WorkerKeeper::AwaitedAndReaped() {
  std::erase_if(buried_, [](tarvex::ChildProcess& worker) { return worker.TakeEnd().has_value(); });
  std::vector<int> awaited{changed_.Get()};
  for (const tarvex::ChildProcess& worker : buried_) awaited.push_back(worker.Handle());
  return awaited;
}

void WorkerKeeper::Keep() {
  tarvex::PassOnCapabilities();
  std::unique_lock lock(mutex_);
  while (!isOver_) {
    if (request_ != nullptr) {
      Request& request = *request_;
      request.error = tarvex::ChildProcess::Start(program_, request.passed, request.worker);
      request.isDone = true;
      request_ = nullptr;
      done_.notify_all();
    }
    const std::vector<int> awaited = AwaitedAndReaped();
    lock.unlock();
    tarvex::WaitForAny(awaited, kForEver);
    changed_.Clear();
    lock.lock();
  }
}

}  // namespace orvan::remote
