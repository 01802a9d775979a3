#include "companions/history/step_reader.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tarvex::history {
namespace {

struct StepName {
  std::string_view module;
  std::string_view diagnostic;
  std::string_view test;
  std::string_view device;  // empty: of no device
};

// "MODULE/DIAGNOSTIC/TEST/DEVICE"; a device's id may have slashes.
StepName NameOf(std::string_view text) {
  const auto take = [&text] {
    const std::size_t end = text.find('/');
    const std::string_view part = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    return part;
  };
  StepName name;
  name.module = take();
  name.diagnostic = take();
  name.test = take();
  name.device = text;
  return name;
}

// A device's place is "MODULE ID", or "MODULE ID, PATH".
bool StandsAt(std::string_view place, std::string_view wanted) {
  return place.substr(0, wanted.size()) == wanted &&
         (place.size() == wanted.size() || place.substr(wanted.size(), 2) == ", ");
}

struct DiagnosisRow {
  std::string_view type;
  Verdict verdict;
  const char* severity;
};

constexpr std::array<DiagnosisRow, 3> kDiagnoses{{{"PASS", Verdict::kPassed, "PASS"},
                                                  {"FAIL", Verdict::kFailed, "FAIL"},
                                                  {"UNKNOWN", Verdict::kWarning, "WARNING"}}};

// What the words of a test that was not tried begin with, in logs without its verdict.
Verdict SkippedVerdict(std::string_view said, const std::vector<Word>& words) {
  constexpr std::string_view kNotApplicable = "not applicable";
  if (said.empty() && !words.empty()) said = words.back().text;
  const bool begins = said.substr(0, kNotApplicable.size()) == kNotApplicable;
  return begins ? Verdict::kNotApplicable : Verdict::kCanceled;
}

}  // namespace

const char* SeverityOf(std::string_view severity) {
  if (severity == "ERROR" || severity == "FATAL") return "ERROR";
  return severity == "WARNING" ? "WARNING" : "INFO";
}

bool StepReader::TakeRoom() {
  if (left_ == 0) return false;
  --left_;
  return true;
}

std::size_t StepReader::DeviceOf(RunDevice device) {
  const auto isSame = [&device](const RunDevice& other) {
    return other.place == device.place && other.key == device.key &&
           other.serial == device.serial && other.name == device.name;
  };
  const auto found = std::find_if(run_.devices.begin(), run_.devices.end(), isSame);
  if (found != run_.devices.end()) return static_cast<std::size_t>(found - run_.devices.begin());
  run_.devices.push_back(std::move(device));
  return run_.devices.size() - 1;
}

namespace {

// A device without a key is known by what it says of itself, and else by its place.
RunDevice DeviceIn(const JsonMembers& hardware, std::string_view key) {
  RunDevice device;
  device.name = TextIn(hardware, "name");
  device.serial = TextIn(hardware, "serialNumber");
  device.place = TextIn(hardware, "location");
  device.module = TextIn(hardware, "partType");
  device.key = Shown(key);
  if (!device.key.empty()) return device;
  device.key = device.serial.empty() ? device.place : device.name + '_' + device.serial;
  return device;
}

}  // namespace

void StepReader::AddListed(const JsonMembers& hardware, std::string_view key) {
  if (!TakeRoom()) return;
  // Two that look alike are two all the same.
  run_.devices.push_back(DeviceIn(hardware, key));
  hardware_.try_emplace(std::string(RawTextIn(hardware, "hardwareInfoId")),
                        run_.devices.size() - 1);
}

StepReader::Handler StepReader::HandlerOf(std::string_view kind) {
  static constexpr std::array<std::pair<std::string_view, Handler>, 7> kHandlers{
      {{"diagnosis", &StepReader::Diagnosis},
       {"log", &StepReader::Text},
       {"error", &StepReader::Error},
       {"extension", &StepReader::Extension},
       {"measurement", &StepReader::OneMeasurement},
       {"measurementSeriesStart", &StepReader::SeriesStart},
       {"measurementSeriesElement", &StepReader::SeriesElement}}};
  for (const auto& [name, handler] : kHandlers) {
    if (name == kind) return handler;
  }
  return nullptr;
}

bool StepReader::Take(const JsonMembers& artifact, std::string_view time) {
  const std::string_view id = RawTextIn(artifact, "testStepId");
  if (const auto start = ObjectIn(artifact, "testStepStart")) {
    return Start(std::string(id), *start, time);
  }
  const auto found = steps_.find(id);
  if (found == steps_.end() || !found->second.isOpen) return false;
  Step& step = found->second;
  if (const auto end = ObjectIn(artifact, "testStepEnd")) {
    End(step, *end, time);
    return true;
  }
  for (const auto member : artifact) {
    const Handler handler = HandlerOf(member.key);
    JsonMembers content;
    if (handler != nullptr && member.value.get(content) == simdjson::SUCCESS) {
      NoteDevice(step, content);
      (this->*handler)(step, content);
    }
  }
  return true;
}

