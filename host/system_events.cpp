#include "host/system_events.h"

#include <stdlib.h>
#include <unistd.h>

#include <map>
#include <utility>

#include "host/login_watch.h"

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

SystemEvents::SystemEvents(std::string busSocket)
    : busSocket_(std::move(busSocket)), table_(std::make_shared<HandlerTable>()) {}

SystemEvents::~SystemEvents() = default;

void SystemEvents::RegisterHandler(HostSystemEventHandler handler, std::uint32_t message,
                                   std::uint32_t parameter) {
  {
    const std::lock_guard lock(table_->mutex);
    table_->handlers[message][parameter] = handler;
  }
  std::call_once(started_, [this] {
    if (!HasSystemBus(busSocket_)) return;
    thread_ = LayerThread::Start("host-events", [table = table_, socket = busSocket_](int stop) {
      WatchLogin(stop, socket, [&table](std::uint32_t message, std::uint32_t parameter) {
        table->Deliver(message, parameter);
      });
    });
  });
}

}  // namespace tarvex
