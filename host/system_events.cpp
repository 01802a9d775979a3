#include "host/system_events.h"

#include <stdlib.h>
#include <unistd.h>

#include <map>

#include "host/login_watch.h"
#include "system/system_bus.h"

namespace tarvex {
struct SystemEvents::HandlerTable {
  std::mutex mutex;
  // Message, then parameter. Guarded by mutex.
  std::map<std::uint32_t, std::map<std::uint32_t, HostSystemEventHandler>> handlers;

  void Deliver(std::uint32_t message, std::uint32_t parameter);
};

void SystemEvents::HandlerTable::Deliver(std::uint32_t message, std::uint32_t parameter) {
  HostSystemEventHandler handler = nullptr;
  {
    const std::lock_guard lock(mutex);
    handler = handlers[message][parameter];
  }
  // Outside the lock: a handler may wait long, and may register.
  std::intptr_t result = 0;
  if (handler != nullptr) handler(&result);
}

SystemEvents::SystemEvents() : table_(std::make_shared<HandlerTable>()) {}

SystemEvents::~SystemEvents() = default;

void SystemEvents::RegisterHandler(HostSystemEventHandler handler, std::uint32_t message,
                                   std::uint32_t parameter) {
  {
    const std::lock_guard lock(table_->mutex);
    table_->handlers[message][parameter] = handler;
  }
  std::call_once(started_, [this] {
    if (!HasSystemBus()) return;
    thread_ = LayerThread::Start("host-events", [table = table_](int stop) {
      WatchLogin(stop, [&table](std::uint32_t message, std::uint32_t parameter) {
        table->Deliver(message, parameter);
      });
    });
  });
}

}  // namespace tarvex
