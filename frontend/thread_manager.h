#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "boundary/hostlayer_thread.h"
#include "boundary/orvan_service_plan.h"
#include "system/owned_semaphore.h"

class DiagDevice;
class DiagModule;
class OrvanService;
class ThreadCompletion;

// The argument words of one request to the service thread.
struct ThreadParam {
  std::uintptr_t reserved = 0;
  std::unique_ptr<std::vector<std::uintptr_t>> arguments =
      std::make_unique<std::vector<std::uintptr_t>>();
};

// Owns the service and the one thread that makes its long calls. All operations are for the main
// thread. One request is under way at a time: the caller waits for its end (the completion of a
// scan, the listeners of a run) before it makes the next.
class ThreadManager {
 public:
  // The process-wide manager; the first call makes it and starts its thread "ThreadManager".
  static ThreadManager& Instance();
  // Frees it; after Stop.
  static void Destroy();

  ThreadManager();
  ThreadManager(const ThreadManager&) = delete;
  ThreadManager& operator=(const ThreadManager&) = delete;

  // Why the thread could not be started, an errno value; 0 when it was.
  int StartError() const { return startError_; }
  // The service, waiting until the thread has got it and its modules. Without a service it never
  // returns; without a thread it answers null.
  OrvanService* Service();
  // What LoadModules returned; null when nothing could be loaded. Valid after Service.
  std::vector<DiagModule*>* Modules();
  // The module of the next scan.
  void SetTarget(DiagModule* module);
  // Clears the completion and gives the thread a scan of the target.
  void StartScan(ThreadCompletion* completion);
  // Gives the thread a run; its end is seen through the listeners.
  void StartRun(DiagModule* module, DiagDevice* device, const std::vector<DiagnosticRunItem>& plan);
  // Straight to the service, on the calling thread. BeginFinalResult may throw InvalidAppKey.
  void BeginFinalResult(std::int64_t groupId, const CallerInfo& caller);
  void GetFinalResultCode(std::string& text, int size);
  // Tells the thread to release the service and to end, and waits for it.
  void Stop();

 private:
  enum class State : std::uint32_t {
    kScanAsked = 0,
    kRunAsked = 1,
    kTaken = 2,  // busy or idle
    kStopAsked = 3,
    kStarting = 4,
  };

  static std::uintptr_t ThreadMain(void* self);
  std::uintptr_t Serve();
  void Scan();
  void Run();
  State CurrentState();
  State TakeRequest();
  void Ask(State state);

  // Guards state_. What belongs to a request is written before its state is set, and not again
  // until the request is over; the service and its modules are written before the state is no
  // longer kStarting. So they are read without the lock.
  tarvex::OwnedSemaphore lock_{1, 1};
  tarvex::OwnedSemaphore ready_{0, 1};  // given once, when the service and its modules are there
  tarvex::OwnedSemaphore asked_{0, 1};  // given with each request; the idle thread sleeps on it
  State state_ = State::kStarting;
  DiagModule* target_ = nullptr;
  DiagDevice* device_ = nullptr;
  const std::vector<DiagnosticRunItem>* plan_ = nullptr;
  ThreadCompletion* completion_ = nullptr;
  OrvanService* service_ = nullptr;
  std::vector<DiagModule*>* modules_ = nullptr;
  // The first carries a scan, the fourth a run; the two between have no use.
  std::array<std::shared_ptr<ThreadParam>, 4> params_;
  HostThreadHandle thread_ = nullptr;
  int startError_ = 0;  // complete with the constructor
};
