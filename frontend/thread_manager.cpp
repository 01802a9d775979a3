#include "frontend/thread_manager.h"

#include <mutex>

#include "boundary/hostlayer.h"
#include "boundary/orvan_service.h"
#include "frontend/thread_completion.h"

namespace {

constexpr std::uintptr_t kEndedWithoutService = 2;
constexpr std::size_t kScanParam = 0;
constexpr std::size_t kRunParam = 3;

std::unique_ptr<ThreadManager>& TheManager() {
  static std::unique_ptr<ThreadManager> manager;
  return manager;
}

template <typename Pointer>
std::uintptr_t ToWord(Pointer* pointer) {
  return reinterpret_cast<std::uintptr_t>(pointer);
}

template <typename Type>
Type* FromWord(std::uintptr_t word) {
  return reinterpret_cast<Type*>(word);  // NOLINT(performance-no-int-to-ptr): argument words
}

}  // namespace

ThreadManager& ThreadManager::Instance() {
  if (TheManager() == nullptr) TheManager() = std::make_unique<ThreadManager>();
  return *TheManager();
}

void ThreadManager::Destroy() {
  TheManager().reset();
}

ThreadManager::ThreadManager() {
  for (auto& param : params_) param = std::make_shared<ThreadParam>();
  HostThread* threads = get_thread();
  startError_ = threads->Start(&thread_, 0, &ThreadManager::ThreadMain, this, "ThreadManager");
  if (startError_ == 0) {
    threads->AfterStart(thread_, 0);
  } else {
    state_ = State::kTaken;  // Service answers null instead of waiting
  }
}

OrvanService* ThreadManager::Service() {
  if (CurrentState() == State::kStarting) ready_.Wait();
  return service_;
}

std::vector<DiagModule*>* ThreadManager::Modules() {
  return modules_;
}

ThreadManager::State ThreadManager::CurrentState() {
  const std::lock_guard holder(lock_);
  return state_;
}

void ThreadManager::SetTarget(DiagModule* module) {
  target_ = module;
}

void ThreadManager::Ask(State state) {
  {
    const std::lock_guard holder(lock_);
    state_ = state;
  }
  asked_.Post();
}

void ThreadManager::StartScan(ThreadCompletion* completion) {
  completion->Clear();
  completion_ = completion;
  Ask(State::kScanAsked);
}

void ThreadManager::StartRun(DiagModule* module, DiagDevice* device,
                             const std::vector<DiagnosticRunItem>& plan) {
  target_ = module;
  device_ = device;
  plan_ = &plan;
  Ask(State::kRunAsked);
}

void ThreadManager::BeginFinalResult(std::int64_t groupId, const CallerInfo& caller) {
  service_->BeginFinalResult(groupId, caller);
}

void ThreadManager::GetFinalResultCode(std::string& text, int size) {
  service_->GetFinalResultCode(text, size);
}

void ThreadManager::Stop() {
  Ask(State::kStopAsked);
  get_thread()->Join(thread_);
  thread_ = nullptr;
}

ThreadManager::State ThreadManager::TakeRequest() {
  const std::lock_guard holder(lock_);
  const State state = state_;
  if (state == State::kScanAsked || state == State::kRunAsked) state_ = State::kTaken;
  return state;
}

std::uintptr_t ThreadManager::ThreadMain(void* self) {
  return static_cast<ThreadManager*>(self)->Serve();
}

std::uintptr_t ThreadManager::Serve() {
  service_ = GetOrvanServiceInstance();
  if (service_ == nullptr) return kEndedWithoutService;
  modules_ = service_->LoadModules(0);
  {
    const std::lock_guard holder(lock_);
    if (state_ == State::kStarting) state_ = State::kTaken;
  }
  ready_.Post();
  for (;;) {
    switch (TakeRequest()) {
      case State::kStopAsked:
        ReleaseOrvanServiceInstance();
        service_ = nullptr;
        return 0;
      case State::kScanAsked:
        Scan();
        break;
      case State::kRunAsked:
        Run();
        break;
      default:
        asked_.Wait();
    }
  }
}

void ThreadManager::Scan() {
  ThreadParam& param = *params_[kScanParam];
  param.arguments->clear();
  param.arguments->push_back(ToWord(completion_));
  auto* completion = FromWord<ThreadCompletion>(param.arguments->front());
  if (target_ != nullptr) target_->ScanDevices();
  if (completion != nullptr) completion->Finish(0);
}

void ThreadManager::Run() {
  ThreadParam& param = *params_[kRunParam];
  *param.arguments = {ToWord(target_), ToWord(device_), ToWord(plan_)};
  const auto& words = *param.arguments;
  service_->ExecuteDiagnostics(FromWord<DiagModule>(words[0]), FromWord<DiagDevice>(words[1]),
                               *FromWord<const std::vector<DiagnosticRunItem>>(words[2]));
}
