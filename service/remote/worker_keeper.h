#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "os/child_process.h"
#include "os/descriptor.h"
#include "os/wake_event.h"

namespace orvan::remote {

// Starts workers and buries them, on a thread of its own: a worker ends with the thread that has
// started it, so that thread must outlive them all; and one that hangs in the kernel ends whenever
// it likes, which nobody else may wait for. Any thread.
class WorkerKeeper {
 public:
  // Nothing is started, not even the thread, before there is something to do.
  explicit WorkerKeeper(std::string program) : program_(std::move(program)) {}
  // Never waits for a worker. All of them were handed back before.
  ~WorkerKeeper();
  WorkerKeeper(const WorkerKeeper&) = delete;
  WorkerKeeper& operator=(const WorkerKeeper&) = delete;

  // Starts a worker that gets `passed` (os/child_process.h). 0, or an errno.
  int Start(const tarvex::Descriptor& passed, tarvex::ChildProcess& worker);
  // Kills a worker, unless it has ended, and sees to the rest.
  void Bury(tarvex::ChildProcess worker) noexcept;

 private:
  struct Request {
    const tarvex::Descriptor& passed;
    tarvex::ChildProcess& worker;
    int error = 0;
    bool isDone = false;
  };

  void Keep();
  void EnsureThread();                  // under mutex_
  std::vector<int> AwaitedAndReaped();  // under mutex_

  const std::string program_;
  const tarvex::WakeEvent changed_;
  std::mutex mutex_;  // guards all below
  std::condition_variable done_;
  Request* request_ = nullptr;
  std::vector<tarvex::ChildProcess> buried_;  // killed, and not known to have ended
  bool isOver_ = false;
  std::thread thread_;
};

}  // namespace orvan::remote
