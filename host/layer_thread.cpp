#include "host/layer_thread.h"

#include <sys/eventfd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "host/thread_start.h"
#include "os/descriptor.h"

namespace tarvex {
namespace {

// Far more than a body takes that is not held up.
constexpr std::chrono::milliseconds kLongestWait{500};

}  // namespace

struct LayerThread::Shared {
  const char* name = nullptr;
  Body body;
  Descriptor stop;
  std::mutex mutex;
  std::condition_variable ended;
  bool hasEnded = false;  // guarded by mutex
};

std::unique_ptr<LayerThread> LayerThread::Start(const char* name, Body body) {
  auto shared = std::make_shared<Shared>();
  shared->name = name;
  shared->body = std::move(body);
  shared->stop.Reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!shared->stop.IsOpen()) return nullptr;
  std::unique_ptr<LayerThread> thread(new LayerThread(shared));
  auto argument = std::make_unique<std::shared_ptr<Shared>>(shared);
  if (StartThread(&thread->thread_, Run, argument.get()) != 0) {
    thread->shared_ = nullptr;
    return nullptr;
  }
  static_cast<void>(argument.release());
  return thread;
}

LayerThread::~LayerThread() {
  if (shared_ == nullptr) return;
  ::eventfd_write(shared_->stop.Get(), 1);
  bool ended = false;
  if (!IsCurrent()) {
    std::unique_lock lock(shared_->mutex);
    ended = shared_->ended.wait_for(lock, kLongestWait, [this] { return shared_->hasEnded; });
  }
  if (ended) {
    ::pthread_join(thread_, nullptr);
  } else {
    ::pthread_detach(thread_);
  }
}

void* LayerThread::Run(void* argument) {
  const std::unique_ptr<std::shared_ptr<Shared>> owner(
      static_cast<std::shared_ptr<Shared>*>(argument));
  Shared& shared = **owner;
  NameThisThread(shared.name);
  const AlternateStack stack;
  shared.body(shared.stop.Get());
  const std::lock_guard lock(shared.mutex);
  shared.hasEnded = true;
  shared.ended.notify_all();
  return nullptr;
}

}  // namespace tarvex
