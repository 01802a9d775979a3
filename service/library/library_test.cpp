// The service library as the front end meets it.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "boundary/orvan_service.h"
#include "boundary/orvan_service_errors.h"
#include "boundary/orvan_service_settings.h"

namespace {

class LibraryTest : public ::testing::Test {
 protected:
  LibraryTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "orvan-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
    setenv("TARVEX_STATE_DIR", Path("state").c_str(), 1);
    setenv("TARVEX_CONFIG_DIR", Path("config").c_str(), 1);
    setenv("ORVAN_MODULE_DIR", Path("modules").c_str(), 1);
    unsetenv("ORVAN_SCENARIO");
  }
  ~LibraryTest() override {
    ReleaseOrvanServiceInstance();
    std::filesystem::remove_all(folder_);
  }
  std::string Path(const std::string& name) const { return folder_ + "/" + name; }
  void UseScenario(const std::string& text) {
    std::ofstream(Path("scenario.json")) << text;
    setenv("ORVAN_SCENARIO", Path("scenario.json").c_str(), 1);
  }

 private:
  std::string folder_;
};

TEST_F(LibraryTest, GivesTheSameServiceToEveryThread) {
  UseScenario("{}");
  std::vector<OrvanService*> found(4);
  std::vector<std::thread> threads;
  for (OrvanService*& place : found) {
    threads.emplace_back([&place] { place = GetOrvanServiceInstance(); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_NE(found[0], nullptr);
  for (OrvanService* place : found) {
    EXPECT_EQ(place, found[0]);
  }
}

TEST_F(LibraryTest, AReleasedServiceTakesALateAbort) {
  UseScenario("{}");
  OrvanService* service = GetOrvanServiceInstance();
  ReleaseOrvanServiceInstance();
  service->AbortExecution(15, 0, 0);
  ReleaseOrvanServiceInstance();
  EXPECT_NE(GetOrvanServiceInstance(), service);
}

TEST_F(LibraryTest, OffersTheScenario) {
  UseScenario(R"({"modules":[{"name":"Storage","devices":[{"id":"0"}]}]})");
  std::vector<DiagModule*>* modules = GetOrvanServiceInstance()->LoadModules(0);
  ASSERT_NE(modules, nullptr);
  ASSERT_EQ(modules->size(), 1U);
  modules->front()->ScanDevices();
  EXPECT_EQ(modules->front()->DeviceCount(), 1U);
}

TEST_F(LibraryTest, AnUnreadableScenarioIsToldInOneLineAndLoadsNothing) {
  UseScenario("{\n  \"modules\": [ { \"nam\": \"x\" } ]\n}");
  ::testing::internal::CaptureStderr();
  OrvanService* service = GetOrvanServiceInstance();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "TarvexDiagnosticsCLI: " + Path("scenario.json") + ": modules[0].name: is missing\n");
  ASSERT_NE(service, nullptr);
  EXPECT_EQ(service->LoadModules(0), nullptr);
}

TEST_F(LibraryTest, ExceptionsAreCaughtByTheirTypes) {
  UseScenario(R"({"service":{"applySettings":"FailedToVisitLocalCache",
                  "beginFinalResult":"InvalidAppKey"}})");
  OrvanService* service = GetOrvanServiceInstance();
  EXPECT_THROW(service->ApplySettings(OrvanSettings()), FailedToVisitLocalCache);
  EXPECT_THROW(service->BeginFinalResult(1, {}), InvalidAppKey);
}

TEST_F(LibraryTest, WithoutAScenarioItLoadsThePlugins) {
  std::filesystem::create_directory(Path("modules"));
  std::filesystem::copy_file(std::string(TARVEX_BINARY_DIR) + "/tests/plugins/good.so",
                             Path("modules/good.so"));
  ASSERT_EQ(chmod(Path("modules").c_str(), 0755), 0);
  ASSERT_EQ(chmod(Path("modules/good.so").c_str(), 0644), 0);
  std::vector<DiagModule*>* modules = GetOrvanServiceInstance()->LoadModules(0);
  ASSERT_NE(modules, nullptr);
  ASSERT_EQ(modules->size(), 1U);
  std::string name;
  EXPECT_EQ(modules->front()->GetDisplayName(name), "Small");
}

TEST_F(LibraryTest, NoPluginIsNoFailureAndStandsInTheLog) {
  std::vector<DiagModule*>* modules = GetOrvanServiceInstance()->LoadModules(0);
  ASSERT_NE(modules, nullptr);
  EXPECT_TRUE(modules->empty());
  EXPECT_FALSE(std::filesystem::is_empty(Path("state/log")));
}

TEST_F(LibraryTest, ALaterSettingReplacesTheEarlierOne) {
  OrvanSettings settings;
  settings.SetString("AppName", "a");
  settings.SetString("AppName", "b");
  settings.SetBool("EnableDataCollection", true);
  settings.SetBool("EnableDataCollection", false);
  EXPECT_EQ(settings.texts, (std::map<std::string, std::string>{{"AppName", "b"}}));
  EXPECT_EQ(settings.truths, (std::map<std::string, bool>{{"EnableDataCollection", false}}));
}

}  // namespace
