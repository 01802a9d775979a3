#include "service/log/log_step.h"

#include <algorithm>
#include <array>
#include <utility>

#include "service/log/json_text.h"
#include "service/log/log_time.h"
#include "system/key_format.h"

namespace orvan::log {
namespace {

struct Row {
  TestStatus status;
  LogStatus step;
  const char* word;
};

constexpr std::array<Row, 6> kRows{{{kTestPassed, LogStatus::kComplete, "passed"},
                                    {kTestFailed, LogStatus::kComplete, "failed"},
                                    {kTestWarning, LogStatus::kComplete, "warning"},
                                    {kTestNotApplicable, LogStatus::kSkip, "not applicable"},
                                    {kTestCanceled, LogStatus::kSkip, "canceled"},
                                    {kTestInvalid, LogStatus::kError, "invalid"}}};

Row RowOf(TestStatus status) {
  const auto* const found = std::find_if(kRows.begin(), kRows.end(),
                                         [status](const Row& row) { return row.status == status; });
  return found != kRows.end() ? *found : Row{status, LogStatus::kError, "unrecognized"};
}

LogDiagnosis DiagnosisOf(TestStatus status) {
  return status == kTestPassed   ? LogDiagnosis::kPass
         : status == kTestFailed ? LogDiagnosis::kFail
                                 : LogDiagnosis::kUnknown;
}

std::string SymptomOf(const Row& row) {
  return row.status == kTestInvalid ? "test-invalid" : "test-status-" + std::to_string(row.status);
}

// "FUNNEL_READ_TEST" and "failed": "funnel-read-test-failed".
std::string VerdictWord(const std::string& test, const char* word) {
  std::string name = test;
  std::erase(name, '|');
  std::string text = tarvex::FormatKey(name + '_' + word, false, false, true);
  std::replace(text.begin(), text.end(), ' ', '-');
  return text;
}

bool IsLower(char c) {
  return c >= 'a' && c <= 'z';
}

// A message to the operator as the log has it: a key becomes the text that it stands for. What has
// lower-case letters and no bar is no key.
std::string PlainText(const std::string& message) {
  const bool isKey = message.find('|') != std::string::npos ||
                     std::none_of(message.begin(), message.end(), IsLower);
  return isKey ? tarvex::FormatKey(message, false, false, true) : message;
}

// "expected EXPECTED; found FOUND; at WHERE; MESSAGE", of what there is.
std::string VerdictText(const sdk::Verdict& verdict) {
  const std::pair<const char*, std::string> parts[] = {{"expected ", verdict.expected},
                                                       {"found ", verdict.found},
                                                       {"at ", verdict.where},
                                                       {"", PlainText(verdict.message)}};
  std::string text;
  for (const auto& [label, part] : parts) {
    if (!part.empty()) text += (text.empty() ? "" : "; ") + std::string(label) + part;
  }
  return text;
}

}  // namespace

StepLog::StepLog(ServiceLog& log, const std::string& name, const LogHardware* hardware,
                 bool isListed)
    : log_(log), step_(log.StartStep(name)) {
  if (hardware != nullptr && isListed) {
    hardwareId_ = hardware->id;
  } else if (hardware != nullptr) {
    log_.Step(step_, HardwareArtifact(*hardware));
  }
}

void StepLog::Parameters(const sdk::ParameterValues& values) {
  if (values.empty()) return;
  JsonObject content;
  for (const auto& [name, value] : values) {
    content.Text(LogText(name), LogText(value));
  }
  log_.Step(step_, ExtensionArtifact("parameters", content.Take()));
}

void StepLog::Message(const std::string& message) {
  if (!message.empty()) log_.Step(step_, TextArtifact(LogSeverity::kInfo, PlainText(message)));
}

void StepLog::Text(sdk::LogLevel level, const std::string& text) {
  log_.Step(step_, TextArtifact(SeverityOf(level), text));
}

void StepLog::Measure(const sdk::Measurement& measurement) {
  log_.Step(step_, MeasurementArtifact(measurement, hardwareId_));
}

void StepLog::Measure(const sdk::MeasurementSeries& series) {
  const std::string id = std::to_string(step_) + '-' + std::to_string(nextSeries_++);
  log_.Step(step_, SeriesArtifacts(series, id, hardwareId_, NowMilliseconds()));
}

void StepLog::Exception(const std::string& text) {
  hasError_ = true;
  log_.Step(step_, ErrorArtifact("exception", text), LogRank::kOutcome);
}

void StepLog::End(const std::string& test, const sdk::Verdict& verdict) {
  const Row row = RowOf(verdict.status);
  const std::string text = VerdictText(verdict);
  std::vector<std::string> artifacts;
  if (row.step == LogStatus::kComplete) {
    artifacts.push_back(DiagnosisArtifact(DiagnosisOf(verdict.status), VerdictWord(test, row.word),
                                          text, hardwareId_));
  } else if (row.step == LogStatus::kSkip) {
    artifacts.push_back(SkippedVerdictArtifact(row.word));
    artifacts.push_back(
        TextArtifact(LogSeverity::kInfo, row.word + std::string(text.empty() ? "" : ": ") + text));
  } else if (!hasError_) {
    artifacts.push_back(ErrorArtifact(SymptomOf(row), text));
  }
  if (!artifacts.empty()) log_.Step(step_, artifacts, LogRank::kOutcome);
  log_.EndStep(step_, row.step);
}

}  // namespace orvan::log
