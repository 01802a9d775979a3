#include "tests/selftest_module/contexts.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "service/sdk/awake_clock.h"
#include "service/sdk/rows.h"
#include "tests/selftest_module/deeds.h"

namespace selftest {
namespace {

using namespace orvan::sdk;

constexpr int kFlood = 20000;

Verdict FloodProgress(TestContext& context) {
  for (int i = 0; i < kFlood; ++i) context.Report(i % 101, "|FLOOD");
  return Verdict::Passed();
}

Verdict FloodMeasurements(TestContext& context) {
  for (int i = 0; i < kFlood; ++i) context.Measure({"flood", static_cast<double>(i), "", {}});
  return Verdict::Passed();
}

Verdict FloodForEver(TestContext& context) {
  while (true) context.Report(50, "|FLOOD");
}

Verdict FloodLog(TestContext& context) {
  for (int i = 0; i < kFlood; ++i) context.Log(LogLevel::kInfo, "flood");
  return Verdict::Passed();
}

template <typename Context>
void FillLog(Context& context) {
  for (int i = 0; i < 64; ++i) context.Log(LogLevel::kInfo, std::string(512U << 10, 'x'));
}

Verdict LogWithoutEnd(TestContext& context) {
  FillLog(context);
  return Verdict::Passed();
}

Verdict MeasureAgainstMuch(TestContext& context) {
  context.Measure({"much", 1, "", std::vector<Limit>(17)});
  return Verdict::Passed();
}

Verdict MeasureLongSeries(TestContext& context) {
  MeasurementSeries series;
  series.name = "long";
  for (int i = 0; i < 257; ++i) {
    series.points.push_back({static_cast<double>(i), static_cast<double>(i)});
  }
  context.MeasureSeries(series);
  return Verdict::Passed();
}

Verdict FloodSeries(TestContext& context) {
  MeasurementSeries series;
  series.points.resize(256);
  for (int i = 0; i < 1000; ++i) context.MeasureSeries(series);
  return Verdict::Passed();
}

Verdict SayMuch(TestContext& context) {
  context.Report(50, std::string(5U << 20, 'x'));
  return Verdict::Failed("|MUCH", std::string(600U << 10, 'e'), std::string(600U << 10, 'f'), "");
}

Verdict WaitLooking(TestContext& context) {
  context.Report(1);
  WaitForStop(context.StopToken());
  context.Log(LogLevel::kInfo,
              "stopped for reason " + std::to_string(static_cast<int>(context.WhyStop())));
  return Verdict::Canceled();
}

Verdict CrashAtStop(TestContext& context) {
  const std::stop_callback crash(context.StopToken(), [] {
    volatile int* volatile nowhere = nullptr;
    *nowhere = 1;
  });
  context.Report(1);
  while (true) pause();
}

Verdict TellEvents(TestContext& context) {
  context.Report(1);
  while (context.SystemEvents() == 0 && !context.StopToken().stop_requested()) usleep(1000);
  return Verdict::Passed("|EVENTS_" + std::to_string(context.SystemEvents()));
}

std::string LineOf(const char* path, const std::string& begin) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(begin, 0) == 0) return line.substr(begin.size());
  }
  return "?";
}

// What this process holds: its rights, its surroundings, its descriptors.
Verdict TellRights(TestContext& context) {
  for (const char* name :
       {"CapInh:\t", "CapPrm:\t", "CapEff:\t", "CapBnd:\t", "CapAmb:\t", "NoNewPrivs:\t"}) {
    context.Log(LogLevel::kInfo, name + LineOf("/proc/self/status", name));
  }
  int variables = 0;
  for (char** variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    ++variables;
  }
  context.Log(LogLevel::kInfo, "variables " + std::to_string(variables));
  context.Log(LogLevel::kInfo, "leads its session " + std::to_string(getsid(0) == getpid()));
  DIR* const folder = opendir("/proc/self/fd");
  for (const dirent* entry = nullptr; (entry = readdir(folder)) != nullptr;) {
    char target[256] = {};
    const std::string path = std::string("/proc/self/fd/") + entry->d_name;
    const int flags = fcntl(std::atoi(entry->d_name), F_GETFD);
    if (readlink(path.c_str(), target, sizeof(target) - 1) > 0) {
      if ((flags & FD_CLOEXEC) == 0) {
        context.Log(LogLevel::kInfo, "passes on " + std::string(entry->d_name));
      }
      context.Log(LogLevel::kInfo, "descriptor " + std::string(entry->d_name) + ' ' + target);
    }
  }
  closedir(folder);
  return Verdict::Passed();
}

Verdict TellParameters(TestContext& context) {
  std::string text = "|GIVEN";
  for (const auto& [name, value] : context.Parameters()) text += '_' + name + '=' + value;
  return Verdict::Passed(text);
}

Verdict NeedMachine(TestContext& /*context*/) {
  return Verdict::Passed();
}

TestRecord Row(const char* name, std::uint64_t identifier, Verdict (*run)(TestContext&)) {
  return MakeTest({name, name, name, TestKey(identifier, 1), name}, {{}, run});
}

TestRecord TellDevice() {
  return Row("device", 65, [](TestContext& context) {
    return Verdict::Passed("|DEVICE_" + context.TestedDevice()->Information().name);
  });
}

TestRecord Writing() {
  TestRecord row = Row("writing", 66, NeedMachine);
  row.mayWrite = true;
  return row;
}

