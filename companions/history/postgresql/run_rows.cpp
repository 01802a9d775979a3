#include "companions/history/postgresql/run_rows.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

#include "companions/history/log_json.h"

namespace tarvex::history {
namespace {

enum TableNumber : std::size_t { kModules, kDevices, kResults, kWords, kValues, kSeries, kRemarks };
constexpr std::array<const char*, 7> kTables{
    "tarvex.run_module (run, position, name, version)",
    "tarvex.run_device (run, position, device, place)",
    "tarvex.test_result (run, position, test, device, started, ended, seconds, verdict, "
    "parameters)",
    "tarvex.test_word (run, result, position, severity, text)",
    "tarvex.measurement (run, result, position, name, value, unit, limits)",
    "tarvex.series (run, result, position, name, kind, unit, axis, axis_unit, positions,"
    " point_values)",
    "tarvex.run_remark (run, position, symptom, severity, text)"};

// What a device's key begins with when nothing else in the world has it.
// Source: Linux, Documentation/ABI/stable/sysfs-block, "wwid".
constexpr std::array<std::string_view, 3> kWorldWide{"naa.", "eui.", "uuid."};

bool IsWorldWide(const std::string& key) {
  return std::any_of(kWorldWide.begin(), kWorldWide.end(),
                     [&key](std::string_view start) { return key.starts_with(start); });
}

// "tarvex-20261121T080000.000Z-4711" has the time in the places that are digits here.
constexpr std::string_view kName = "tarvex-00000000T000000.000Z";

bool HasTime(const std::string& name) {
  if (name.size() < kName.size()) return false;
  return std::equal(kName.begin(), kName.end(), name.begin(), [](char pattern, char c) {
    return pattern == '0' ? std::isdigit(static_cast<unsigned char>(c)) != 0 : pattern == c;
  });
}

std::string ParametersJson(const std::map<std::string, std::string>& parameters) {
  std::string json;
  for (const auto& [name, value] : parameters) {
    json += (json.empty() ? "{" : ",") + QuotedJson(name) + ":" + QuotedJson(value);
  }
  return json.empty() ? json : json + "}";
}

std::string LimitsJson(const std::vector<Limit>& limits) {
  std::string json;
  for (const Limit& limit : limits) {
    json += (json.empty() ? "[" : ",") + std::string("{\"kind\":") + QuotedJson(limit.kind) +
            ",\"value\":" + JsonOf(limit.value) + "}";
  }
  return json.empty() ? json : json + "]";
}

std::int64_t Whole(std::size_t value) {
  return static_cast<std::int64_t>(value);
}

}  // namespace

std::string KeyOfMachine(const LoggedRun& run) {
  return run.machineId.empty() ? run.machine : run.machineId;
}

std::string KeyOfDevice(const LoggedRun& run, const RunDevice& device) {
  std::string key = device.module + '/' + device.key;
  if (IsWorldWide(device.key)) return key;
  // A key may be no more than a place, and serial numbers of two models may be the same.
  if (!device.serial.empty()) return key + '/' + device.name + '/' + device.serial;
  return key + '@' + KeyOfMachine(run);
}

std::string StartOf(const LoggedRun& run) {
  if (!run.start.empty() || !HasTime(run.id)) return run.start;
  const std::string time = run.id.substr(std::string_view("tarvex-").size());
  const std::string start = time.substr(0, 4) + '-' + time.substr(4, 2) + '-' + time.substr(6, 5) +
                            ':' + time.substr(11, 2) + ':' + time.substr(13, 7);
  // A file may be called anything, and one time that is none would end the load of all.
  return MillisecondsOf(start) ? start : std::string();
}

TestKey KeyOfTest(const RunTest& test) {
  return {test.module, test.diagnostic, test.test};
}

void AddRunRow(CopyText& rows, const RunToLoad& item, std::size_t position) {
  const LoggedRun& run = item.run;
  rows.Whole(Whole(position)).Text(KeyOfMachine(run)).Text(run.machine).Text(run.id);
  rows.Text(WordOf(run.state)).Whole(static_cast<std::int64_t>(item.bytes));
  rows.TextOrNull(run.program).TextOrNull(run.kernel);
  rows.TextOrNull(StartOf(run)).TextOrNull(run.end);
  rows.Truth(run.isSimulated).Text(WordOf(run.verdict)).EndRow();
}

RunRows::RunRows() {
  for (const char* name : kTables) tables_.push_back({name, {}});
}

void RunRows::Add(const LoggedRun& run, std::int64_t id, const KnownIds& ids) {
  id_ = id;
  for (std::size_t i = 0; i < run.modules.size(); ++i) {
    const Module& module = run.modules[i];
    Of(kModules).Whole(id).Whole(Whole(i)).Text(module.name).TextOrNull(module.version).EndRow();
  }
  std::vector<std::int64_t> devices;
  for (const RunDevice& device : run.devices) {
    devices.push_back(ids.devices.at(KeyOfDevice(run, device)));
    Of(kDevices).Whole(id).Whole(Whole(devices.size() - 1));
    Of(kDevices).Whole(devices.back()).TextOrNull(device.place).EndRow();
  }
  for (std::size_t i = 0; i < run.tests.size(); ++i) {
    const RunTest& test = run.tests[i];
    Of(kResults).Whole(id).Whole(Whole(i)).Whole(ids.tests.at(KeyOfTest(test)));
    Of(kResults).WholeOrNull(test.device ? std::optional(devices.at(*test.device)) : std::nullopt);
    AddTest(test, i);
  }
  AddRemarks(run);
}

void RunRows::AddTest(const RunTest& test, std::size_t position) {
  Of(kResults).TextOrNull(test.start).TextOrNull(test.end).Real(test.seconds);
  Of(kResults).Text(WordOf(test.verdict)).TextOrNull(ParametersJson(test.parameters)).EndRow();
  const auto begin = [this, position](TableNumber table, std::size_t i) -> CopyText& {
    return Of(table).Whole(id_).Whole(Whole(position)).Whole(Whole(i));
  };
  for (std::size_t i = 0; i < test.words.size(); ++i) {
    begin(kWords, i).Text(test.words[i].severity).Text(test.words[i].text).EndRow();
  }
  for (std::size_t i = 0; i < test.measurements.size(); ++i) {
    const Measurement& measured = test.measurements[i];
    begin(kValues, i).Text(measured.name).Real(measured.value).TextOrNull(measured.unit);
    Of(kValues).TextOrNull(LimitsJson(measured.limits)).EndRow();
  }
  for (std::size_t i = 0; i < test.series.size(); ++i) {
    const Series& series = test.series[i];
    std::vector<double> positions;
    std::vector<double> values;
    for (const auto& [where, value] : series.points) {
      positions.push_back(where);
      values.push_back(value);
    }
    begin(kSeries, i).Text(series.name).TextOrNull(series.kind).TextOrNull(series.unit);
    Of(kSeries).TextOrNull(series.axis).TextOrNull(series.axisUnit);
    Of(kSeries).Reals(positions).Reals(values).EndRow();
  }
}

void RunRows::AddRemarks(const LoggedRun& run) {
  std::size_t position = 0;
  for (const RunError& error : run.errors) {
    Of(kRemarks).Whole(id_).Whole(Whole(position++));
    Of(kRemarks).Text(error.symptom).Null().TextOrNull(error.text).EndRow();
  }
  for (const Word& note : run.notes) {
    Of(kRemarks).Whole(id_).Whole(Whole(position++));
    Of(kRemarks).Null().Text(note.severity).Text(note.text).EndRow();
  }
}

}  // namespace tarvex::history
