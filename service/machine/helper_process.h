#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "os/descriptor.h"

namespace orvan::machine {

// States of a process as /proc tells them.
// Source: proc(5), /proc/pid/stat, field 3.
inline constexpr char kInKernel = 'D';  // uninterruptible
inline constexpr char kSleeping = 'S';
inline constexpr char kUnknown = '?';
char ProcessState(pid_t pid);

// A running helper program and the packet socket to it. One thread.
//
// The helper gets the socket as its standard input, /dev/null as output, no other descriptor, an
// empty environment, default signals, and a session of its own, so that no key of the terminal
// reaches it. It ends when the socket closes, so none survives its owner.
class HelperProcess {
 public:
  // Null when it cannot be started; `error` is the errno.
  static std::unique_ptr<HelperProcess> Start(const std::string& program, int& error);
  // Kills the helper and takes at most 100 ms: one that hangs in the kernel is left to end by
  // itself and is reaped by a later end of another helper.
  ~HelperProcess();
  HelperProcess(const HelperProcess&) = delete;
  HelperProcess& operator=(const HelperProcess&) = delete;

  // False when the helper is gone or takes no message; never blocks.
  bool Send(const void* message, std::size_t size);

  enum class Receipt { kMessage, kNothing, kClosed };
  // Waits up to `wait` for one message of at most `capacity` bytes; a longer one counts as kClosed.
  Receipt Receive(void* message, std::size_t capacity, std::size_t& size,
                  std::chrono::milliseconds wait);

  pid_t Id() const { return pid_; }
  // What the helper does at the moment; kUnknown when it cannot be told.
  char State() const { return ProcessState(pid_); }

 private:
  HelperProcess(tarvex::Descriptor socket, pid_t pid) : socket_(std::move(socket)), pid_(pid) {}
  tarvex::Descriptor socket_;
  pid_t pid_;
};

}  // namespace orvan::machine
