#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "system/execution_tracker.h"
#include "system/record_store_report.h"
#include "tests/support/service_test_support.h"

namespace orvan::core::testing {

class KeptRecords final : public SystemExecutionTracker {
 public:
  KeptRecords(std::vector<SystemExecutionRecord>& records, const bool& broken)
      : records_(records), broken_(broken) {}
  void Track(const SystemExecutionRecord& record) override {
    if (broken_) throw std::runtime_error("no store");
    records_.push_back(record);
  }
  int Remove() override { return 0; }

 private:
  std::vector<SystemExecutionRecord>& records_;
  const bool& broken_;
};

// A store that says what a test gives it, and its end.
class TalkingStore final : public tarvex::RecordStoreReport {
 public:
  void Finish() override { notes.push_back("finished"); }
  std::vector<std::string> TakeNotes() override { return std::exchange(notes, {}); }

  std::vector<std::string> notes;
};

// A service with one module, whose calls, records and words of the store a test can read.
class ExecutorTest : public ::testing::Test {
 protected:
  void Start() {
    source->modules.push_back(Own(std::move(plain)));
    ServiceOptions options{
        "5.0.0.0", logFolder,
        [this] { return std::make_unique<KeptRecords>(records, trackerIsBroken); }, &store};
    service = std::make_unique<Service>(std::move(source), options);
    service->SetSuiteListener(&suite);
    service->SetTestListener(&test);
    module = service->LoadModules(0)->front();
    module->ScanDevices();
    service->BeginFinalResult(7, {});
  }
  void Run() { service->ExecuteDiagnostics(module, module->GetDevice(0), WholePlan(*module)); }
  // Runs the one test of the one diagnostic on device 0 and gives its status.
  std::string RunOne(Runner run) {
    plain->diagnostics = {MakeDiagnostic("Q", 1, {MakeTest("a", 1, std::move(run))})};
    Start();
    Run();
    return CallsBetween("test a", "diagnostic end");
  }
  std::string CallsBetween(const std::string& first, const std::string& last) {
    std::string text;
    auto at = std::find(list.calls.begin(), list.calls.end(), first);
    for (; at != list.calls.end() && *at != last; ++at) {
      text += *at + ";";
    }
    return text;
  }
  std::string FinalCode() {
    std::string text;
    service->GetFinalResultCode(text, kFinalResultCodeSize);
    return text;
  }

  TalkingStore store;
  std::string logFolder;
  CallList list;
  RecordingSuite suite{list};
  RecordingTest test{list};
  std::vector<SystemExecutionRecord> records;
  bool trackerIsBroken = false;
  std::unique_ptr<PlainModule> plain = std::make_unique<PlainModule>();
  std::unique_ptr<PlainSource> source = std::make_unique<PlainSource>();
  std::unique_ptr<Service> service;
  DiagModule* module = nullptr;
};

}  // namespace orvan::core::testing
