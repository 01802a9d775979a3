#include <memory>
#include <string>

#include "boundary/hostlayer.h"
#include "host/app_mutex.h"
#include "host/console.h"
#include "host/module_loader.h"
#include "host/number_handler.h"
#include "host/records/record_store.h"
#include "host/semaphore.h"
#include "host/signal_handler.h"
#include "host/system_events.h"
#include "host/thread.h"
#include "host/time_handler.h"
#include "host/user_account.h"
#include "system/filesystem/win_filesystem.h"
#include "system/folders.h"
#include "system/standard_error.h"
#include "system/win_string_handler_imp.h"
#include "system/win_timer.h"

namespace {

template <typename Type>
Type* Process() {
  static Type object;
  return &object;
}

}  // namespace

StringHandler* get_string_handler() {
  return &WinStringHandlerImp::Instance();
}
HostTimeHandler* get_time_handler() {
  return Process<tarvex::TimeHandler>();
}
HostNumberHandler* get_number_handler() {
  return Process<tarvex::NumberHandler>();
}
HostSignalHandler* get_signal_handler() {
  return Process<tarvex::SignalHandler>();
}
Filesystem* get_filesystem() {
  return &WinFilesystem::Instance();
}
Timer* get_timer() {
  return &WinTimer::Instance();
}
HostThread* get_thread() {
  return Process<tarvex::Thread>();
}
HostModule* get_module() {
  return Process<tarvex::ModuleLoader>();
}
HostCim* get_cim() {
  static tarvex::RecordStore store(tarvex::StateFolder());
  return &store;
}
HostSystemEvents* GetSystemEvents() {
  return Process<tarvex::SystemEvents>();
}

HostConsole* get_console() {
  return new tarvex::Console;
}
void release_console_instance(HostConsole* console) {
  tarvex::Console::Release(console);
}

HostSemaphore* GetNewSemaphore() {
  return new tarvex::Semaphore;
}
void ReleaseSemaphoreInstance(HostSemaphore* semaphore) {
  delete semaphore;
}

HostAppMutex* get_app_mutex() {
  std::string fault;
  std::unique_ptr<tarvex::AppMutex> mutex = tarvex::AppMutex::Open(tarvex::RunFolder(), &fault);
  if (mutex == nullptr) {
    tarvex::TellOnStandardError("cannot use the run folder " + tarvex::RunFolder() + ": " + fault);
  }
  return mutex.release();
}
void release_app_mutex(HostAppMutex* mutex) {
  delete mutex;
}

HostUserAccount* CreatUserAccountInstance() {
  return new tarvex::UserAccount;
}
void ReleaseUserAccountInstance(HostUserAccount* account) {
  delete account;
}
