#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "os/descriptor.h"

namespace tarvex {

// States of a process as /proc tells them.
// Source: proc(5), /proc/pid/stat, field 3.
inline constexpr char kInKernel = 'D';  // uninterruptible
inline constexpr char kZombie = 'Z';    // ended, or its first thread alone has
inline constexpr char kDead = 'X';
inline constexpr char kUnknownState = '?';

// How a process ended.
struct ProcessEnd {
  int status = 0;  // what it exited with
  int signal = 0;  // not 0: the signal that ended it
  // False: the system kept nothing of how, as where the caller has SIGCHLD ignored.
  bool isKnown = true;
  bool operator==(const ProcessEnd&) const = default;
};

// A program that was started, the leader of a session and of a group of its own. It goes on when
// this is destroyed. One thread at a time.
class ChildProcess {
 public:
  ChildProcess() = default;
  // Starts `program` with an empty environment, default signals, /dev/null as its standard streams
  // and one more descriptor, kPassedDescriptor, which is `passed`. 0, or an errno.
  //
  // Where the program asks for a signal at its parent's death, the calling thread is that parent.
  static int Start(const std::string& program, const Descriptor& passed, ChildProcess& child);
  static constexpr int kPassedDescriptor = 3;

  bool IsThere() const { return pid_ > 0; }
  pid_t Id() const { return pid_; }
  // Can be read, as poll(2) sees it, once the process has ended.
  int Handle() const { return handle_.Get(); }
  // What its first thread does at the moment; kUnknownState when it cannot be told.
  char State() const;
  // Kills it and all of its group; never waits. One that hangs in the kernel ends later.
  void Kill() const;
  // It has ended, with all its threads, and nobody has taken its end.
  bool HasEnded() const;
  // How it ended, when it has; from then on nothing is there any more, and what was left of its
  // group is killed.
  std::optional<ProcessEnd> TakeEnd();

 private:
  enum class Look { kThere, kEnded, kUnknown };
  Look LookForEnd(int flags, ProcessEnd& end) const;

  pid_t pid_ = -1;
  Descriptor handle_;
};

}  // namespace tarvex
