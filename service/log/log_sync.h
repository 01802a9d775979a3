#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <utility>

namespace orvan::log {

// Brings a log to the disk on a thread of its own, so that a run never waits long for a disk that
// is slow, busy with a test, or dead. The one place in which the log is synchronized. Any
// thread.
class LogSync {
 public:
  struct Pace {
    // A request that comes sooner after the one before waits for nothing, and is done together with
    // others that come meanwhile.
    std::chrono::milliseconds burst{100};
    // The longest that anybody waits.
    std::chrono::milliseconds patience{100};
  };

  // `sync` returns when all that was written before its call is on the disk. It may outlive this
  // object when it hangs. Starts the thread; without one, nothing is ever synchronized.
  explicit LogSync(std::function<void()> sync) : LogSync(std::move(sync), Pace()) {}
  LogSync(std::function<void()> sync, Pace pace);
  // Brings the last lines to the disk, and leaves the thread behind when that takes too long.
  ~LogSync();
  LogSync(const LogSync&) = delete;
  LogSync& operator=(const LogSync&) = delete;

  // For the line that must outlive a crash of the machine. Waits for it, up to the patience, when
  // the last such request is no burst and no sync hangs; else it is done after the pace's burst and
  // the time that one sync takes. True when the line is known to be on the disk.
  bool SyncNow();
  // After the burst and the time that one sync takes. Waits for nothing.
  void SyncSoon();

 private:
  struct Shared;
  std::shared_ptr<Shared> shared_;
};

}  // namespace orvan::log
