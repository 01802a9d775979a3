#pragma once

#include <pthread.h>

#include <functional>
#include <memory>

namespace tarvex {

// A thread that waits for something to happen outside and calls into the program. Its body gets a
// descriptor that becomes readable when it is to return.
//
// The end never waits long: a body that is inside a callback which holds it up is left behind to
// end with the process. So a body must own, or share, everything that it touches.
class LayerThread {
 public:
  using Body = std::function<void(int stopDescriptor)>;

  // Null when the system has no thread or descriptor left. `name` as for NameThisThread.
  static std::unique_ptr<LayerThread> Start(const char* name, Body body);
  ~LayerThread();
  LayerThread(const LayerThread&) = delete;
  LayerThread& operator=(const LayerThread&) = delete;

  // The caller runs on this thread.
  bool IsCurrent() const { return ::pthread_equal(thread_, ::pthread_self()) != 0; }

 private:
  struct Shared;

  explicit LayerThread(std::shared_ptr<Shared> shared) : shared_(std::move(shared)) {}
  static void* Run(void* argument);

  std::shared_ptr<Shared> shared_;
  pthread_t thread_{};
};

}  // namespace tarvex
