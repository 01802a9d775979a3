#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "boundary/hostlayer_app_mutex.h"
#include "boundary/hostlayer_cim.h"
#include "boundary/hostlayer_module.h"
#include "boundary/hostlayer_number_handler.h"
#include "boundary/hostlayer_signal_handler.h"
#include "boundary/hostlayer_system_events.h"
#include "boundary/hostlayer_time_handler.h"
#include "boundary/hostlayer_user_account.h"
#include "system/filesystem/win_filesystem.h"
#include "tests/fakes/fake_host_devices.h"
#include "tests/fakes/fake_host_threads.h"

// A host layer for tests that link it instead of the real one. It touches nothing of the machine:
// keys, time, rights, the other instance and the records are what the test says. Semaphores and
// threads are real. Unless an object says otherwise it is for the main thread.

class FakeSignalHandler : public HostSignalHandler {
 public:
  void SetHandler(HostSignalCallback function) override;
  void RemoveHandler(HostSignalCallback function) override;
  // Calls the handlers on a thread of their own and waits for them; what they returned.
  std::vector<bool> Fire(int signal, std::uintptr_t first = 0, std::uintptr_t second = 0);

  std::vector<HostSignalCallback> handlers;
  int removed = 0;
};

class FakeSystemEvents : public HostSystemEvents {
 public:
  struct Row {
    std::uint32_t message;
    std::uint32_t parameter;
    HostSystemEventHandler handler;
    bool operator==(const Row&) const = default;
  };
  void RegisterHandler(HostSystemEventHandler handler, std::uint32_t message,
                       std::uint32_t parameter) override;
  // Calls the handler of the pair on the calling thread; false when there is none. `result` may
  // be null and is passed on as it is.
  bool Fire(std::uint32_t message, std::uint32_t parameter, std::intptr_t* result) const;

  std::vector<Row> rows;  // in the order of registration
};

class FakeModuleLoader : public HostModule {
 public:
  HostModuleHandle Load(const std::string& path, int reserved) override;
  HostModuleFunction GetSymbol(HostModuleHandle handle, const std::string& name) override;
  void Unload(HostModuleHandle handle) override;

  // What there is to load: functions by name, by the library's path.
  std::map<std::string, std::map<std::string, HostModuleFunction>> libraries;
  std::vector<std::string> loads;
  int unloads = 0;
};

class FakeCim : public HostCim {
 public:
  struct Record {
    std::vector<std::string> keys;
    std::vector<std::string> values;
    std::string className;
    std::wstring nameSpace;
  };
  int WriteRecord(const std::vector<std::string>& keys, const std::vector<std::string>& values,
                  const std::string& className, const std::wstring& nameSpace) override;
  int RemoveNamespace(const std::string& root, const std::string& parent,
                      const std::string& name) override;

  int writeResult = 0;
  int removeResult = 0;
  std::vector<Record> records;
  std::vector<std::string> removals;  // "root\parent\name"
};

class FakeNumberHandler : public HostNumberHandler {
 public:
  std::string NumberToString(std::int64_t value) override { return std::to_string(value); }
};

class FakeTimeHandler : public HostTimeHandler {};

class FakeAppMutex : public HostAppMutex {
 public:
  bool IsAlreadyRunning() override;

  bool alreadyRunning = false;
  int asked = 0;
  Tick askedAt = 0;  // the time of the last question
};

class FakeUserAccount : public HostUserAccount {
 public:
  bool HasPrivileges() override { return privileged; }

  bool privileged = true;
};

// The rules of the real filesystem, with the program in the folder that the test names.
class FakeFilesystem : public WinFilesystem {
 public:
  const char* GetExecutableDirectory() override {
    return programDirectory.empty() ? nullptr : programDirectory.c_str();
  }

  std::string programDirectory;
};

struct FakeHost {
  FakeConsole console;
  bool consoleMissing = false;
  int consoleUses = 0;
  int consoleReleases = 0;

  FakeTimer timer;
  FakeThreads threads;
  FakeSignalHandler signals;
  FakeSystemEvents events;
  int eventsAsked = 0;

  FakeModuleLoader loader;
  FakeCim cim;
  FakeNumberHandler numbers;
  FakeTimeHandler times;
  FakeFilesystem filesystem;

  FakeAppMutex appMutex;
  bool appMutexMissing = false;
  int appMutexReleases = 0;

  FakeUserAccount account;
  bool accountMissing = false;
  int accountReleases = 0;

  // Those that were not given back, in the order in which they were asked for.
  std::list<std::unique_ptr<FakeSemaphore>> semaphores;
  std::atomic<int> semaphoreReleases{0};
  std::mutex semaphoresLock;  // guards `semaphores`

  // The entries that were called, in order, such as "get_console". Guarded by callsLock.
  std::vector<std::string> calls;
  std::mutex callsLock;
};

// The host of the process. Its address changes with each ResetFakeHost.
FakeHost& TheFakeHost();
// Starts over with a new host. No thread of the old one may run. The system events object stays, as
// it is asked for once per process, and forgets its handlers.
void ResetFakeHost();
