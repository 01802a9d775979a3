#include "service/log/log_artifacts.h"

#include <array>

#include "service/log/json_text.h"
#include "service/log/log_time.h"
#include "system/outside_text.h"
#include "system/text_conversion.h"

namespace orvan::log {
namespace {

constexpr std::array<const char*, 3> kSeverities{"INFO", "WARNING", "ERROR"};
constexpr std::array<const char*, 3> kStatuses{"COMPLETE", "ERROR", "SKIP"};
constexpr std::array<const char*, 3> kResults{"NOT_APPLICABLE", "PASS", "FAIL"};
constexpr std::array<const char*, 3> kDiagnoses{"PASS", "FAIL", "UNKNOWN"};
constexpr std::array<const char*, 6> kLimits{"EQUAL",        "NOT_EQUAL",
                                             "LESS_THAN",    "LESS_THAN_OR_EQUAL",
                                             "GREATER_THAN", "GREATER_THAN_OR_EQUAL"};
constexpr std::array<const char*, 3> kSeriesKinds{"CURVE", "HISTOGRAM", "RANGES"};

// Each table has a row for each value of its enumeration, in its order.
template <typename Table, typename Value>
const char* Word(const Table& table, Value value) {
  return table.at(static_cast<std::size_t>(value));
}

std::string Member(const char* key, JsonObject& object) {
  return std::string(1, '"') + key + "\":" + object.Take();
}

void AddText(JsonObject& object, const char* key, const std::string& text) {
  if (!text.empty()) object.Text(key, LogText(text));
}

JsonObject HardwareMembers(const LogHardware& hardware) {
  JsonObject object;
  object.Text("hardwareInfoId", hardware.id).Text("name", LogText(hardware.name));
  AddText(object, "location", hardware.location);
  AddText(object, "serialNumber", hardware.serialNumber);
  AddText(object, "partType", hardware.partType);
  return object;
}

// What the format has no members for: by what machine and devices are known in all runs.
void AddMetadata(JsonObject& machine, const LogSubject& subject) {
  JsonObject keys;
  bool hasKeys = false;
  for (const LogHardware& item : subject.hardware) {
    AddText(keys, item.id.c_str(), item.key);
    hasKeys = hasKeys || !item.key.empty();
  }
  if (!hasKeys && subject.machineId.empty()) return;
  JsonObject metadata;
  AddText(metadata, "machineId", subject.machineId);
  if (hasKeys) metadata.Raw("deviceKeys", keys.Take());
  machine.Raw("metadata", metadata.Take());
}

std::string SoftwareJson(const std::vector<LogSoftware>& software) {
  std::size_t id = 0;
  return JsonList(software, [&id](const LogSoftware& item) {
    JsonObject object;
    object.Text("softwareInfoId", std::to_string(id++)).Text("name", LogText(item.name));
    AddText(object, "version", item.version);
    return object.Text("softwareType", item.type).Take();
  });
}

std::string LimitJson(const sdk::Limit& limit) {
  return JsonObject().Text("type", Word(kLimits, limit.kind)).Number("value", limit.value).Take();
}

std::string Line(const LogLine& line, const char* key, const std::string& value) {
  JsonObject object;
  object.Raw("sequenceNumber", std::to_string(line.sequence))
      .Text("timestamp", UtcTimeText(line.timeMs))
      .Raw(key, value);
  return object.Take() + '\n';
}

}  // namespace

std::string LogText(const std::string& text) {
  return text.size() <= kLongestLogText
             ? tarvex::WithoutSteering(text)
             : tarvex::WithoutSteering(tarvex::CutUtf8(text, static_cast<int>(kLongestLogText))) +
                   " [cut]";
}

std::string RunStartArtifact(const LogSubject& subject) {
  JsonObject machine;
  machine.Text("dutInfoId", "0");
  AddText(machine, "name", subject.machine);
  machine.Raw("softwareInfos", SoftwareJson(subject.software))
      .Raw("hardwareInfos", JsonList(subject.hardware, [](const LogHardware& item) {
             return HardwareMembers(item).Take();
           }));
  AddMetadata(machine, subject);
  JsonObject start;
  start.Text("name", "Tarvex Diagnostics")
      .Text("version", subject.version)
      .Text("commandLine", LogText(subject.program))
      .Raw("parameters", subject.isSimulated ? R"({"simulated":true})" : "{}")
      .Raw("dutInfo", machine.Take());
  return Member("testRunStart", start);
}

std::string RunEndArtifact(LogStatus status, LogResult result) {
  JsonObject end;
  end.Text("status", Word(kStatuses, status)).Text("result", Word(kResults, result));
  return Member("testRunEnd", end);
}

std::string TextArtifact(LogSeverity severity, const std::string& message) {
  JsonObject log;
  log.Text("severity", Word(kSeverities, severity)).Text("message", LogText(message));
  return Member("log", log);
}

std::string ErrorArtifact(const std::string& symptom, const std::string& message) {
  JsonObject error;
  error.Text("symptom", symptom);
  AddText(error, "message", message);
  return Member("error", error);
}

std::string StepStartArtifact(const std::string& name) {
  JsonObject start;
  start.Text("name", LogText(name));
  return Member("testStepStart", start);
}

std::string StepEndArtifact(LogStatus status) {
  JsonObject end;
  end.Text("status", Word(kStatuses, status));
  return Member("testStepEnd", end);
}

std::string DiagnosisArtifact(LogDiagnosis type, const std::string& verdict,
                              const std::string& message, const std::string& hardwareId) {
  JsonObject diagnosis;
  diagnosis.Text("verdict", LogText(verdict)).Text("type", Word(kDiagnoses, type));
  AddText(diagnosis, "message", message);
  AddText(diagnosis, "hardwareInfoId", hardwareId);
  return Member("diagnosis", diagnosis);
}

std::string MeasurementArtifact(const sdk::Measurement& measurement,
                                const std::string& hardwareId) {
  JsonObject object;
  object.Text("name", LogText(measurement.name)).Number("value", measurement.value);
  AddText(object, "unit", measurement.unit);
  if (!measurement.limits.empty()) {
    object.Raw("validators", JsonList(measurement.limits, LimitJson));
  }
  AddText(object, "hardwareInfoId", hardwareId);
  return Member("measurement", object);
}

std::vector<std::string> SeriesArtifacts(const sdk::MeasurementSeries& series,
                                         const std::string& id, const std::string& hardwareId,
                                         std::int64_t timeMs) {
  std::vector<std::string> artifacts;
  JsonObject axis;
  axis.Text("kind", Word(kSeriesKinds, series.kind)).Text("axis", LogText(series.axis));
  AddText(axis, "axisUnit", series.axisUnit);
  JsonObject start;
  start.Text("name", LogText(series.name));
  AddText(start, "unit", series.unit);
  start.Text("measurementSeriesId", id);
  AddText(start, "hardwareInfoId", hardwareId);
  artifacts.push_back(Member("measurementSeriesStart", start.Raw("metadata", axis.Take())));
  for (std::size_t i = 0; i < series.points.size(); ++i) {
    const sdk::MeasurementSeries::Point& point = series.points[i];
    JsonObject element;
    element.Raw("index", std::to_string(i))
        .Number("value", point.value)
        .Text("timestamp", UtcTimeText(timeMs))
        .Text("measurementSeriesId", id)
        .Raw("metadata", JsonObject().Number("position", point.position).Take());
    artifacts.push_back(Member("measurementSeriesElement", element));
  }
  JsonObject end;
  end.Text("measurementSeriesId", id).Raw("totalCount", std::to_string(series.points.size()));
  artifacts.push_back(Member("measurementSeriesEnd", end));
  return artifacts;
}

std::string SkippedVerdictArtifact(const std::string& word) {
  return ExtensionArtifact("verdict", JsonObject().Text("verdict", word).Take());
}

std::string HardwareArtifact(const LogHardware& hardware) {
  JsonObject object = HardwareMembers(hardware);
  AddText(object, "deviceKey", hardware.key);
  return ExtensionArtifact("hardwareInfo", object.Take());
}

std::string ExtensionArtifact(const std::string& name, const std::string& content) {
  JsonObject extension;
  extension.Text("name", name).Raw("content", content);
  return Member("extension", extension);
}

std::string SchemaVersionLine(const LogLine& line) {
  return Line(line, "schemaVersion", R"({"major":2,"minor":0})");
}

std::string RunLine(const LogLine& line, const std::string& artifact) {
  return Line(line, "testRunArtifact", '{' + artifact + '}');
}

std::string StepLine(const LogLine& line, std::uint64_t step, const std::string& artifact) {
  return Line(line, "testStepArtifact",
              "{\"testStepId\":\"" + std::to_string(step) + "\"," + artifact + '}');
}

}  // namespace orvan::log
