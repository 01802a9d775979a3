#include "service/core/executor.h"

#include <algorithm>
#include <chrono>

#include "service/core/execution_record.h"
#include "service/core/guard.h"
#include "service/core/outside_text.h"
#include "service/core/parameters.h"
#include "service/log/log_time.h"
#include "system/key_format.h"

namespace orvan::core {
namespace {

constexpr char kInternalFault[] = "THE_TEST_ENDED_WITH_AN_INTERNAL_FAULT";
constexpr char kForeignTest[] = "THE_TEST_IS_NO_PART_OF_THE_DIAGNOSTIC";
constexpr char kWrongDevice[] = "THE_TEST_DOES_NOT_APPLY_TO_THE_DEVICE";
constexpr char kNeedsDevice[] = "THE_TEST_NEEDS_A_DEVICE";

struct SilentSuite final : orvan_service::SuiteListenerView {};
struct SilentTest final : orvan_service::TestListenerView {};

orvan_service::SuiteListenerView& OrSilent(orvan_service::SuiteListenerView* listener) {
  static SilentSuite silent;
  return listener != nullptr ? *listener : silent;
}

orvan_service::TestListenerView& OrSilent(orvan_service::TestListenerView* listener) {
  static SilentTest silent;
  return listener != nullptr ? *listener : silent;
}

class Context final : public sdk::TestContext {
 public:
  struct Subject {
    DiagDevice* device;
    DiagDiagnostic* diagnostic;
    DiagTest* test;
  };

  Context(const Subject& subject, const sdk::Device* device, sdk::ParameterValues parameters,
          const RunSurroundings& surroundings, orvan_service::TestListenerView& listener,
          log::StepLog& step, int& lastPercent)
      : subject_(subject),
        device_(device),
        parameters_(std::move(parameters)),
        surroundings_(surroundings),
        listener_(listener),
        step_(step),
        lastPercent_(lastPercent) {}

  const sdk::Device* TestedDevice() const override { return device_; }
  const sdk::ParameterValues& Parameters() const override { return parameters_; }
  std::stop_token StopToken() const override { return surroundings_.stop; }
  void Report(int percent, const std::string& message) override {
    lastPercent_ = surroundings_.source->IsScripted() ? percent : std::clamp(percent, 0, 100);
    step_.Message(message);
    listener_.OnTestReport(subject_.device, subject_.diagnostic, subject_.test, lastPercent_,
                           InLine(message));
  }
  void Measure(const sdk::Measurement& measurement) override { step_.Measure(measurement); }
  void MeasureSeries(const sdk::MeasurementSeries& series) override { step_.Measure(series); }
  void Log(sdk::LogLevel level, const std::string& text) override { step_.Text(level, text); }
  sdk::StopReason WhyStop() const override {
    return surroundings_.stop.stop_requested() ? surroundings_.requests->WhyStop()
                                               : sdk::StopReason::kNone;
  }
  std::uint32_t SystemEvents() const override { return surroundings_.requests->Events(); }

