#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "service/remote/remote_module.h"
#include "service/sdk/closed_machine.h"
#include "service/sdk/descriptor.h"
#include "service/sdk/module_test_support.h"
#include "tests/selftest_module/selftest_module.h"

namespace orvan::remote::testing {

using namespace std::chrono_literals;

class RememberingJournal final : public Journal {
 public:
  void Note(sdk::LogLevel level, const std::string& text) override {
    lines.push_back((level == sdk::LogLevel::kError ? "error: " : "") + text);
    if (onNote) onNote();
  }
  void Tell(const std::string& text) override { told.push_back(text); }
  std::function<void()> onNote;
  std::vector<std::string> lines;
  std::vector<std::string> told;
};

// Asks for a stop as soon as that file is there.
inline std::jthread StopOnce(const std::string& file, std::stop_source& stop) {
  return std::jthread([file, &stop](const std::stop_token& over) {
    while (!std::filesystem::exists(file) && !over.stop_requested()) {
      std::this_thread::sleep_for(1ms);
    }
    stop.request_stop();
  });
}

// A context whose every part a test can set, and that remembers what it was told.
class TestedContext final : public sdk::TestContext {
 public:
  explicit TestedContext(const sdk::Device* device) : device_(device) {}
  const sdk::Device* TestedDevice() const override { return device_; }
  const sdk::ParameterValues& Parameters() const override { return parameters; }
  std::stop_token StopToken() const override { return stop.get_token(); }
  void Report(int percent, const std::string& message) override {
    reports.emplace_back(percent, message);
    if (onReport) onReport();
  }
  void Log(sdk::LogLevel /*level*/, const std::string& text) override { log.push_back(text); }
  void Measure(const sdk::Measurement& measurement) override {
    measurements.push_back(measurement);
  }
  void MeasureSeries(const sdk::MeasurementSeries& one) override { series.push_back(one); }
  sdk::StopReason WhyStop() const override { return why; }
  std::uint32_t SystemEvents() const override { return looks++ < eventsBegin ? 0 : events; }

  sdk::ParameterValues parameters;
  std::stop_source stop;
  std::function<void()> onReport;
  sdk::StopReason why = sdk::StopReason::kAborted;
  std::uint32_t events = 0;
  int eventsBegin = 0;  // at which look
  mutable int looks = 0;
  std::vector<std::pair<int, std::string>> reports;
  std::vector<std::string> log;
  std::vector<sdk::Measurement> measurements;
  std::vector<sdk::MeasurementSeries> series;

 private:
  const sdk::Device* device_;
};

// The self-test module as the service has it, with the real worker.
class RemoteModuleTest : public ::testing::Test {
 protected:
  static constexpr char kBuild[] = TARVEX_BINARY_DIR;

  void SetUp() override { limits.kernelLimit = limits.stallLimit = 800ms; }
  ~RemoteModuleTest() override {
    if (folder_ >= 0) close(folder_);
  }

  RemoteModule& Module() {
    if (module_ != nullptr) return *module_;
    const std::string modules = std::string(kBuild) + "/tests/modules";
    folder_ = open(modules.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    WorkerPlan plan;
    plan.hello.program = getpid();
    plan.hello.version = version;
    plan.hello.name = file;
    plan.hello.shownFolder = modules;
    plan.hello.memoryBytes = 16ULL << 20 | sdk::kMemoryGraceBytes;
    for (const auto& [name, value] : settings) plan.hello.settings["selftest/" + name] = value;
    sdk::ModuleEnvironment environment;
    environment.machine = &closed_;
    environment.settings = plan.hello.settings;
    for (const auto& [name, value] : ofWorker) plan.hello.settings["selftest/" + name] = value;
    plan.folder = folder_;
    plan.file.Reset(open((modules + "/selftest.so").c_str(), O_RDONLY | O_CLOEXEC));
    module_ = std::make_unique<RemoteModule>(
        RemoteModule::ModulePointer(new selftest::SelftestModule(environment),
                                    [](sdk::Module* ended) { delete ended; }),
        std::move(plan), keeper_, journal, limits);
    return *module_;
  }
  // The next use makes the module anew.
  void Forget() {
    devices_.clear();
    module_.reset();
  }
  const std::vector<std::unique_ptr<sdk::Device>>& Scan() {
    sdk::testing::RememberingScan scan(scanStop.get_token());
    try {
      Module().ScanDevices(scan);
    } catch (...) {
      devices_ = std::move(scan.devices);
      throw;
    }
    devices_ = std::move(scan.devices);
    return devices_;
  }
  // What the last search found before it broke.
  const std::vector<std::unique_ptr<sdk::Device>>& Found() const { return devices_; }
  const sdk::TestRecord& Test(const std::string& option) {
    for (const sdk::DiagnosticRecord& diagnostic : Module().Diagnostics()) {
      for (const sdk::TestRecord& test : diagnostic.tests) {
        if (test.option == option) return test;
      }
    }
    throw std::out_of_range("no test " + option);
  }
  sdk::Verdict Run(const std::string& option, const sdk::Device* device) {
    TestedContext context(device);
    return Run(option, context);
  }
  sdk::Verdict Run(const std::string& option, TestedContext& context) {
    return Test(option).run(context);
  }
  // "status message".
  static std::string Shown(const sdk::Verdict& verdict) {
    return std::to_string(verdict.status) + ' ' + verdict.message;
  }

  std::map<std::string, std::string> settings;
  std::map<std::string, std::string> ofWorker;  // settings that only the worker's module has
  std::uint32_t version = protocol::kVersion;   // that the program speaks
  std::string file = "selftest.so";             // of the module
  WorkerLimits limits;
  RememberingJournal journal;
  std::stop_source scanStop;

 private:
  int folder_ = -1;
  sdk::ClosedMachine closed_;
  WorkerKeeper keeper_{std::string(kBuild) + "/lib/orvan/orvan-worker"};
  std::unique_ptr<RemoteModule> module_;
  std::vector<std::unique_ptr<sdk::Device>> devices_;
};

}  // namespace orvan::remote::testing
