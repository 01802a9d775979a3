#pragma once

#include <pthread.h>

#include <memory>

namespace tarvex {

// A stack for signal handlers of one thread, so that a thread whose own stack overflowed can
// still put the terminal back. Installs itself on the calling thread unless that has one already;
// must end on the same thread.
class AlternateStack {
 public:
  AlternateStack();
  ~AlternateStack();
  AlternateStack(const AlternateStack&) = delete;
  AlternateStack& operator=(const AlternateStack&) = delete;

 private:
  std::unique_ptr<char[]> memory_;
};

// Starts a thread of the layer: it takes no signal but those that a fault of its own raises, so
// that signal handlers run elsewhere. 0, or an errno value.
int StartThread(pthread_t* thread, void* (*function)(void*), void* argument);

// Names the calling thread, cut to the 15 bytes that the system keeps. A null name is no name.
void NameThisThread(const char* name);

}  // namespace tarvex
