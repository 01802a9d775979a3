#include "service/scenario/scenario_file.h"

#include <cstdio>

#include "os/regular_file.h"
#include "service/scenario/json_document.h"
#include "service/scenario/json_fields.h"
#include "service/scenario/module_reader.h"
#include "system/outside_text.h"
#include "system/text_conversion.h"

namespace orvan::scenario {
namespace {

constexpr std::size_t kLargestFile = 64ULL * 1024 * 1024;

ThrownError ReadThrown(Fields& fields, const char* key) {
  const std::string name = fields.GetText(key);
  if (name == "InvalidAppKey") return ThrownError::kInvalidAppKey;
  if (name == "FailedToVisitLocalCache") return ThrownError::kFailedToVisitLocalCache;
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
  if (fields.Find("trace") != nullptr) scenario.trace = ReadTracePath(fields);
  if (const Json* service = fields.Find("service")) ReadService(*service, scenario);
  scenario.modules = fields.GetList("modules", ReadModule);
  fields.Finish();
  return scenario;
}

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
  return ReadRoot(ParseJson(text));
}

Scenario ReadScenario(const std::string& path) {
  std::string text;
  if (!tarvex::ReadRegularFile(path, kLargestFile + 1, text)) Fail("", "cannot be read");
  if (text.size() > kLargestFile) Fail("", "is larger than 64 MiB");
  return ParseScenario(text);
}

}  // namespace orvan::scenario
