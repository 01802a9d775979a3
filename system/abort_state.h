#pragma once

#include <atomic>

// Every word that asks a run or a tool to end.
struct AbortState {
  // A termination request was passed on to the service, and holds for all that it does later.
  // Signal thread sets, main thread clears.
  std::atomic<bool> signalPassed{false};
  // The run was aborted from the keyboard or by the supervisor; spans modules. Main thread.
  bool abortRequested = false;
  // A termination request reached the tool that is there. Signal thread sets, main thread clears.
  std::atomic<bool> forcedAbort{false};
  // What IsAbortRequested of a view answers without a keyboard. Nothing sets it.
  std::atomic<bool> AbortFlag{false};
};
