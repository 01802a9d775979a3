#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "boundary/hostlayer_signal_handler.h"
#include "host/layer_thread.h"
#include "host/termination_deadline.h"

namespace tarvex {

// Calls the functions for each termination request, in the order in which they were set, on one
// thread that the first SetHandler starts. While no function is set a request ends the process. So
// does one that the functions took and that nothing honoured within the patience; until then a
// further request changes nothing in that.
class SignalHandler final : public HostSignalHandler {
 public:
  static constexpr std::chrono::seconds kPatience{10};

  explicit SignalHandler(std::chrono::milliseconds patience = kPatience)
      : shared_(std::make_shared<Shared>(patience)) {}
  ~SignalHandler() override;
  void SetHandler(HostSignalCallback function) override;
  // Called by a function that runs on the layer's thread it does not wait.
  void RemoveHandler(HostSignalCallback function) override;

 private:
  struct Shared {
    explicit Shared(std::chrono::milliseconds patience) : deadline(patience) {}

    TerminationDeadline deadline;  // the layer's thread alone
    std::mutex mutex;
    std::condition_variable finished;
    std::vector<HostSignalCallback> functions;  // guarded by mutex
    HostSignalCallback running = nullptr;       // guarded by mutex
  };

  static void Serve(Shared& shared, int stop);
  static void Dispatch(Shared& shared, int signal);
  bool StartOnce();

  const std::shared_ptr<Shared> shared_;
  std::unique_ptr<LayerThread> thread_;  // guarded by shared_->mutex
};

}  // namespace tarvex
