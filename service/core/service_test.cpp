#include "service/core/service.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <latch>
#include <mutex>
#include <thread>

#include "boundary/orvan_service_settings.h"
#include "service/core/caller_rules.h"
#include "tests/support/service_test_support.h"

namespace orvan::core {
namespace {

using testing::PlainModule;
using testing::PlainSource;

class ServiceTest : public ::testing::Test {
 protected:
  Service& Start(const std::string& logFolder = {}) {
    service =
        std::make_unique<Service>(std::move(source), ServiceOptions{"5.0.0.0", logFolder, {}});
    return *service;
  }
  std::string FinalCode(int size = kFinalResultCodeSize) {
    std::string text = "old";
    service->GetFinalResultCode(text, size);
    return text;
  }

  std::unique_ptr<PlainSource> source = std::make_unique<PlainSource>();
  std::unique_ptr<Service> service;
};

class NoModules final : public PlainSource {
 public:
  std::optional<std::vector<LoadedModule>> Load(log::ServiceLog& /*log*/) override {
    ++loads;
    return std::nullopt;
  }
  int loads = 0;
};

class BrokenModule final : public sdk::Module {
 public:
  std::string Name() const override { throw std::runtime_error("nameless"); }
  ProductVersion Version() const override { return {0, 0, 0, 0}; }
  sdk::ModuleHelp Help() const override { return {}; }
  const std::vector<sdk::DiagnosticRecord>& Diagnostics() const override { return diagnostics; }
  const std::vector<sdk::ToolRecord>& Tools() const override { return tools; }
  void ScanDevices(sdk::ScanContext&) override {}
  std::vector<sdk::DiagnosticRecord> diagnostics;
  std::vector<sdk::ToolRecord> tools;
};

TEST_F(ServiceTest, LoadsOnceAndGivesTheSameVector) {
  source->modules.push_back(testing::Own(std::make_unique<PlainModule>()));
  Start();
  std::vector<DiagModule*>* modules = service->LoadModules(0);
  ASSERT_NE(modules, nullptr);
  EXPECT_EQ(modules->size(), 1U);
  EXPECT_EQ(service->LoadModules(0), modules);
  EXPECT_EQ(modules->size(), 1U);
}

TEST_F(ServiceTest, NoModuleIsNoFailureButNoLoadIs) {
  Start();
  ASSERT_NE(service->LoadModules(0), nullptr);
  EXPECT_TRUE(service->LoadModules(0)->empty());
  auto none = std::make_unique<NoModules>();
  NoModules& counter = *none;
  Service empty(std::move(none), {});
  EXPECT_EQ(empty.LoadModules(0), nullptr);
  EXPECT_EQ(empty.LoadModules(0), nullptr);
  EXPECT_EQ(counter.loads, 1);
}

TEST_F(ServiceTest, AModuleThatCannotSayItsNameIsLeftOut) {
  source->modules.push_back(testing::Own(std::make_unique<BrokenModule>()));
  source->modules.push_back(testing::Own(std::make_unique<PlainModule>()));
  testing::TemporaryFolder folder;
  Start(folder.Path());
  EXPECT_EQ(service->LoadModules(0)->size(), 1U);
  EXPECT_EQ(testing::LogLinesAfterStart(folder.Path()),
            std::vector<std::string>{
                testing::RunErrorLine("module-refused", "module number 0 was refused: nameless")});
}

TEST_F(ServiceTest, TheFinalCodeNamesVersionVerdictAndGroup) {
  Start();
  service->BeginFinalResult(1732176000, {});
  EXPECT_EQ(FinalCode(), "5.0.0.0-NONE-1732176000");
  OrvanSettings settings;
  settings.SetString(kSettingAppVersion, "9.1");
  service->ApplySettings(settings);
  EXPECT_EQ(FinalCode(), "9.1-NONE-1732176000");
  EXPECT_EQ(FinalCode(8), "9.1-NONE");
  EXPECT_EQ(FinalCode(0), "");
}

TEST_F(ServiceTest, TheFinalCodeIsWholeWhenTheSuiteEnds) {
  auto plain = std::make_unique<PlainModule>();
  plain->diagnostics = {
      testing::MakeDiagnostic("Q", 1, {testing::MakeTest("a", 1, [](sdk::TestContext&) {
                                return sdk::Verdict::Failed("BROKEN", "whole", "broken", "here");
                              })})};
  source->modules.push_back(testing::Own(std::move(plain)));
  Start();
  testing::CallList calls;
  testing::RecordingSuite suite(calls);
  std::string atTheEnd;
  suite.onSuiteEnd = [&] { atTheEnd = FinalCode(); };
  service->SetSuiteListener(&suite);
  DiagModule* module = service->LoadModules(0)->front();
  service->BeginFinalResult(7, {});
  service->ExecuteDiagnostics(module, nullptr, testing::WholePlan(*module));
  EXPECT_EQ(atTheEnd, "5.0.0.0-FAILED-7");
}

TEST_F(ServiceTest, AGroupBeginsWithoutTheVerdictsOfTheOneBefore) {
  auto plain = std::make_unique<PlainModule>();
  plain->diagnostics = {
      testing::MakeDiagnostic("Q", 1, {testing::MakeTest("a", 1, testing::Passes())})};
  source->modules.push_back(testing::Own(std::move(plain)));
  Start();
  DiagModule* module = service->LoadModules(0)->front();
  service->BeginFinalResult(1, {});
  service->ExecuteDiagnostics(module, nullptr, testing::WholePlan(*module));
  EXPECT_EQ(FinalCode(), "5.0.0.0-PASSED-1");
  service->BeginFinalResult(2, {});
  EXPECT_EQ(FinalCode(), "5.0.0.0-NONE-2");
}

TEST_F(ServiceTest, ARefusedSettingLeavesTheOldOnes) {
  PlainSource& rules = *source;
  Start();
  OrvanSettings settings;
  settings.SetString(kSettingAppVersion, "1");
  service->ApplySettings(settings);
  rules.cacheFails = true;
  settings.SetString(kSettingAppVersion, "2");
  EXPECT_THROW(service->ApplySettings(settings), FailedToVisitLocalCache);
  EXPECT_EQ(FinalCode(), "1-NONE-0");
}

TEST_F(ServiceTest, ARefusedCallerOpensNoGroup) {
  PlainSource& rules = *source;
  Start();
  service->BeginFinalResult(1, {});
  rules.keyFails = true;
  EXPECT_THROW(service->BeginFinalResult(2, {}), InvalidAppKey);
  EXPECT_EQ(FinalCode(), "5.0.0.0-NONE-1");
}

TEST_F(ServiceTest, KeepsTheSystemEventsUntilTheyAreCleared) {
  Start();
  service->NotifySystemEvent(8);
  service->NotifySystemEvent(0);
  service->NotifySystemEvent(32);
  EXPECT_EQ(service->SystemEvents(), 40U);
  service->ClearSystemEvents();
  EXPECT_EQ(service->SystemEvents(), 0U);
}

TEST_F(ServiceTest, KeepsTheModesOfTheRun) {
  Start();
  EXPECT_FALSE(service->SupervisedRun());
  service->EnableSupervisedRun();
  EXPECT_TRUE(service->SupervisedRun());
  service->SetNoDevicesMode(true);
  EXPECT_TRUE(service->NoDevicesMode());
  service->SetNoDevicesMode(false);
  EXPECT_FALSE(service->NoDevicesMode());
}

TEST_F(ServiceTest, WritesItsLogWhereItWasMovedTo) {
  source->modules.push_back(testing::Own(std::make_unique<PlainModule>()));
  testing::TemporaryFolder folder;
  Start(folder.Path("first"));
  service->SetLogPath(folder.Path("second"));
  DiagModule* module = service->LoadModules(0)->front();
  service->ExecuteDiagnostics(module, nullptr, {});
  EXPECT_FALSE(std::filesystem::exists(folder.Path("first")));
  const std::string begins =
      R"("testRunArtifact":{"log":{"severity":"INFO","message":"run of Plain on no device begins"}}})";
  EXPECT_EQ(testing::LogLinesAfterStart(folder.Path("second")).front(), begins);
}

TEST_F(ServiceTest, CallsAfterTheEndDoNothing) {
  source->modules.push_back(testing::Own(std::make_unique<PlainModule>()));
  Start();
  DiagModule* module = service->LoadModules(0)->front();
  testing::CallList list;
  testing::RecordingSuite suite(list);
  service->SetSuiteListener(&suite);
  service->Close();
  service->Close();
  service->AbortExecution(15, 0, 0);
  service->NotifySystemEvent(1);
  service->ClearSystemEvents();
  service->AbortTool(reinterpret_cast<DiagTool*>(8));
  service->ExecuteDiagnostics(module, nullptr, {});
  EXPECT_TRUE(list.calls.empty());
  EXPECT_EQ(service->SystemEvents(), 0U);
}

TEST_F(ServiceTest, WhatAModuleGaveOutLivesUntilTheServiceIsDestroyed) {
  auto life = std::make_shared<int>(0);
  const std::weak_ptr<int> watch = life;
  auto plain = std::make_unique<PlainModule>();
  plain->tools.push_back({});
  plain->tools.back().run = [life](sdk::ToolContext&) {};
  life.reset();
  source->modules.push_back(testing::Own(std::move(plain)));
  Start();
  service->LoadModules(0);
  service->Close();
  EXPECT_FALSE(watch.expired());
  service.reset();
  EXPECT_TRUE(watch.expired());
}

TEST_F(ServiceTest, AToolMayBeAbortedWhileTheServiceEnds) {
  for (int round = 0; round < 50; ++round) {
    source = std::make_unique<PlainSource>();
    auto plain = std::make_unique<PlainModule>();
    plain->tools.resize(3);
    source->modules.push_back(testing::Own(std::move(plain)));
    Start();
    DiagTool* const last = service->LoadModules(0)->front()->Tools()->back();
    std::latch both(2);
    std::thread aborter([&] {
      both.arrive_and_wait();
      service->AbortTool(last);
    });
    both.arrive_and_wait();
    service->Close();
    aborter.join();
    EXPECT_TRUE(last->GetToolProperty("any").empty());
  }
}

// A module that looks for its one device until it is told to stop, or for ten seconds.
class PatientModule {
 public:
  ModulePointer Make() {
    auto plain = std::make_unique<PlainModule>();
    plain->scan = [this](std::stop_token stop) {
      begun_.count_down();
      std::mutex mutex;
      std::unique_lock lock(mutex);
      std::condition_variable_any wake;
      wake.wait_for(lock, stop, std::chrono::seconds(10), [] { return false; });
      wasStopped = stop.stop_requested();
      std::vector<std::unique_ptr<sdk::Device>> devices;
      devices.push_back(std::make_unique<testing::PlainDevice>("0"));
      return devices;
    };
    return testing::Own(std::move(plain));
  }
  void AwaitScan() const { begun_.wait(); }

