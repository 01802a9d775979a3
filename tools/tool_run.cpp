#include "tools/tool_run.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>

#include "boundary/hostlayer.h"
#include "boundary/hostlayer_console.h"
#include "boundary/hostlayer_thread.h"
#include "boundary/orvan_service.h"
#include "tools/forced_abort.h"
#include "tools/tool_cadence.h"
#include "tools/tool_keyboard.h"

namespace {

// The thread inside the service's call. Construction throws ToolThreadError where none can be had.
class Worker {
 public:
  explicit Worker(const ToolRunRequest& request) : request_(request) {
    HostThread* threads = get_thread();
    const int error = threads->Start(&thread_, 0, &Worker::ThreadMain, this, "ToolWorker");
    if (error != 0) throw ToolThreadError(error, std::generic_category(), "cannot start a thread");
    threads->AfterStart(thread_, 0);
  }
  ~Worker() {
    if (IsRunning()) request_.target.service->AbortTool(request_.target.tool);
    get_thread()->Join(thread_);
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  bool IsRunning() const { return workerRunning; }
  // Waits for the thread's end and throws what ended the call. Once.
  void Finish() {
    get_thread()->Join(thread_);
    thread_ = nullptr;
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  static std::uintptr_t ThreadMain(void* self) {
    static_cast<Worker*>(self)->Run();
    return 0;
  }
  void Run() {
    const ToolTarget& target = request_.target;
    try {
      target.service->RunTool(target.tool, request_.listener, request_.devices);
    } catch (...) {
      failure_ = std::current_exception();
    }
    workerRunning = false;
    request_.queue.NotifyChange();
  }

  const ToolRunRequest& request_;
  // Cleared by the thread behind its last event. Set before the thread starts, so that a tool which
  // ends at once is not taken for one that has not begun.
  std::atomic<bool> workerRunning{true};
  std::exception_ptr failure_;  // written by the thread; read after Join
  HostThreadHandle thread_ = nullptr;
};

void AbortOnEscape(const ToolRunRequest& request) {
  if (request.keyboard.ReadKey() == kKeyEscape) {
    request.target.service->AbortTool(request.target.tool);
  }
}

// The look at keyboard and clock, at its pace.
class QuietMoment {
 public:
  explicit QuietMoment(const ToolRunRequest& request)
      : request_(request), pace_(*request.context.timer) {}

  // How long nothing is due.
  std::chrono::milliseconds Left() const { return pace_.Left(); }
  void Use() {
    if (!ForcedAbort::IsUnderWay()) AbortOnEscape(request_);
    const ToolEventContext& context = request_.context;
    if (context.deviceActive) request_.showProgress(context.DeviceSeconds());
    pace_.Restart();
  }

 private:
  const ToolRunRequest& request_;
  tarvex::ToolPace pace_;
};

}  // namespace

void tarvex::RunTool(const ToolRunRequest& request) {
  QuietMoment moment(request);
  request.target.tool->SetToolProperty(kToolPropertyForcedAbort, {});
  Worker worker(request);
  request.context.deviceActive = false;
  // A device that ends without having begun took no longer than the run.
  request.context.deviceStart = request.context.timer->Now();
  if (request.keyBeforeLoop) AbortOnEscape(request);
  const auto somethingToDo = [&](bool isEmpty) { return !isEmpty || !worker.IsRunning(); };
  for (;;) {
    // Asked first: what the tool told before its end is in the queue by then.
    const bool running = worker.IsRunning();
    if (const auto event = request.queue.Take()) {
      event->apply(request.context);
      continue;
    }
    if (!running) break;
    if (moment.Left().count() == 0) moment.Use();
    // The tool may be silent for long, and the header tells how to stop it.
    request.console.flush();
    request.queue.WaitForChange(moment.Left(), somethingToDo);
  }
  worker.Finish();
}
