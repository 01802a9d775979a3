#include "service/scenario/module_reader.h"

#include <algorithm>
#include <set>

#include "service/scenario/player.h"
#include "system/key_format.h"

namespace orvan::scenario {
namespace {

DiagKey ReadKey(const Json& value, const std::string& place) {
  Fields fields(value, place);
  DiagKey key;
  key.major = fields.Get32("major");
  key.minor = fields.Get32("minor");
  key.build = fields.GetNumber("build", kMax64);
  fields.Need("identifier");
  key.identifier = fields.GetNumber("identifier", kMax64);
  fields.Finish();
  return key;
}

sdk::ParameterSpec ReadParameter(const Json& value, const std::string& place) {
  Fields fields(value, place);
  sdk::ParameterSpec spec;
  spec.name = fields.NeedText("name");
  spec.label = fields.GetText("label");
  spec.detail = fields.GetText("detail");
  spec.initialValue = fields.GetText("initialValue");
  spec.value = fields.GetText("value", spec.initialValue);
  spec.type = fields.GetSigned("type", kParameterText);
  spec.extra = fields.GetText("extra");
  const std::vector<std::uint64_t> range = fields.GetList(
      "range",
      [](const Json& bound, const std::string& where) { return Number(bound, where, kMax32); });
  if (!range.empty()) {
    if (range.size() != 2) Fail(fields.PlaceOf("range"), "must have two numbers");
    spec.least = range[0];
    spec.greatest = range[1];
  }
  fields.Finish();
  return spec;
}

ReportScript ReadReport(const Json& value, const std::string& place) {
  Fields fields(value, place);
  ReportScript report;
  report.at = fields.GetMs("atMs");
  report.percent = fields.GetSigned("percent", 0);
  report.message = fields.GetText("message");
  fields.Finish();
  return report;
}

OutcomeScript ReadOutcome(const Json& value, const std::string& place) {
  Fields fields(value, place);
  OutcomeScript outcome;
  outcome.status = fields.Get32("status");
  outcome.duration = fields.GetMs("durationMs");
  outcome.reports = fields.GetList("reports", ReadReport);
  fields.Finish();
  return outcome;
}

// None when the key is absent: every device.
std::function<bool(const sdk::Device&)> ReadAppliesTo(Fields& fields) {
  if (fields.Find("appliesTo") == nullptr) {
    return {};
  }
  const std::vector<std::string> ids = fields.GetList("appliesTo", Text);
  return [known = std::set<std::string>(ids.begin(), ids.end())](const sdk::Device& device) {
    return known.count(device.Id()) != 0;
  };
}

sdk::TestRecord ReadTest(const Json& value, const std::string& place) {
  Fields fields(value, place);
  sdk::TestRecord test;
  test.name = fields.NeedText("name");
  test.option = fields.NeedText("option");
  test.longName = fields.NeedText("longName");
  test.parameterRule = fields.Get32("rule");
  test.key = ReadKey(fields.Need("key"), fields.PlaceOf("key"));
  test.needsOperator = fields.GetFlag("needsOperator");
  test.appliesTo = ReadAppliesTo(fields);
  test.parameters = fields.GetList("parameters", ReadParameter);
  TestScript script;
  if (const Json* outcome = fields.Find("outcome")) {
    script.outcome = ReadOutcome(*outcome, fields.PlaceOf("outcome"));
  }
  script.outcomes = fields.GetMap("outcomes", ReadOutcome);
  test.run = PlayTest(std::move(script));
  fields.Finish();
  return test;
}

sdk::DiagnosticRecord ReadDiagnostic(const Json& value, const std::string& place) {
  Fields fields(value, place);
  sdk::DiagnosticRecord diagnostic;
  diagnostic.name = fields.NeedText("name");
  diagnostic.option = fields.NeedText("option");
  diagnostic.longName = fields.NeedText("longName");
  diagnostic.parameterRule = fields.Get32("rule");
  diagnostic.key = ReadKey(fields.Need("key"), fields.PlaceOf("key"));
  diagnostic.tests = fields.GetList("tests", ReadTest);
  fields.Finish();
  return diagnostic;
}

struct LabelledValue {
  std::string label;
  std::string value;
};

LabelledValue ReadLabelledValue(const Json& value, const std::string& place) {
  Fields fields(value, place);
  LabelledValue pair{fields.NeedText("label"), fields.NeedText("value")};
  fields.Finish();
  return pair;
}

DiagResource ReadResource(const Json& value, const std::string& place) {
  Fields fields(value, place);
  DiagResource resource;
  resource.type = fields.NeedText("type");
  for (LabelledValue& pair : fields.GetList("pairs", ReadLabelledValue)) {
    resource.pairs.emplace_back(std::move(pair.label), std::move(pair.value));
  }
  fields.Finish();
  return resource;
}

DeviceScript ReadDevice(const Json& value, const std::string& place) {
  Fields fields(value, place);
  DeviceScript device;
  device.id = fields.NeedText("id");
  device.udi = fields.GetText("udi", "scenario-" + device.id);
  device.result = fields.GetText("result", "SCENARIO-" + device.id);
  device.information.name = fields.GetText("name");
  for (LabelledValue& entry : fields.GetList("entries", ReadLabelledValue)) {
    device.information.entries.emplace_back(std::move(entry.value), std::move(entry.label));
  }
  device.information.properties = fields.GetMap("properties", Text);
  device.resources = fields.GetList("resources", ReadResource);
  fields.Finish();
  return device;
}

StepScript ReadStep(const Json& value, const std::string& place) {
  Fields fields(value, place);
  StepScript step;
  step.after = fields.GetMs("afterMs");
  step.set = fields.GetMap("set", Texts);
  step.event = fields.GetText("event");
  fields.Finish();
  return step;
}

// Whether the key `name` stands for the tool that recovers bad sectors: bars and case are how it is
// shown.
bool IsRepair(std::string_view name) {
  return tarvex::FormatKey(name, false, false, false) == "recover_bad_sectors";
}

sdk::ToolRecord ReadTool(const Json& value, const std::string& place) {
  Fields fields(value, place);
  sdk::ToolRecord tool;
  tool.name = fields.NeedText("name");
  tool.description = fields.GetText("description");
  tool.hint = fields.GetText("hint");
  tool.appliesTo = ReadAppliesTo(fields);
  ToolScript script;
  script.run = fields.GetList("run", ReadStep);
  script.abort = fields.GetList("abort", ReadStep);
  const std::vector<std::string> withdrawn = fields.GetList("withdraws", Text);
  script.withdraws.insert(withdrawn.begin(), withdrawn.end());
  tool.mayWrite = fields.GetFlag("writes", IsRepair(tool.name));
  PlayTool(std::move(script), tool);
  fields.Finish();
  return tool;
}

ProductVersion ReadVersion(const std::string& text, const std::string& place) {
  std::uint32_t parts[4] = {};
  std::size_t position = 0;
  for (int part = 0; part < 4; ++part) {
    std::size_t end = std::min(text.find('.', position), text.size());
    const std::string digits = text.substr(position, end - position);
    const bool isLast = part == 3;
    if (digits.empty() || digits.size() > 10 ||
        digits.find_first_not_of("0123456789") != std::string::npos ||
        std::stoull(digits) > kMax32 || (end == text.size()) != isLast) {
      Fail(place, "must be four numbers with \".\" between them");
    }
    parts[part] = static_cast<std::uint32_t>(std::stoull(digits));
    position = end + 1;
  }
  return {parts[0], parts[1], parts[2], parts[3]};
}

}  // namespace

ModuleScript ReadModule(const Json& value, const std::string& place) {
  Fields fields(value, place);
  ModuleScript module;
  module.name = fields.NeedText("name");
  module.version = ReadVersion(fields.GetText("version", "1.0.0.0"), fields.PlaceOf("version"));
  module.help = fields.GetText("help");
  module.scan = fields.GetMs("scanMs");
  module.diagnostics = fields.GetList("diagnostics", ReadDiagnostic);
  module.devices = fields.GetList("devices", ReadDevice);
  module.tools = fields.GetList("tools", ReadTool);
  fields.Finish();
  return module;
}

}  // namespace orvan::scenario