  bool wasStopped = false;  // of the scan's thread until it has ended

 private:
  std::latch begun_{1};
};

TEST_F(ServiceTest, AnAbortEndsTheScanThatIsUnderWay) {
  PatientModule patient;
  source->modules.push_back(patient.Make());
  Start();
  DiagModule* module = service->LoadModules(0)->front();
  std::thread scanner([module] { module->ScanDevices(); });
  patient.AwaitScan();
  service->AbortExecution(15, 0, 0);
  scanner.join();
  EXPECT_TRUE(patient.wasStopped);
  EXPECT_EQ(module->DeviceCount(), 1U);
}

TEST_F(ServiceTest, AScanAfterAnAbortWaitsForNothing) {
  PatientModule patient;
  source->modules.push_back(patient.Make());
  Start();
  service->AbortExecution(15, 0, 0);
  DiagModule* module = service->LoadModules(0)->front();
  module->ScanDevices();
  EXPECT_TRUE(patient.wasStopped);
  EXPECT_EQ(module->DeviceCount(), 1U);
}

TEST_F(ServiceTest, TheEndOfTheServiceEndsAScan) {
  PatientModule patient;
  source->modules.push_back(patient.Make());
  Start();
  DiagModule* module = service->LoadModules(0)->front();
  std::thread scanner([module] { module->ScanDevices(); });
  patient.AwaitScan();
  service->Close();
  scanner.join();
  EXPECT_TRUE(patient.wasStopped);
}

TEST_F(ServiceTest, AbortsAndEventsMayComeFromEveryThreadAtOnce) {
  Start();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      for (int round = 0; round < 100; ++round) {
        service->AbortExecution(2, 0, 0);
        service->NotifySystemEvent(1U << (round % 8));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(service->SystemEvents(), 255U);
}

TEST(RequireUsableCache, RefusesATextThatNamesNoWritableFolder) {
  testing::TemporaryFolder folder;
  OrvanSettings settings;
  EXPECT_NO_THROW(RequireUsableCache(settings));
  settings.SetString(kSettingCacheDir, "");
  EXPECT_NO_THROW(RequireUsableCache(settings));
  settings.SetString(kSettingCacheDir, folder.Path());
  EXPECT_NO_THROW(RequireUsableCache(settings));
  settings.SetString(kSettingCacheDir, folder.Path("missing"));
  EXPECT_THROW(RequireUsableCache(settings), FailedToVisitLocalCache);
  settings.SetString(kSettingCacheDir, folder.Write("file", ""));
  EXPECT_THROW(RequireUsableCache(settings), FailedToVisitLocalCache);
}

bool IsTaken(const std::string& key) {
  CallerInfo caller;
  caller.appName = "Caller";
  caller.appKey = key;
  try {
    RequireAppKey(caller);
    return true;
  } catch (const InvalidAppKey&) {
    return false;
  }
}

TEST(RequireAppKey, IsSixteenToSixtyFourLettersDigitsOrHyphens) {
  EXPECT_TRUE(IsTaken(""));
  EXPECT_TRUE(IsTaken("abcdefgh-1234-XY"));
  EXPECT_TRUE(IsTaken(std::string(64, '7')));
  EXPECT_FALSE(IsTaken(std::string(15, 'a')));
  EXPECT_FALSE(IsTaken(std::string(65, 'a')));
  EXPECT_FALSE(IsTaken("abcdefgh_1234_XY"));
  EXPECT_FALSE(IsTaken("abcdefgh 1234 XY"));
  EXPECT_FALSE(IsTaken("abcdefgh-1234-X\xC3\xA4"));
}

}  // namespace
}  // namespace orvan::core
