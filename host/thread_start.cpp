#include "host/thread_start.h"

#include <signal.h>

#include <string>

namespace tarvex {
namespace {

constexpr std::size_t kAlternateStackSize = 64 * 1024;
constexpr std::size_t kLongestName = 15;

sigset_t SignalsFromOutside() {
  sigset_t set;
  sigfillset(&set);
  // A blocked fault would end the process past every handler.
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS}) {
    sigdelset(&set, fault);
  }
  return set;
}

}  // namespace

AlternateStack::AlternateStack() {
  stack_t current{};
  if (::sigaltstack(nullptr, &current) != 0 || (current.ss_flags & SS_DISABLE) == 0) return;
  // Not cleared: pages that no handler uses are never touched.
  memory_.reset(new char[kAlternateStackSize]);
  stack_t stack{};
  stack.ss_sp = memory_.get();
  stack.ss_size = kAlternateStackSize;
  if (::sigaltstack(&stack, nullptr) != 0) memory_.reset();
}

AlternateStack::~AlternateStack() {
  if (memory_ == nullptr) return;
  stack_t none{};
  none.ss_flags = SS_DISABLE;
  ::sigaltstack(&none, nullptr);
}

int StartThread(pthread_t* thread, void* (*function)(void*), void* argument) {
  const sigset_t blocked = SignalsFromOutside();
  sigset_t before;
  // The new thread takes over the mask of the one that makes it.
  const int masked = ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
  if (masked != 0) return masked;
  const int result = ::pthread_create(thread, nullptr, function, argument);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return result;
}

void NameThisThread(const char* name) {
  if (name == nullptr) return;
  ::pthread_setname_np(::pthread_self(), std::string(name).substr(0, kLongestName).c_str());
}

}  // namespace tarvex
