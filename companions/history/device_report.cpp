#include "companions/history/device_report.h"

#include <algorithm>
#include <map>

#include "companions/history/list_report.h"
#include "companions/history/run_json.h"
#include "companions/history/run_report.h"
#include "companions/history/table_text.h"
#include "service/log/json_text.h"

namespace tarvex::history {
namespace {

using orvan::log::JsonList;
using orvan::log::JsonObject;
using orvan::log::JsonText;

// By name, so that the last test that measured it counts.
struct NamedValue {
  Value value;
  std::string test;
};
using NamedValues = std::map<std::string, NamedValue>;

NamedValues ValuesOf(const std::vector<TestFacts>& tests) {
  NamedValues values;
  for (const TestFacts& test : tests) {
    for (const Value& value : test.values) values[value.name] = {value, test.test};
  }
  return values;
}

JsonObject ValueMembers(const Value& value) {
  JsonObject object;
  object.Number("value", value.value).Raw("unit", TextOrNull(value.unit));
  return object;
}

void AddMember(std::string& object, const std::string& name, std::string value) {
  object += (object.size() > 1 ? "," : "") + JsonText(name) + ':' + std::move(value);
}

std::string TestJson(const TestFacts& test) {
  std::string values = "{";
  for (const Value& value : test.values) AddMember(values, value.name, ValueMembers(value).Take());
  return JsonObject()
      .Raw("module", TextOrNull(test.module))
      .Raw("diagnostic", TextOrNull(test.diagnostic))
      .Raw("test", TextOrNull(test.test))
      .Raw("testName", TextOrNull(NameOfKey(test.test)))
      .Text("verdict", WordOf(test.verdict))
      .Raw("values", values + '}')
      .Take();
}

std::string RunJson(const DeviceRun& one) {
  std::string values = "{";
  for (const auto& [name, named] : ValuesOf(one.facts.tests)) {
    AddMember(values, name, ValueMembers(named.value).Text("test", named.test).Take());
  }
  return JsonObject()
      .Text("run", one.run.id)
      .Text("file", one.run.file)
      .Raw("machine", TextOrNull(one.run.machine))
      .Raw("start", TextOrNull(one.run.start))
      .Text("verdict", WordOf(WorstOf(one.facts.tests)))
      .Raw("tests", JsonList(one.facts.tests, TestJson))
      .Raw("values", values + '}')
      .Take();
}

std::string CourseCsv(const std::vector<DeviceRun>& runs) {
  std::string text = CsvHead({"key", "device", "serial", "run", "machine", "start", "test",
                              "verdict", "measurement", "value", "unit"});
  for (const DeviceRun& one : runs) {
    const RunDevice& device = one.facts.device;
    for (const TestFacts& test : one.facts.tests) {
      const auto cells = [&] {
        CsvLine line;
        line.Text(device.key).Text(device.name).Text(device.serial).Text(one.run.id);
        line.Text(one.run.machine).Text(one.run.start).Text(test.test).Text(WordOf(test.verdict));
        return line;
      };
      if (test.values.empty()) text += cells().Text("").Text("").Text("").Take();
      for (const Value& value : test.values) {
        text += cells().Text(value.name).Number(value.value).Text(value.unit).Take();
      }
    }
  }
  return text;
}

// The newest runs beside each other: tests first, then what was measured.
std::string CourseText(const std::vector<DeviceRun>& runs, std::size_t count) {
  const RunDevice& device = runs.back().facts.device;
  std::string text = device.name + " (" + device.key + "), last at " + device.place + " of " +
                     runs.back().run.machine + "\n" + std::to_string(count) +
                     (count == 1 ? " run" : " runs") + "\n\n";
  const std::size_t first = runs.size() - std::min(runs.size(), kRunsShown);
  std::vector<std::string> head{"START (UTC)"};
  std::map<std::string, std::vector<std::string>> tests;
  std::map<std::string, std::vector<std::string>> values;
  const std::size_t columns = runs.size() - first;
  const auto cell = [columns](auto& rows, const std::string& name) -> auto& {
    return rows.try_emplace(name, columns, "-").first->second;
  };
  for (std::size_t at = first; at < runs.size(); ++at) {
    head.push_back(TimeForPeople(runs[at].run.start).substr(0, 16));
    for (const TestFacts& test : runs[at].facts.tests) {
      cell(tests, NameOfKey(test.test))[at - first] = WordOf(test.verdict);
    }
    for (const auto& [name, named] : ValuesOf(runs[at].facts.tests)) {
      cell(values, name)[at - first] = ValueForPeople(named.value.value, named.value.unit);
    }
  }
  std::vector<std::vector<std::string>> rows{head};
  for (const auto* part : {&tests, &values}) {
    for (const auto& [name, cells] : *part) {
      rows.push_back({name});
      rows.back().insert(rows.back().end(), cells.begin(), cells.end());
    }
  }
  return text + TableText(rows);
}

std::string KnownJson(const KnownDevice& known) {
  return JsonObject()
      .Raw("device", DeviceJson(known.device))
      .Raw("machine", TextOrNull(known.machine))
      .Raw("machineId", TextOrNull(known.machineId))
      .Text("lastRun", known.lastRun)
      .Raw("lastStart", TextOrNull(known.lastStart))
      .Text("verdict", WordOf(known.verdict))
      .Raw("runs", std::to_string(known.runs))
      .Raw("simulated", known.isSimulated ? "true" : "false")
      .Take();
}

std::string DevicesText(const std::vector<KnownDevice>& devices) {
  if (devices.empty()) return "There are no devices.\n";
  std::vector<std::vector<std::string>> rows{
      {"DEVICE", "SERIAL NUMBER", "MACHINE", "LAST RUN (UTC)", "VERDICT", "RUNS", "KEY"}};
  for (const KnownDevice& known : devices) {
    rows.push_back({known.device.name, known.device.serial.empty() ? "-" : known.device.serial,
                    known.machine.empty() ? "-" : known.machine, TimeForPeople(known.lastStart),
                    WordOf(known.verdict) + std::string(known.isSimulated ? ", simulated" : ""),
                    std::to_string(known.runs), known.device.key});
  }
  return TableText(rows);
}

std::string DevicesCsv(const std::vector<KnownDevice>& devices) {
  std::string text = CsvHead({"key", "device", "serial", "place", "module", "machine", "last_run",
                              "last_start", "verdict", "runs", "simulated"});
  for (const KnownDevice& known : devices) {
    CsvLine line;
    line.Text(known.device.key).Text(known.device.name).Text(known.device.serial);
    line.Text(known.device.place).Text(known.device.module).Text(known.machine);
    line.Text(known.lastRun).Text(known.lastStart).Text(WordOf(known.verdict));
    line.Number(static_cast<double>(known.runs));
    text += line.Text(known.isSimulated ? "true" : "false").Take();
  }
  return text;
}

}  // namespace

std::string DevicesReport(const std::vector<KnownDevice>& devices, Format format) {
  if (format == Format::kText) return DevicesText(devices);
  if (format == Format::kCsv) return DevicesCsv(devices);
  return JsonObject().Raw("schema", "1").Raw("devices", JsonList(devices, KnownJson)).Take() + '\n';
}

std::string CourseReport(const std::vector<DeviceRun>& runs, std::size_t count, Format format) {
  if (format == Format::kText) return CourseText(runs, count);
  if (format == Format::kCsv) return CourseCsv(runs);
  return JsonObject()
             .Raw("schema", "1")
             .Raw("device", DeviceJson(runs.back().facts.device))
             .Raw("runs", JsonList(runs, RunJson))
             .Take() +
         '\n';
}

}  // namespace tarvex::history
