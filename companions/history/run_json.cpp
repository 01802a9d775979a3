#include "companions/history/run_json.h"

#include "service/log/json_text.h"

namespace tarvex::history {
namespace {

using orvan::log::JsonList;
using orvan::log::JsonNumber;
using orvan::log::JsonObject;
using orvan::log::JsonText;

std::string ModuleJson(const Module& module) {
  return JsonObject()
      .Raw("name", TextOrNull(module.name))
      .Raw("version", TextOrNull(module.version))
      .Take();
}

std::string WordJson(const Word& word) {
  return JsonObject().Text("severity", word.severity).Text("text", word.text).Take();
}

std::string LimitJson(const Limit& limit) {
  return JsonObject().Raw("kind", TextOrNull(limit.kind)).Number("value", limit.value).Take();
}

std::string MeasurementJson(const Measurement& measurement) {
  return JsonObject()
      .Text("name", measurement.name)
      .Raw("value", NumberOrNull(measurement.value))
      .Raw("unit", TextOrNull(measurement.unit))
      .Raw("limits", JsonList(measurement.limits, LimitJson))
      .Take();
}

std::string SeriesJson(const Series& series) {
  const auto point = [](const std::pair<double, double>& place) {
    return '[' + JsonNumber(place.first) + ',' + JsonNumber(place.second) + ']';
  };
  return JsonObject()
      .Text("name", series.name)
      .Raw("kind", TextOrNull(series.kind))
      .Raw("unit", TextOrNull(series.unit))
      .Raw("axis", TextOrNull(series.axis))
      .Raw("axisUnit", TextOrNull(series.axisUnit))
      .Raw("points", JsonList(series.points, point))
      .Take();
}

std::string ParametersJson(const std::map<std::string, std::string>& parameters) {
  std::string text = "{";
  for (const auto& [name, value] : parameters) {
    text += (text.size() > 1 ? "," : "") + JsonText(name) + ':' + JsonText(value);
  }
  return text + '}';
}

std::string TestJson(const RunTest& test) {
  return JsonObject()
      .Text("step", test.step)
      .Raw("module", TextOrNull(test.module))
      .Raw("diagnostic", TextOrNull(test.diagnostic))
      .Raw("diagnosticName", TextOrNull(NameOfKey(test.diagnostic)))
      .Raw("test", TextOrNull(test.test))
      .Raw("testName", TextOrNull(NameOfKey(test.test)))
      .Raw("device", test.device ? std::to_string(*test.device) : "null")
      .Raw("start", TextOrNull(test.start))
      .Raw("end", TextOrNull(test.end))
      .Raw("seconds", NumberOrNull(test.seconds))
      .Text("verdict", WordOf(test.verdict))
      .Raw("words", JsonList(test.words, WordJson))
      .Raw("parameters", ParametersJson(test.parameters))
      .Raw("measurements", JsonList(test.measurements, MeasurementJson))
      .Raw("series", JsonList(test.series, SeriesJson))
      .Take();
}

std::string ErrorJson(const RunError& error) {
  return JsonObject()
      .Raw("symptom", TextOrNull(error.symptom))
      .Raw("text", TextOrNull(error.text))
      .Take();
}

}  // namespace

std::string TextOrNull(const std::string& text) {
  return text.empty() ? "null" : JsonText(text);
}

std::string NumberOrNull(const std::optional<double>& value) {
  return value ? JsonNumber(*value) : "null";
}

std::string DeviceJson(const RunDevice& device) {
  return JsonObject()
      .Raw("key", TextOrNull(device.key))
      .Raw("name", TextOrNull(device.name))
      .Raw("serial", TextOrNull(device.serial))
      .Raw("place", TextOrNull(device.place))
      .Raw("module", TextOrNull(device.module))
      .Take();
}

std::string JsonOf(const LoggedRun& run) {
  return JsonObject()
      .Raw("schema", "1")
      .Text("run", run.id)
      .Text("file", run.file)
      .Text("state", WordOf(run.state))
      .Raw("machine", TextOrNull(run.machine))
      .Raw("machineId", TextOrNull(run.machineId))
      .Raw("program", TextOrNull(run.program))
      .Raw("kernel", TextOrNull(run.kernel))
      .Raw("modules", JsonList(run.modules, ModuleJson))
      .Raw("start", TextOrNull(run.start))
      .Raw("end", TextOrNull(run.end))
      .Raw("simulated", run.isSimulated ? "true" : "false")
      .Text("verdict", WordOf(run.verdict))
      .Raw("devices", JsonList(run.devices, DeviceJson))
      .Raw("tests", JsonList(run.tests, TestJson))
      .Raw("errors", JsonList(run.errors, ErrorJson))
      .Raw("notes", JsonList(run.notes, WordJson))
      .Raw("faults", JsonList(run.faults, [](const std::string& text) { return JsonText(text); }))
      .Take();
}

}  // namespace tarvex::history
