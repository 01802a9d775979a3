#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <vector>

#include "boundary/orvan_service.h"
#include "service/core/data_collection.h"
#include "service/core/executor.h"
#include "service/core/logged_inventory.h"
#include "service/core/module_adapter.h"
#include "service/core/module_source.h"
#include "service/log/log.h"

namespace orvan::core {

struct ServiceOptions {
  std::string version;    // of the program, for result codes, unless the settings name another
  std::string logFolder;  // empty: no log
  // Makes the keeper of execution records when the settings turn them on; may be empty.
  std::function<std::unique_ptr<SystemExecutionTracker>()> makeTracker;
  // The store behind the tracker, which outlives the service: what it has to say goes into the log.
  tarvex::RecordStoreReport* recordStore = nullptr;
};

// The diagnostic service over the modules of one source.
//
// An abort, once requested, holds for every later run and scan of the service's life: a request to
// end the program ends the whole run, and not only the device that is being tested or searched.
// From that request on, or from a forced abort of a tool, no tool that may write begins any more.
//
// The final result code is that of the source, or ProvisionalCode of the setting AppVersion (or the
// program's version), the worst verdict since BeginFinalResult and its group.
class Service final : public OrvanService {
 public:
  Service(std::unique_ptr<ModuleSource> source, ServiceOptions options);
  ~Service();

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

  // Ends the service's work; again has no effect. Not during a run. Aborts, event bits, runs and
  // tools that are asked for later do nothing. The modules and all that they gave out stay until
  // the service is destroyed: a termination request may still come in, or be under way, on a thread
  // that had the pointer.
  void Close();

  // What the service was told. Any thread.
  std::uint32_t SystemEvents() const { return requests_.Events(); }
  bool NoDevicesMode() const { return noDevices_; }
  bool SupervisedRun() const { return supervised_; }

 private:
  struct OwnedTool {
    ToolAdapter* tool = nullptr;
    ModuleAdapter* module = nullptr;
  };
  OwnedTool FindTool(const DiagTool* tool) const;
  void AddModule(LoadedModule loaded);
  std::string Version() const;  // under mutex_
  // Where the run's line goes; empty when nothing is to be collected.
  std::string CollectionFolder() const;
  // The log's run starts with the first plan, when devices are known.
  void BeginLog();

  std::unique_ptr<ModuleSource> source_;
  CallObserver& observer_;
  ServiceOptions options_;
  log::ServiceLog log_;
  std::stop_source abort_;  // of runs, scans and tools, also by Close
  RunRequests requests_;    // before the modules, whose tools refer to it
  std::atomic<bool> closed_{false};
  std::atomic<bool> noDevices_{false};
  std::atomic<bool> supervised_{false};
  std::atomic<orvan_service::SuiteListenerView*> suiteListener_{nullptr};
  std::atomic<orvan_service::TestListenerView*> testListener_{nullptr};
  // Written by LoadModules only, once; every pointer into it is younger than that.
  std::vector<std::unique_ptr<ModuleAdapter>> modules_;
  std::vector<DiagModule*> modulePointers_;
  bool loadTried_ = false;                           // service thread
  bool loaded_ = false;                              // service thread
  bool logBegun_ = false;                            // service thread
  LoggedInventory inventory_;                        // service thread
  std::unique_ptr<SystemExecutionTracker> tracker_;  // service thread
  DataCollection collection_;                        // service thread
  mutable std::mutex mutex_;                         // guards all below
  std::map<std::string, std::string> texts_;
  std::map<std::string, bool> truths_;
  std::int64_t groupId_ = 0;
  WorstVerdict groupWorst_;
};

}  // namespace orvan::core
