#include "service/scenario/scenario_file.h"

#include <algorithm>
#include <cstdio>
#include <set>

#include "os/regular_file.h"
#include "service/scenario/json_fields.h"
#include "service/scenario/player.h"
#include "system/key_format.h"
#include "system/outside_text.h"
#include "system/text_conversion.h"

namespace orvan::scenario {
namespace {

constexpr std::size_t kLargestFile = 64ULL * 1024 * 1024;

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
    if (range.size() != 2) {
      Fail(fields.PlaceOf("range"), "must have two numbers");
    }
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

ThrownError ReadThrown(Fields& fields, const char* key) {
  const std::string name = fields.GetText(key);
  if (name == "InvalidAppKey") {
    return ThrownError::kInvalidAppKey;
  }
  if (name == "FailedToVisitLocalCache") {
    return ThrownError::kFailedToVisitLocalCache;
  }
  if (fields.Find(key) != nullptr) {
    Fail(fields.PlaceOf(key), "must be \"InvalidAppKey\" or \"FailedToVisitLocalCache\"");
  }
  return ThrownError::kNone;
}

void ReadService(const Json& value, Scenario& scenario) {
  Fields fields(value, "service");
  if (fields.Find("loadModules") != nullptr) {
    if (fields.NeedText("loadModules") != "null") {
      Fail(fields.PlaceOf("loadModules"), "must be \"null\"");
    }
    scenario.loadsModules = false;
  }
  scenario.applySettings = ReadThrown(fields, "applySettings");
  scenario.beginFinalResult = ReadThrown(fields, "beginFinalResult");
  scenario.finalResultCode = fields.GetText("finalResultCode", scenario.finalResultCode);
  fields.Finish();
}

// Whoever writes a scenario is not to choose files all over the machine.
std::string ReadTracePath(Fields& fields) {
  const std::string path = fields.NeedText("trace");
  const std::string framed = '/' + path + '/';
  if (path.empty() || path[0] == '/' || framed.find("/../") != std::string::npos ||
      path.find('\0') != std::string::npos) {
    Fail(fields.PlaceOf("trace"), "must be a path below the scenario's folder");
  }
  return path;
}

Scenario ReadRoot(const Json& value) {
  Fields fields(value, "");
  Scenario scenario;
  if (fields.Find("trace") != nullptr) {
    scenario.trace = ReadTracePath(fields);
  }
  if (const Json* service = fields.Find("service")) {
    ReadService(*service, scenario);
  }
  scenario.modules = fields.GetList("modules", ReadModule);
  fields.Finish();
  return scenario;
}

[[noreturn]] void FailSyntax(std::string_view text, const Json::parse_error& error) {
  // The byte is counted from 1 and may lie one behind the end.
  const std::size_t at = std::min(error.byte > 0 ? error.byte - 1 : 0, text.size());
  const std::string_view before = text.substr(0, at);
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const std::size_t lineStart = before.rfind('\n');
  const std::size_t column = at - (lineStart == std::string_view::npos ? 0 : lineStart + 1) + 1;
  throw ScenarioFault("line " + std::to_string(line) + ", column " + std::to_string(column) +
                      ": is no JSON");
}

// The parser keeps the last of two equal keys in silence; a file that says two things is refused.
// A pass of its own over the text: the parser's callback makes the parse itself quadratic.
class RepeatedKeys : public Json::json_sax_t {
 public:
  bool start_object(std::size_t /*elements*/) override { return Open(false); }
  bool end_object() override { return Close(); }
  bool key(string_t& name) override {
    Level& object = open_.back();
    object.key = name;
    if (!object.keys.insert(name).second) {
      Fail(Place(), "stands twice");
    }
    return true;
  }
  bool null() override { return Count(); }
  bool boolean(bool /*value*/) override { return Count(); }
  bool number_integer(number_integer_t /*value*/) override { return Count(); }
  bool number_unsigned(number_unsigned_t /*value*/) override { return Count(); }
  bool number_float(number_float_t /*value*/, const string_t& /*text*/) override { return Count(); }
  bool string(string_t& /*value*/) override { return Count(); }
  bool binary(binary_t& /*value*/) override { return Count(); }
  bool start_array(std::size_t /*elements*/) override { return Open(true); }
  bool end_array() override { return Close(); }
  // The parse that follows tells the error with its place.
  bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                   const nlohmann::detail::exception& /*error*/) override {
    return false;
  }

 private:
  struct Level {
    bool isList = false;
    std::size_t begun = 0;  // elements of a list, the last of which is being read
    std::set<std::string> keys;
    std::string key;  // the one that is being read
  };

  // A value begins, which counts where a list holds it.
  bool Count() {
    if (!open_.empty()) {
      ++open_.back().begun;
    }
    return true;
  }
  bool Open(bool isList) {
    Count();
    open_.push_back({isList, 0, {}, {}});
    return true;
  }
  bool Close() {
    open_.pop_back();
    return true;
  }
  std::string Place() const {
    std::string place;
    for (const Level& level : open_) {
      if (level.isList) {
        place += '[' + std::to_string(level.begun - 1) + ']';
      } else {
        place += (place.empty() ? "" : ".") + level.key;
      }
    }
    return place;
  }

  std::vector<Level> open_;  // what is being read, from the outside in
};

}  // namespace

std::string OneLine(std::string_view text) {
  std::string line;
  while (!text.empty()) {
    const tarvex::DecodedCharacter decoded = tarvex::DecodeUtf8(text);
    const auto code = static_cast<std::uint32_t>(decoded.character);
    if (decoded.good && tarvex::IsSteering(code)) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04X", code & 0xFFFFU);
      line += escape;
    } else {
      line += tarvex::WithoutSteering(text.substr(0, decoded.length));
    }
    text.remove_prefix(decoded.length);
  }
  return line;
}

Scenario ParseScenario(std::string_view text) {
  RepeatedKeys repeatedKeys;
  Json root;
  try {
    Json::sax_parse(text.begin(), text.end(), &repeatedKeys, nlohmann::json::input_format_t::json,
                    true, true);
    root = Json::parse(text.begin(), text.end(), nullptr, true, true);
  } catch (const Json::parse_error& error) {
    FailSyntax(text, error);
  } catch (const Json::exception& error) {
    throw ScenarioFault("the file: is no JSON that can be read");
  }
  return ReadRoot(root);
}

Scenario ReadScenario(const std::string& path) {
  std::string text;
  if (!tarvex::ReadRegularFile(path, kLargestFile + 1, text)) {
    Fail("", "cannot be read");
  }
  if (text.size() > kLargestFile) {
    Fail("", "is larger than 64 MiB");
  }
  return ParseScenario(text);
}

}  // namespace orvan::scenario
