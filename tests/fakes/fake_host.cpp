#include "tests/fakes/fake_host.h"

#include <algorithm>
#include <thread>

#include "boundary/hostlayer.h"
#include "system/win_string_handler_imp.h"

namespace {

std::unique_ptr<FakeHost>& Current() {
  static std::unique_ptr<FakeHost> host = std::make_unique<FakeHost>();
  return host;
}

// Asked for once per process, so it outlives each host and passes on to the current one.
class LastingSystemEvents : public HostSystemEvents {
 public:
  void RegisterHandler(HostSystemEventHandler handler, std::uint32_t message,
                       std::uint32_t parameter) override {
    TheFakeHost().events.RegisterHandler(handler, message, parameter);
  }
};

void Note(const char* entry) {
  FakeHost& host = TheFakeHost();
  const std::lock_guard guard(host.callsLock);
  host.calls.emplace_back(entry);
}

}  // namespace

FakeHost& TheFakeHost() {
  return *Current();
}

void ResetFakeHost() {
  Current() = std::make_unique<FakeHost>();
}

void FakeSignalHandler::SetHandler(HostSignalCallback function) {
  if (std::find(handlers.begin(), handlers.end(), function) == handlers.end()) {
    handlers.push_back(function);
  }
}

void FakeSignalHandler::RemoveHandler(HostSignalCallback function) {
  removed += static_cast<int>(std::erase(handlers, function));
}

std::vector<bool> FakeSignalHandler::Fire(int signal, std::uintptr_t first, std::uintptr_t second) {
  std::vector<bool> answers;
  std::thread([&] {
    for (HostSignalCallback handler : handlers) answers.push_back(handler(signal, first, second));
  }).join();
  return answers;
}

void FakeSystemEvents::RegisterHandler(HostSystemEventHandler handler, std::uint32_t message,
                                       std::uint32_t parameter) {
  const auto same = [=](const Row& row) {
    return row.message == message && row.parameter == parameter;
  };
  std::erase_if(rows, same);
  rows.push_back({message, parameter, handler});
}

bool FakeSystemEvents::Fire(std::uint32_t message, std::uint32_t parameter,
                            std::intptr_t* result) const {
  for (const Row& row : rows) {
    if (row.message != message || row.parameter != parameter) continue;
    row.handler(result);
    return true;
  }
  return false;
}

HostModuleHandle FakeModuleLoader::Load(const std::string& path, int /*reserved*/) {
  loads.push_back(path);
  const auto found = libraries.find(path);
  return found == libraries.end() ? nullptr : &found->second;
}

HostModuleFunction FakeModuleLoader::GetSymbol(HostModuleHandle handle, const std::string& name) {
  const auto& functions = *static_cast<std::map<std::string, HostModuleFunction>*>(handle);
  const auto found = functions.find(name);
  return found == functions.end() ? nullptr : found->second;
}

void FakeModuleLoader::Unload(HostModuleHandle /*handle*/) {
  ++unloads;
}

int FakeCim::WriteRecord(const std::vector<std::string>& keys,
                         const std::vector<std::string>& values, const std::string& className,
                         const std::wstring& nameSpace) {
  records.push_back({keys, values, className, nameSpace});
  return writeResult;
}

int FakeCim::RemoveNamespace(const std::string& root, const std::string& parent,
                             const std::string& name) {
  removals.push_back(root + "\\" + parent + "\\" + name);
  return removeResult;
}

bool FakeAppMutex::IsAlreadyRunning() {
  ++asked;
  askedAt = TheFakeHost().timer.Now();
  return alreadyRunning;
}

// The 18 entries.

StringHandler* get_string_handler() {
  return &WinStringHandlerImp::Instance();
}

HostTimeHandler* get_time_handler() {
  return &TheFakeHost().times;
}

HostNumberHandler* get_number_handler() {
  return &TheFakeHost().numbers;
}

HostSignalHandler* get_signal_handler() {
  Note("get_signal_handler");
  return &TheFakeHost().signals;
}

Filesystem* get_filesystem() {
  return &TheFakeHost().filesystem;
}

Timer* get_timer() {
  return &TheFakeHost().timer;
}

HostThread* get_thread() {
  return &TheFakeHost().threads;
}

HostModule* get_module() {
  Note("get_module");
  return &TheFakeHost().loader;
}

HostCim* get_cim() {
  return &TheFakeHost().cim;
}

HostConsole* get_console() {
  Note("get_console");
  FakeHost& host = TheFakeHost();
  ++host.consoleUses;
  return host.consoleMissing ? nullptr : &host.console;
}

void release_console_instance(HostConsole* /*console*/) {
  ++TheFakeHost().consoleReleases;
}

HostSemaphore* GetNewSemaphore() {
  FakeHost& host = TheFakeHost();
  const std::lock_guard guard(host.semaphoresLock);
  host.semaphores.push_back(std::make_unique<FakeSemaphore>());
  return host.semaphores.back().get();
}

void ReleaseSemaphoreInstance(HostSemaphore* semaphore) {
  FakeHost& host = TheFakeHost();
  const std::lock_guard guard(host.semaphoresLock);
  host.semaphores.remove_if([semaphore](const auto& one) { return one.get() == semaphore; });
  ++host.semaphoreReleases;
}

HostSystemEvents* GetSystemEvents() {
  static LastingSystemEvents events;
  Note("GetSystemEvents");
  ++TheFakeHost().eventsAsked;
  return &events;
}

HostAppMutex* get_app_mutex() {
  Note("get_app_mutex");
  FakeHost& host = TheFakeHost();
  return host.appMutexMissing ? nullptr : &host.appMutex;
}

void release_app_mutex(HostAppMutex* /*mutex*/) {
  ++TheFakeHost().appMutexReleases;
}

HostUserAccount* CreatUserAccountInstance() {
  Note("CreatUserAccountInstance");
  FakeHost& host = TheFakeHost();
  return host.accountMissing ? nullptr : &host.account;
}

void ReleaseUserAccountInstance(HostUserAccount* /*account*/) {
  ++TheFakeHost().accountReleases;
}
