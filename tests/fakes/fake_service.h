#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "boundary/orvan_service.h"
#include "boundary/orvan_service_settings.h"
#include "tests/fakes/fake_service_objects.h"

// A diagnostic service for tests that link it instead of the real one. The test builds its modules,
// and looks afterwards at what the front end asked of it. ExecuteDiagnostics plays a plan through
// the installed listeners: each test ends with its scripted status, and from AbortExecution on,
// until the plan's end, all tests end canceled.
class FakeService final : public OrvanService {
 public:
  struct Abort {
    int signal;
    std::uintptr_t first;
    std::uintptr_t second;
  };
  struct FinalResult {
    std::int64_t groupId;
    CallerInfo caller;
  };
  struct Run {
    DiagModule* module;
    DiagDevice* device;
    std::vector<DiagnosticRunItem> plan;
    std::thread::id thread;
  };

  FakeService() = default;
  FakeService(const FakeService&) = delete;
  FakeService& operator=(const FakeService&) = delete;
  ~FakeService() = default;

  std::vector<DiagModule*>* LoadModules(int reserved) override;
  void SetSuiteListener(orvan_service::SuiteListenerView* listener) override;
  void SetTestListener(orvan_service::TestListenerView* listener) override;
  void ExecuteDiagnostics(DiagModule* module, DiagDevice* device,
                          std::vector<DiagnosticRunItem> plan) override;
  void RunTool(DiagTool* tool, orvan_service::ToolListenerView* listener,
               std::vector<DiagDevice*> devices) override;
  void AbortTool(DiagTool* tool) override;
  void AbortExecution(int signal, std::uintptr_t first, std::uintptr_t second) override;
  void NotifySystemEvent(std::uint32_t bit) override;
  void ClearSystemEvents() override;
  void BeginFinalResult(std::int64_t groupId, const CallerInfo& caller) override;
  void GetFinalResultCode(std::string& text, int size) override;
  void SetLogPath(const std::string& path) override;
  void SetNoDevicesMode(bool flag) override;
  void EnableSupervisedRun() override;
  void ApplySettings(const OrvanSettings& settings) override;

  // Builder.
  FakeModule& AddModule(const std::string& displayName);

  // What the service is to do. Set before the front end calls.
  bool instanceMissing = false;
  bool modulesMissing = false;
  bool beginThrowsInvalidAppKey = false;
  int settingsThrowAt = 0;           // the n-th ApplySettings, counted from 1, throws; 0: none
  std::function<void()> onLoad;      // called by LoadModules
  std::function<void()> beforeTest;  // called before each test's start, on the service's thread
  std::string finalResultCode = "FINAL-CODE";
  std::string deviceResult = "DEVICE-CODE";

  // Every call, in order, as a text such as "SetNoDevicesMode(true)".
  std::vector<std::string> Calls();
  bool Called(const std::string& call);
  int CountCalls(const std::string& call);
  // Blocks until that call was made.
  void AwaitCall(const std::string& call);
  // Adds a call to the record. Any thread.
  void Note(const std::string& call);
  // Notes an operation that only the service thread may enter.
  void NoteThread(const std::string& operation);

  // Blocks until the run was asked to stop.
  void AwaitAbort();
  bool AbortAsked();
  // Blocks until a tool was asked to stop, in this run or before it.
  void AwaitToolAbort();

  std::vector<DiagModule*> moduleList;
  // What the calls brought. Written by the calling thread; read while no run is under way.
  std::vector<OrvanSettings> settings;
  std::vector<Run> runs;
  std::vector<FinalResult> finalResults;
  std::vector<int> finalResultSizes;
  std::vector<Abort> aborts;                                     // guarded by lock
  std::vector<std::pair<std::string, std::thread::id>> threads;  // guarded by lock

  std::mutex lock;
  orvan_service::SuiteListenerView* suiteListener = nullptr;
  orvan_service::TestListenerView* testListener = nullptr;

 private:
  void PlayDiagnostic(DiagDevice* device, const DiagnosticRunItem& item);
  TestStatus PlayTest(DiagDevice* device, DiagDiagnostic* diagnostic, DiagTest* test);

  std::vector<std::unique_ptr<FakeModule>> modules_;
  std::vector<std::string> calls_;  // guarded by lock
  std::condition_variable aborted_;
  std::condition_variable called_;
  bool abortAsked_ = false;      // guarded by lock
  bool toolAbortAsked_ = false;  // guarded by lock
};

// The service of the process.
FakeService& TheFakeService();
// Starts over with a new service. The front end must have given the old one back.
void ResetFakeService();
// Instances that were given out and not given back.
int FakeServiceInstances();
