#include "host/thread.h"

#include <cerrno>
#include <memory>
#include <string>

#include "host/thread_start.h"

struct HostThreadState {
  pthread_t thread{};
  HostThreadFunction function = nullptr;
  void* argument = nullptr;
  std::string name;
};

namespace tarvex {
namespace {

void* RunThread(void* argument) {
  const auto* state = static_cast<const HostThreadState*>(argument);
  NameThisThread(state->name.c_str());
  const AlternateStack stack;
  state->function(state->argument);
  return nullptr;
}

}  // namespace

int Thread::Start(HostThreadHandle* handle, int /*reserved*/, HostThreadFunction function,
                  void* argument, const char* name) {
  if (handle == nullptr) return EINVAL;
  *handle = nullptr;
  if (function == nullptr) return EINVAL;
  auto state = std::make_unique<HostThreadState>();
  state->function = function;
  state->argument = argument;
  state->name = name == nullptr ? "" : name;
  // Filled before the thread starts, since the thread may look at what the caller keeps it in.
  *handle = state.get();
  const int result = StartThread(&state->thread, RunThread, state.get());
  if (result != 0) {
    *handle = nullptr;
    return result;
  }
  static_cast<void>(state.release());
  return 0;
}

void Thread::Join(HostThreadHandle handle) {
  if (handle == nullptr) return;
  const std::unique_ptr<HostThreadState> state(handle);
  ::pthread_join(state->thread, nullptr);
}

void Thread::AfterStart(HostThreadHandle /*handle*/, int /*reserved*/) {}

}  // namespace tarvex
