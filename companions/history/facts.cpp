#include "companions/history/facts.h"

#include <algorithm>
#include <set>
#include <unordered_map>

#include "companions/history/log_json.h"
#include "service/log/json_text.h"

namespace tarvex::history {
namespace {

using orvan::log::JsonList;
using orvan::log::JsonNumber;
using orvan::log::JsonObject;

// Series of places at which sectors are bad.
constexpr std::string_view kBadEnding = "-ranges";

TestFacts FactsOf(const RunTest& test) {
  TestFacts facts{test.module, test.diagnostic, test.test, test.verdict, {}, {}};
  for (const Measurement& one : test.measurements) {
    if (one.value) facts.values.push_back({one.name, *one.value, one.unit});
  }
  for (const Series& series : test.series) {
    if (series.kind == "RANGES" && series.name.ends_with(kBadEnding)) {
      facts.bad.insert(facts.bad.end(), series.points.begin(), series.points.end());
    }
  }
  return facts;
}

std::string TextOf(const Value& value) {
  return JsonObject().Text("n", value.name).Number("v", value.value).Text("u", value.unit).Take();
}

std::string TextOf(const TestFacts& test) {
  const auto place = [](const std::pair<double, double>& one) {
    return '[' + JsonNumber(one.first) + ',' + JsonNumber(one.second) + ']';
  };
  return JsonObject()
      .Text("m", test.module)
      .Text("d", test.diagnostic)
      .Text("t", test.test)
      .Text("r", WordOf(test.verdict))
      .Raw("v", JsonList(test.values, [](const Value& value) { return TextOf(value); }))
      .Raw("b", JsonList(test.bad, place))
      .Take();
}

template <typename See>
bool ForEachIn(const JsonMembers& object, const char* key, See see) {
  const auto list = ListIn(object, key);
  if (!list) return false;
  for (const JsonValue item : simdjson::dom::array(*list)) {
    if (!see(item)) return false;
  }
  return true;
}

bool TakeValue(const JsonValue& item, std::vector<Value>& values) {
  JsonMembers members;
  if (item.get(members) != simdjson::SUCCESS) return false;
  const auto value = NumberIn(members, "v");
  if (!value) return false;
  values.push_back({TextIn(members, "n"), *value, TextIn(members, "u")});
  return true;
}

bool TakePlace(const JsonValue& item, Places& places) {
  double position = 0;
  double count = 0;
  if (item.at_pointer("/0").get(position) != simdjson::SUCCESS ||
      item.at_pointer("/1").get(count) != simdjson::SUCCESS) {
    return false;
  }
  places.emplace_back(position, count);
  return true;
}

bool TakeTest(const JsonValue& item, std::vector<TestFacts>& tests) {
  JsonMembers members;
  if (item.get(members) != simdjson::SUCCESS) return false;
  const auto verdict = VerdictOfWord(RawTextIn(members, "r"));
  if (!verdict) return false;
  TestFacts& test = tests.emplace_back();
  test.module = TextIn(members, "m");
  test.diagnostic = TextIn(members, "d");
  test.test = TextIn(members, "t");
  test.verdict = *verdict;
  const auto value = [&test](const JsonValue& one) { return TakeValue(one, test.values); };
  const auto place = [&test](const JsonValue& one) { return TakePlace(one, test.bad); };
  return ForEachIn(members, "v", value) && ForEachIn(members, "b", place);
}

std::string IdentityOf(const RunDevice& device, const LoggedRun& run, bool isAlone) {
  const std::string key = (run.isSimulated ? "simulated " : "") +
                          (isAlone ? device.key : device.key + ' ' + device.place);
  if (!device.serial.empty()) return key;
  return KeyOfMachine(run.machineId, run.machine) + ' ' + key;
}

}  // namespace

std::vector<DeviceFacts> FactsOf(const LoggedRun& run) {
  std::unordered_map<std::string, std::set<std::string>> placesOf;
  for (const RunDevice& device : run.devices) placesOf[device.key].insert(device.place);
  // One that told its name anew amid the run is listed twice there.
  std::vector<std::size_t> factsOf(run.devices.size());
  std::unordered_map<std::string, std::size_t> known;
  std::vector<DeviceFacts> all;
  for (std::size_t at = 0; at < run.devices.size(); ++at) {
    const RunDevice& device = run.devices[at];
    const bool isAlone = placesOf[device.key].size() == 1;
    const std::string identity = IdentityOf(device, run, isAlone);
    const auto [found, isNew] = known.try_emplace(identity, all.size());
    if (isNew) all.push_back({device, identity, {}});
    factsOf[at] = found->second;
  }
  for (const RunTest& test : run.tests) {
    if (test.device) all[factsOf[*test.device]].tests.push_back(FactsOf(test));
  }
  std::erase_if(all, [](const DeviceFacts& one) { return one.tests.empty(); });
  return all;
}

Verdict WorstOf(const std::vector<TestFacts>& tests) {
  Verdict worst = Verdict::kNotApplicable;
  for (const TestFacts& test : tests) worst = std::min(worst, test.verdict);
  return worst;
}

std::string TextOfFacts(const std::vector<TestFacts>& tests) {
  return "{\"tests\":" + JsonList(tests, [](const TestFacts& test) { return TextOf(test); }) + '}';
}

std::optional<std::vector<TestFacts>> FactsOfText(const std::string& text) {
  // One for each thread, for it keeps the memory that it works in.
  thread_local simdjson::dom::parser parser;
  JsonMembers members;
  if (parser.parse(text).get(members) != simdjson::SUCCESS) return {};
  std::vector<TestFacts> tests;
  const auto test = [&tests](const JsonValue& item) { return TakeTest(item, tests); };
  if (!ForEachIn(members, "tests", test)) return {};
  return tests;
}

}  // namespace tarvex::history