 private:
  Subject subject_;
  const sdk::Device* device_;
  sdk::ParameterValues parameters_;
  const RunSurroundings& surroundings_;
  orvan_service::TestListenerView& listener_;
  log::StepLog& step_;
  int& lastPercent_;
};

// What the user gave, by name.
sdk::ParameterValues GivenParameters(const ResolvedTest& item) {
  sdk::ParameterValues values;
  for (const TestParameter& parameter : item.item->parameters) {
    values.insert_or_assign(parameter.name, parameter.value);
  }
  return values;
}

}  // namespace

Executor::Executor(const RunSurroundings& surroundings)
    : surroundings_(surroundings),
      suite_(OrSilent(surroundings.suite)),
      listener_(OrSilent(surroundings.test)) {}

void Executor::Run(const ResolvedPlan& plan) {
  module_ = plan.module;
  device_ = plan.device;
  deviceWorst_ = WorstVerdict();
  if (!suite_.OnSuiteStart()) return;
  if (module_ == nullptr || plan.unknownDevice) {
    Refuse(module_ == nullptr ? "a plan for an unknown module" : "a plan for an unknown device");
  } else if (suite_.OnDeviceStart()) {
    RunDevice(plan);
  }
  suite_.OnSuiteEnd();
}

void Executor::RunDevice(const ResolvedPlan& plan) {
  const std::string subject =
      "run of " + module_->Name() + " on " + (device_ != nullptr ? device_->Id() : "no device");
  surroundings_.log->Text(log::LogSeverity::kInfo, subject + " begins");
  for (const ResolvedDiagnostic& item : plan.diagnostics) {
    RunDiagnostic(item);
  }
  surroundings_.log->Text(
      log::LogSeverity::kInfo,
      subject + " ends: " + tarvex::FormatKey(deviceWorst_.Word(), false, false, true));
  suite_.OnDeviceEnd(module_, const_cast<DeviceAdapter*>(device_), DeviceText());
}

std::string Executor::StepName(const DiagnosticAdapter& diagnostic, const TestAdapter& test) const {
  return module_->Name() + '/' + diagnostic.Record().name + '/' + test.Record().name +
         (device_ != nullptr ? '/' + device_->Id() : std::string());
}

std::string Executor::DeviceText() const {
  std::optional<std::string> text =
      device_ != nullptr
          ? Guarded(*surroundings_.log, "result of device " + device_->Id(),
                    std::optional<std::string>{}, [this] { return device_->Device().ResultText(); })
          : surroundings_.source->PseudoDeviceResult();
  return text ? InLine(*std::move(text))
              : ProvisionalCode(surroundings_.version, deviceWorst_, surroundings_.groupId);
}

void Executor::RunDiagnostic(const ResolvedDiagnostic& item) {
  if (item.diagnostic == nullptr) {
    Refuse("an unknown diagnostic of a plan");
    return;
  }
  if (!suite_.OnDiagnosticStart(item.diagnostic)) return;
  for (const ResolvedTest& test : item.tests) {
    RunTest(*item.diagnostic, test);
  }
  suite_.OnDiagnosticEnd();
}

void Executor::RunTest(DiagnosticAdapter& diagnostic, const ResolvedTest& item) {
  if (item.test == nullptr) {
    Refuse("an unknown test of a plan");
    return;
  }
  DiagDevice* device = const_cast<DeviceAdapter*>(device_);
  if (!suite_.OnTestStart(device, &diagnostic, item.test)) return;
  log::StepLog step(*surroundings_.log, StepName(diagnostic, *item.test), surroundings_.hardware,
                    surroundings_.hardwareIsListed);
  step.Parameters(GivenParameters(item));
  const std::int64_t startMs = log::NowMilliseconds();
  const auto start = std::chrono::steady_clock::now();
  int lastPercent = 0;
  const sdk::Verdict verdict = Judge(diagnostic, item, step, lastPercent);
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  if (!verdict.message.empty()) {
    listener_.OnTestReport(device, &diagnostic, item.test, lastPercent, InLine(verdict.message));
  }
  step.End(item.test->Record().name, verdict);
  Count(verdict.status);
  Record(*item.test, verdict, startMs, took.count());
  if (surroundings_.collection != nullptr) {
    surroundings_.collection->AddTest({module_->Name(), module_->VersionText(),
                                       diagnostic.Record().name, item.test->Record().name,
                                       verdict.status, took});
  }
  suite_.OnTestEnd(device, &diagnostic, item.test, verdict.status);
}

bool Executor::IsDecided(const ResolvedTest& item, sdk::ParameterValues& parameters,
                         sdk::Verdict& verdict) const {
  if (surroundings_.stop.stop_requested()) {
    verdict = sdk::Verdict::Canceled();
    return true;
  }
  if (surroundings_.source->IsScripted()) return false;
  const sdk::TestRecord& record = item.test->Record();
  const sdk::Device* device = device_ != nullptr ? &device_->Device() : nullptr;
  if (!item.belongs) {
    verdict = sdk::Verdict::Invalid(kForeignTest);
    return true;
  }
  if (device_ != nullptr && device_->WhyUntestable()) {
    verdict = sdk::Verdict::Invalid(*device_->WhyUntestable());
    return true;
  }
  if (record.appliesTo && (device == nullptr || !record.appliesTo(*device))) {
    verdict = sdk::Verdict::NotApplicable(device == nullptr ? kNeedsDevice : kWrongDevice);
    return true;
  }
  if (!item.item->parameters.empty()) {
    CheckedParameters checked =
        CheckParameters(item.test->ParametersOn(device), item.item->parameters);
    if (!checked.fault.empty()) {
      verdict = sdk::Verdict::Invalid(std::move(checked.fault));
      return true;
    }
    parameters = std::move(checked.values);
  }
  return false;
}

sdk::Verdict Executor::Judge(DiagnosticAdapter& diagnostic, const ResolvedTest& item,
                             log::StepLog& step, int& lastPercent) {
  try {
    sdk::ParameterValues parameters;
    sdk::Verdict verdict;
    if (IsDecided(item, parameters, verdict)) return verdict;
    DiagDevice* device = const_cast<DeviceAdapter*>(device_);
    Context context({device, &diagnostic, item.test},
                    device_ != nullptr ? &device_->Device() : nullptr, std::move(parameters),
                    surroundings_, listener_, step, lastPercent);
    return item.test->Record().run(context);
  } catch (...) {
    step.Exception(CurrentExceptionText());
    return sdk::Verdict::Invalid(kInternalFault);
  }
}

void Executor::Refuse(const std::string& what) {
  surroundings_.log->Error("plan-refused", what + " was refused");
  Count(kTestInvalid);
}

void Executor::Count(TestStatus status) {
  deviceWorst_.Add(status);
  surroundings_.log->Count(status);
  surroundings_.countForGroup(status);
}

void Executor::Record(const TestAdapter& test, const sdk::Verdict& verdict, std::int64_t startMs,
                      double seconds) {
  if (surroundings_.tracker == nullptr) return;
  TrackFinishedTest(*surroundings_.tracker,
                    {module_->Name(), test.Record().name, verdict.status, startMs,
                     std::chrono::duration<double>(seconds)},
                    device_ != nullptr ? &device_->Device() : nullptr, *surroundings_.log);
  LogStoreNotes(surroundings_.recordStore, *surroundings_.log);
}

}  // namespace orvan::core
