#include "service/scenario/trace.h"

#include <cerrno>
#include <utility>

#include "boundary/orvan_service_settings.h"
#include "os/regular_file.h"
#include "service/core/resolved_plan.h"
#include "service/log/json_text.h"

namespace orvan::scenario {
namespace {

using log::JsonList;
using log::JsonText;

constexpr char kLineStart[] = "{\"call\":\"";
constexpr unsigned kTraceMode = 0640;

const char* JsonTruth(bool value) {
  return value ? "true" : "false";
}

template <typename Items, typename Write>
std::string JsonMap(const Items& items, Write write) {
  std::string map = "{";
  for (const auto& [key, value] : items) {
    map += map.size() > 1 ? "," : "";
    map += JsonText(key) + ':' + write(value);
  }
  return map + '}';
}

std::string Member(const char* key, const std::string& text) {
  return std::string(",\"") + key + "\":" + JsonText(text);
}

std::string JsonParameter(const TestParameter& parameter) {
  return "{\"name\":" + JsonText(parameter.name) + Member("label", parameter.label) +
         Member("detail", parameter.detail) + Member("initialValue", parameter.initialValue) +
         Member("value", parameter.value) + ",\"type\":" + std::to_string(parameter.type) +
         Member("extra", parameter.extra) + '}';
}

// An object that the service does not know has no name.
std::string JsonTest(const core::ResolvedTest& test) {
  return "{\"test\":" + (test.test != nullptr ? JsonText(test.test->Record().name) : "null") +
         ",\"raw\":" + JsonList(test.item->rawParameters, JsonText) +
         ",\"parameters\":" + JsonList(test.item->parameters, JsonParameter) + '}';
}

std::string JsonDiagnostic(const core::ResolvedDiagnostic& item) {
  return "{\"diagnostic\":" +
         (item.diagnostic != nullptr ? JsonText(item.diagnostic->Record().name) : "null") +
         ",\"tests\":" + JsonList(item.tests, JsonTest) + '}';
}

}  // namespace

std::string Trace::Open(const std::string& folder, const std::string& path) {
  tarvex::OnlyFile file;
  std::string start;
  if (file.OpenBelow(folder, path, tarvex::OnlyFile::Access::kReadAndAppend, kTraceMode) != 0 ||
      !tarvex::ReadUpTo(file.File(), sizeof kLineStart - 1, start)) {
    return "cannot be written";
  }
  if (!start.empty() && start != kLineStart) return "names a file that is no trace";
  if (file.Empty() != 0) return "cannot be written";
  file_ = std::move(file);
  return {};
}

void Trace::Line(const char* call, const std::string& members) {
  const std::lock_guard lock(mutex_);
  if (file_.IsOpen() &&
      file_.Write(std::string(kLineStart) + call + '"' + members + "}\n") == EMLINK) {
    file_ = tarvex::OnlyFile();
  }
}

void Trace::OnApplySettings(const OrvanSettings& settings) {
  Line("ApplySettings", ",\"texts\":" + JsonMap(settings.texts, JsonText) +
                            ",\"truths\":" + JsonMap(settings.truths, JsonTruth));
}

void Trace::OnSetLogPath(const std::string& path) {
  Line("SetLogPath", Member("path", path));
}

void Trace::OnBeginFinalResult(std::int64_t groupId, const CallerInfo& caller) {
  Line("BeginFinalResult", ",\"groupId\":" + std::to_string(groupId) + ",\"caller\":{\"appName\":" +
                               JsonText(caller.appName) + Member("appVersion", caller.appVersion) +
                               Member("appKey", caller.appKey) +
                               Member("cacheDir", caller.cacheDir) + '}');
}

void Trace::OnGetFinalResultCode() {
  Line("GetFinalResultCode");
}

void Trace::OnEnableSupervisedRun() {
  Line("EnableSupervisedRun");
}

void Trace::OnSetNoDevicesMode(bool flag) {
  Line("SetNoDevicesMode", std::string(",\"flag\":") + JsonTruth(flag));
}

void Trace::OnScanDevices(const std::string& module) {
  Line("ScanDevices", Member("module", module));
}

void Trace::OnExecuteDiagnostics(const core::ResolvedPlan& plan) {
  Line("ExecuteDiagnostics",
       ",\"module\":" + (plan.module != nullptr ? JsonText(plan.module->Name()) : "null") +
           ",\"device\":" + (plan.device != nullptr ? JsonText(plan.device->Id()) : "null") +
           ",\"plan\":" + JsonList(plan.diagnostics, JsonDiagnostic));
}

void Trace::OnAbortExecution() {
  Line("AbortExecution");
}

void Trace::OnNotifySystemEvent(std::uint32_t bit) {
  Line("NotifySystemEvent", ",\"bit\":" + std::to_string(bit));
}

void Trace::OnClearSystemEvents() {
  Line("ClearSystemEvents");
}

void Trace::OnSetToolProperty(const std::string& tool, const std::string& key,
                              const std::vector<std::string>& values) {
  Line("SetToolProperty",
       Member("tool", tool) + Member("key", key) + ",\"values\":" + JsonList(values, JsonText));
}

void Trace::OnRunTool(const std::string& tool, bool listener,
                      const std::vector<std::string>& devices) {
  Line("RunTool", Member("tool", tool) + ",\"listener\":" + JsonTruth(listener) +
                      ",\"devices\":" + JsonList(devices, JsonText));
}

void Trace::OnAbortTool(const std::string& tool) {
  Line("AbortTool", Member("tool", tool));
}

void Trace::OnRelease() {
  Line("Release");
}

}  // namespace orvan::scenario
