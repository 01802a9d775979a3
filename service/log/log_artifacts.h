#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "service/sdk/measurement.h"
#include "service/sdk/run_state.h"

// The artifacts of a log, each as the JSON text of one member without braces: "log":{...}. Texts
// are made by LogText.
// Source: Open Compute Project, Test and Validation Output Specification, version 2.0.
namespace orvan::log {

inline constexpr std::size_t kLongestLogText = 16384;

enum class LogSeverity { kInfo, kWarning, kError };
// How a line that a module writes counts.
constexpr LogSeverity SeverityOf(sdk::LogLevel level) {
  return level == sdk::LogLevel::kError     ? LogSeverity::kError
         : level == sdk::LogLevel::kWarning ? LogSeverity::kWarning
                                            : LogSeverity::kInfo;
}
enum class LogStatus { kComplete, kError, kSkip };
enum class LogResult { kNotApplicable, kPass, kFail };
enum class LogDiagnosis { kPass, kFail, kUnknown };

struct LogSoftware {
  std::string name;
  std::string version;
  const char* type = "APPLICATION";  // or "SYSTEM"
};

// Absent texts are left out.
struct LogHardware {
  std::string id;  // unique in the run; what other artifacts refer to
  std::string name;
  std::string location;
  std::string serialNumber;
  std::string partType;
  std::string key;  // the same in each run, as in execution records
};

// What is known of a run at its start.
struct LogSubject {
  std::string program;  // as it was called, without arguments
  std::string version;  // of the program
  std::string machine;  // its host name
  std::string machineId;
  bool isSimulated = false;  // the hardware is a scenario file's or a recording's
  std::vector<LogSoftware> software;
  std::vector<LogHardware> hardware;
};

// A text as the log has it: cut at kLongestLogText bytes, with U+FFFD for what would steer a
// terminal, layout too.
std::string LogText(const std::string& text);

std::string RunStartArtifact(const LogSubject& subject);
std::string RunEndArtifact(LogStatus status, LogResult result);
std::string TextArtifact(LogSeverity severity, const std::string& message);
// `symptom` is a short word that can be counted, e.g. "plugin-refused".
std::string ErrorArtifact(const std::string& symptom, const std::string& message);
std::string StepStartArtifact(const std::string& name);
std::string StepEndArtifact(LogStatus status);
std::string DiagnosisArtifact(LogDiagnosis type, const std::string& verdict,
                              const std::string& message, const std::string& hardwareId);
std::string MeasurementArtifact(const sdk::Measurement& measurement, const std::string& hardwareId);
// The start, each point and the end of a series. `id` is unique in the run.
std::vector<std::string> SeriesArtifacts(const sdk::MeasurementSeries& series,
                                         const std::string& id, const std::string& hardwareId,
                                         std::int64_t timeMs);
// The verdict of a test that ends as skipped, which its status does not tell.
std::string SkippedVerdictArtifact(const std::string& word);
// A device that was not known when the run started, with its key.
std::string HardwareArtifact(const LogHardware& hardware);
// `content` is a JSON object.
std::string ExtensionArtifact(const std::string& name, const std::string& content);

// Lines of the file, each with its line end.
struct LogLine {
  std::uint64_t sequence = 0;
  std::int64_t timeMs = 0;  // since the epoch
};
std::string SchemaVersionLine(const LogLine& line);
std::string RunLine(const LogLine& line, const std::string& artifact);
std::string StepLine(const LogLine& line, std::uint64_t step, const std::string& artifact);

}  // namespace orvan::log
