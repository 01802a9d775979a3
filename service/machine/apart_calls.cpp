#include "service/machine/apart_calls.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <system_error>
#include <thread>

#include "service/machine/thread_state.h"

namespace orvan::machine {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLook{50};

}  // namespace

void BlockSignals() {
  sigset_t signals;
  sigfillset(&signals);
  for (const int own : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) {
    sigdelset(&signals, own);
  }
  pthread_sigmask(SIG_SETMASK, &signals, nullptr);
}

// One thread and the call that it makes. The thread keeps its lane alive.
class ApartCalls::Lane {
 public:
  explicit Lane(std::shared_ptr<LeftBehindCount> leftBehind) : leftBehind_(std::move(leftBehind)) {}

  static void Serve(const std::shared_ptr<Lane>& lane) {
    BlockSignals();
    lane->thread_ = gettid();
    std::unique_lock lock(lane->mutex_);
    while (true) {
      lane->changed_.wait(lock, [&] { return lane->work_ || lane->isOver_; });
      if (!lane->work_) return;
      std::function<void()> work = std::exchange(lane->work_, nullptr);
      lock.unlock();
      std::exception_ptr failure;
      try {
        work();
      } catch (...) {
        failure = std::current_exception();
      }
      // What it owns may hang at its end, too: a descriptor that is closed.
      work = nullptr;
      lock.lock();
      lane->failure_ = failure;
      lane->isDone_ = true;
      if (lane->isLeft_) --*lane->leftBehind_;
      lane->changed_.notify_all();
    }
  }

  void Start(std::function<void()> work) {
    const std::lock_guard lock(mutex_);
    work_ = std::move(work);
    isDone_ = false;
    failure_ = nullptr;
    changed_.notify_all();
  }

  End Await(const Limits& limits, sdk::AwakeClock::Duration* took) {
    sdk::AwakeClock clock;
    std::unique_lock lock(mutex_);
    const End end = AwaitEnd(lock, limits, clock);
    if (took != nullptr) *took = clock.Look();
    if (end == End::kDone) {
      if (failure_) std::rethrow_exception(failure_);
      return end;
    }
    isLeft_ = true;
    isOver_ = true;
    ++*leftBehind_;
    return end;
  }

  void Dismiss() {
    const std::lock_guard lock(mutex_);
    isOver_ = true;
    changed_.notify_all();
  }

 private:
  End AwaitEnd(std::unique_lock<std::mutex>& lock, const Limits& limits, sdk::AwakeClock& clock) {
    sdk::AwakeClock::Duration stalled{};
    const auto isDone = [this] { return isDone_; };
    for (sdk::AwakeClock::Duration last{};;) {
      const auto left = limits.time - (last - stalled);
      if (changed_.wait_for(lock, limits.stop, std::min<sdk::AwakeClock::Duration>(left, kLook),
                            isDone)) {
        return End::kDone;
      }
      if (limits.stop.stop_requested()) {
        // A stop leaves no call behind that is about to come back.
        const bool comes =
            ComesSoon([&](milliseconds wait) { return changed_.wait_for(lock, wait, isDone); },
                      lock, thread_);
        return comes ? End::kDone : End::kStopped;
      }
      const sdk::AwakeClock::Duration now = clock.Look();
      // A call that hangs sleeps; a thread that runs or is stopped has not come to it.
      const char state = ThreadState(thread_);
      if (state != kInKernel && state != kSleeping) stalled += now - last;
      last = now;
      if (now - stalled >= limits.time) return End::kHung;
      if (stalled >= limits.stall) return End::kStalled;
    }
  }

  const std::shared_ptr<LeftBehindCount> leftBehind_;
  std::atomic<pid_t> thread_ = 0;  // 0: not begun yet
  std::mutex mutex_;               // guards all below
  std::condition_variable_any changed_;
  std::function<void()> work_;  // not begun yet
  std::exception_ptr failure_;
  bool isDone_ = false;
  bool isLeft_ = false;  // nobody waits for it any more
  bool isOver_ = false;  // no other call follows
};

ApartCalls::~ApartCalls() {
  for (const std::shared_ptr<Lane>& lane : idle_) lane->Dismiss();
}

std::shared_ptr<ApartCalls::Lane> ApartCalls::TakeLane() {
  {
    const std::lock_guard lock(mutex_);
    if (!idle_.empty()) {
      std::shared_ptr<Lane> lane = std::move(idle_.back());
      idle_.pop_back();
      return lane;
    }
  }
  auto lane = std::make_shared<Lane>(leftBehind_);
  try {
    std::thread(Lane::Serve, lane).detach();
  } catch (const std::system_error&) {
    return nullptr;
  }
  return lane;
}

ApartCalls::End ApartCalls::Run(std::function<void()> work, const Limits& limits,
                                sdk::AwakeClock::Duration* took) {
  if (took != nullptr) *took = {};
  if (limits.stop.stop_requested()) return End::kStopped;
  const std::shared_ptr<Lane> lane = TakeLane();
  if (!lane) return End::kNotTried;
  lane->Start(std::move(work));
  End end = End::kDone;
  std::exception_ptr failure;
  try {
    end = lane->Await(limits, took);
  } catch (...) {
    failure = std::current_exception();
  }
  if (end == End::kDone) {
    const std::lock_guard lock(mutex_);
    idle_.push_back(lane);
  }
  if (failure) std::rethrow_exception(failure);
  return end;
}

}  // namespace orvan::machine
