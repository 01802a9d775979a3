#pragma once

#include <atomic>
#include <memory>

#include "boundary/hostlayer_thread.h"
#include "os/input_peek.h"

// What a supervising program says on standard input: single bytes, taken by a thread of its own, or
// by each IsAbort where the system has no thread for it. Process-wide. LastByte may be asked on any
// thread; the rest is the main thread's.
class SupervisorInput {
 public:
  // What LastByte gives before a byte has come.
  static constexpr unsigned char kNoByte = 255;

  // The one record, made by the first call. Starts the reader unless it runs, and waits until it
  // has taken what was said before.
  static SupervisorInput& Get();

  SupervisorInput(const SupervisorInput&) = delete;
  SupervisorInput& operator=(const SupervisorInput&) = delete;

  // Ends the reader and waits for its end. Nothing when it doesn't run.
  void Stop();
  unsigned char LastByte() const { return lastByte_; }
  // The last byte is the abort command.
  bool IsAbort();

 private:
  SupervisorInput() = default;
  void Start();
  void Read();
  void Look();
  bool Keep(const unsigned char* bytes, int count);

  std::unique_ptr<tarvex::InputPeek> peek_;  // the reader's while it runs
  std::atomic<unsigned char> lastByte_{kNoByte};
  std::atomic<bool> running{false};     // there may be more to read
  std::atomic<bool> hasLooked_{false};  // the reader's first look is over
  HostThreadHandle reader_ = nullptr;   // main thread
};