TestRecord OnDeviceOne() {
  TestRecord row = Row("on-device-one", 60, NeedMachine);
  row.appliesTo = [](const Device& device) { return device.Id() == "1"; };
  return row;
}

TestRecord AppliesThrows() {
  TestRecord row = Row("applies-throws", 61, NeedMachine);
  row.appliesTo = [](const Device&) -> bool { throw std::runtime_error("cannot tell"); };
  return row;
}

TestRecord Parameters() {
  constexpr NumberRow kNumber{"number", "NUMBER", "|A_NUMBER", 1, 9};
  TestRecord row = Row("parameters", 62, TellParameters);
  row.parameters = {SpecOf(kNumber, 3)};
  row.parametersOn = [kNumber](const Device& device) {
    return std::vector<ParameterSpec>{SpecOf(kNumber, device.Id() == "1" ? 5 : 4)};
  };
  return row;
}

// As far as the first device, with one sector of it found bad.
void BeginRepair(ToolContext& context) {
  context.Fire("OnRecoverInit");
  context.SetProperty("OperationInit", {"repair"});
  context.Fire("OnOperationInit");
  context.SetProperty("DeviceInit", {context.Devices().at(0)->Id()});
  context.Fire("OnDeviceInit");
  context.SetProperty("SectorsInfo", {"7", "1", "0", "1"});
}

}  // namespace

void LeaveCallBehind(Machine& machine, const std::string& file) {
  BlockReaderOptions options;
  options.device = file;
  options.fileSectorBytes = 512;
  options.timeLimit = std::chrono::milliseconds(200);
  const OpenedReader opened = machine.OpenReader(options, {});
  if (opened.reader == nullptr) throw std::runtime_error("cannot be opened");
  opened.reader->Submit({{0, 0, 512, 0}});
  std::vector<BlockReadResult> results;
  while (results.empty() && opened.reader->Collect(results, kAwakePace) == ReaderState::kWorking) {
  }
}

std::vector<TestRecord> WellBehavedTests(Machine* machine, const std::string& file) {
  const auto leave = [machine, file](TestContext&) {
    LeaveCallBehind(*machine, file);
    return Verdict::Passed();
  };
  const auto remember = [machine](TestContext&) {
    int error = 0;
    const std::string before = machine->State().Read("runs", error).value_or("");
    if (error == 0) error = machine->State().Replace("runs", before + "x");
    return Verdict::Passed("|RUNS_" + std::to_string(before.size()) + "_ERROR_" +
                           std::to_string(error));
  };
  return {
      Row("pass", 40, [](TestContext&) { return Verdict::Passed(); }),
      Row("fail", 41,
          [](TestContext&) { return Verdict::Failed("|FOUND_IT", "none", "one", "here"); }),
      Row("warn", 42, [](TestContext&) { return Verdict::Warning("|BEWARE"); }),
      Row("not-applicable", 43, [](TestContext&) { return Verdict::NotApplicable("|NOT_HERE"); }),
      Row("invalid", 44, [](TestContext&) { return Verdict::Invalid("|OWN_FAULT"); }),
      Row("odd-status", 45,
          [](TestContext&) {
            return Verdict{77, {}, {}, {}, {}};
          }),
      Row("wait", 46, WaitLooking),
      Row("flood-progress", 47, FloodProgress),
      Row("flood-measurements", 48, FloodMeasurements),
      Row("flood-log", 49, FloodLog),
      Row("flood-for-ever", 50, FloodForEver),
      Row("say-much", 51, SayMuch),
      Row("events", 52, TellEvents),
      Row("rights", 53, TellRights),
      MakeTest({"leave-call", "leave-call", "leave-call", TestKey(63, 1), ""}, {{}, leave}),
      MakeTest({"remember", "remember", "remember", TestKey(64, 1), ""}, {{}, remember}),
      TellDevice(),
      Writing(),
      Row("crash-at-stop", 54, CrashAtStop),
      Row("log-without-end", 55, LogWithoutEnd),
      Row("measure-against-much", 56, MeasureAgainstMuch),
      Row("measure-long-series", 57, MeasureLongSeries),
      Row("flood-series", 58, FloodSeries),
      OnDeviceOne(),
      AppliesThrows(),
      Parameters(),
  };
}

bool RunTool(const std::string& word, ToolContext& context) {
  constexpr std::string_view kInDevice = "in-device-";
  if (word.rfind(kInDevice, 0) == 0) {
    if (!context.HasListener()) return true;
    BeginRepair(context);
    Commit(word.substr(kInDevice.size()), {});
    return true;
  }
  if (word == "fail") {
    context.Fail("failed on purpose");
  } else if (word == "log-without-end") {
    FillLog(context);
  } else if (word == "wait") {
    context.Fire("OnToolStart");
    WaitForStop(context.StopToken());
    context.Log(LogLevel::kInfo,
                "stopped for reason " + std::to_string(static_cast<int>(context.WhyStop())));
  } else if (word == "talk") {
    context.SetProperty("Seen", context.GetProperty("Given"));
    const bool handled = context.Fire("OnToolStart");
    context.SetProperty("Handled", {handled ? "yes" : "no"});
    context.SetProperty("Devices", {std::to_string(context.Devices().size())});
    context.SetProperty("Events", {std::to_string(context.SystemEvents())});
  } else if (word == "withdraw") {
    for (const Device* device : context.Candidates()) {
      if (device->Id() == "0") context.Withdraw(*device);
    }
  } else {
    return false;
  }
  return true;
}

}  // namespace selftest