bool StepReader::Start(const std::string& id, const JsonMembers& start, std::string_view time) {
  if (!TakeRoom()) return true;
  const auto [step, isNew] = steps_.try_emplace(id);
  if (!isNew) return false;
  const std::string whole = TextIn(start, "name");
  const StepName name = NameOf(whole);
  step->second.test = run_.tests.size();
  RunTest& test = run_.tests.emplace_back();
  test.step = Shown(id);
  test.module = name.module;
  test.diagnostic = name.diagnostic;
  test.test = name.test;
  if (MillisecondsOf(time)) test.start = time;
  if (name.device.empty()) return true;
  const std::string place = test.module + ' ' + std::string(name.device);
  for (std::size_t at = 0; at < run_.devices.size() && !test.device; ++at) {
    if (StandsAt(run_.devices[at].place, place)) test.device = at;
  }
  return true;
}

void StepReader::End(Step& step, const JsonMembers& end, std::string_view time) {
  RunTest& test = TestOf(step);
  step.isOpen = false;
  const auto from = MillisecondsOf(test.start);
  const auto to = MillisecondsOf(time);
  if (to) test.end = time;
  // A clock that was set back meanwhile tells nothing.
  if (from && to && *to >= *from) test.seconds = static_cast<double>(*to - *from) / 1000;
  const std::string_view status = RawTextIn(end, "status");
  if (status == "ERROR") test.verdict = Verdict::kInvalid;
  if (status == "SKIP") test.verdict = SkippedVerdict(step.skipped, test.words);
}

void StepReader::NoteDevice(Step& step, const JsonMembers& artifact) {
  const auto found = hardware_.find(RawTextIn(artifact, "hardwareInfoId"));
  if (found != hardware_.end()) TestOf(step).device = found->second;
}

void StepReader::Diagnosis(Step& step, const JsonMembers& diagnosis) {
  const std::string_view type = RawTextIn(diagnosis, "type");
  for (const DiagnosisRow& row : kDiagnoses) {
    if (row.type != type) continue;
    TestOf(step).verdict = row.verdict;
    std::string text = TextIn(diagnosis, "message");
    if (!text.empty() && TakeRoom()) TestOf(step).words.push_back({row.severity, std::move(text)});
  }
}

void StepReader::Text(Step& step, const JsonMembers& log) {
  if (!TakeRoom()) return;
  TestOf(step).words.push_back({SeverityOf(RawTextIn(log, "severity")), TextIn(log, "message")});
}

void StepReader::Error(Step& step, const JsonMembers& error) {
  std::string text = TextIn(error, "message");
  if (text.empty()) text = TextIn(error, "symptom");
  if (TakeRoom()) TestOf(step).words.push_back({"ERROR", std::move(text)});
}

void StepReader::Extension(Step& step, const JsonMembers& extension) {
  const std::string_view name = RawTextIn(extension, "name");
  const auto content = ObjectIn(extension, "content");
  if (!content || !TakeRoom()) return;
  if (name == "hardwareInfo") {
    TestOf(step).device = DeviceOf(DeviceIn(*content, RawTextIn(*content, "deviceKey")));
  } else if (name == "verdict") {
    step.skipped = TextIn(*content, "verdict");
  } else if (name == "parameters") {
    for (const auto member : *content) {
      std::string_view value;
      if (member.value.get(value) == simdjson::SUCCESS && TakeRoom()) {
        TestOf(step).parameters[Shown(member.key)] = Shown(value);
      }
    }
  }
}

void StepReader::OneMeasurement(Step& step, const JsonMembers& measurement) {
  if (!TakeRoom()) return;
  Measurement& made = TestOf(step).measurements.emplace_back();
  made.name = TextIn(measurement, "name");
  made.value = NumberIn(measurement, "value");
  made.unit = TextIn(measurement, "unit");
  const auto limits = ListIn(measurement, "validators");
  if (!limits) return;
  for (const JsonValue limit : simdjson::dom::array(*limits)) {
    JsonMembers members;
    if (limit.get(members) != simdjson::SUCCESS || !TakeRoom()) continue;
    const auto value = NumberIn(members, "value");
    if (value) made.limits.push_back({TextIn(members, "type"), *value});
  }
}

void StepReader::SeriesStart(Step& step, const JsonMembers& start) {
  if (!TakeRoom()) return;
  std::vector<Series>& all = TestOf(step).series;
  const std::string_view id = RawTextIn(start, "measurementSeriesId");
  if (!series_.try_emplace(std::string(id), step.test, all.size()).second) return;
  Series& made = all.emplace_back();
  made.name = TextIn(start, "name");
  made.unit = TextIn(start, "unit");
  if (const auto axis = ObjectIn(start, "metadata")) {
    made.kind = TextIn(*axis, "kind");
    made.axis = TextIn(*axis, "axis");
    made.axisUnit = TextIn(*axis, "axisUnit");
  }
}

void StepReader::SeriesElement(Step& /*step*/, const JsonMembers& element) {
  const auto found = series_.find(RawTextIn(element, "measurementSeriesId"));
  const auto place = ObjectIn(element, "metadata");
  if (found == series_.end() || !place || !TakeRoom()) return;
  const auto position = NumberIn(*place, "position");
  const auto value = NumberIn(element, "value");
  const auto [test, series] = found->second;
  if (position && value) run_.tests[test].series[series].points.emplace_back(*position, *value);
}

}  // namespace tarvex::history
