#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "boundary/hostlayer_system_events.h"
#include "host/layer_thread.h"
#include "os/system_bus.h"

namespace tarvex {

// Delivers events of the login manager to the registered handlers, on one thread that the first
// registration starts where there is a system bus. A handler that does not return holds up the
// events after it, and a shutdown.
class SystemEvents final : public HostSystemEvents {
 public:
  explicit SystemEvents(std::string busSocket = kSystemBusSocket);
  ~SystemEvents();
  // A null handler takes the pair out.
  void RegisterHandler(HostSystemEventHandler handler, std::uint32_t message,
                       std::uint32_t parameter) override;

 private:
  struct HandlerTable;

  const std::string busSocket_;
  const std::shared_ptr<HandlerTable> table_;
  std::once_flag started_;
  std::unique_ptr<LayerThread> thread_;  // written once, by the call that started_ lets through
};

}  // namespace tarvex
