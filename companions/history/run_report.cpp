#include "companions/history/run_report.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

#include "companions/history/list_report.h"
#include "companions/history/log_json.h"
#include "companions/history/run_json.h"
#include "companions/history/table_text.h"
#include "service/log/json_text.h"

namespace tarvex::history {
namespace {

using Row = std::vector<std::string>;

std::string OrDash(const std::string& text) {
  return text.empty() ? "-" : text;
}

std::string DeviceText(const RunDevice& device) {
  std::string text = device.name + " (" + device.place + ')';
  if (!device.serial.empty()) text += ", serial number " + device.serial;
  return text;
}

std::string Seconds(const std::optional<double>& seconds) {
  return seconds ? orvan::log::JsonNumber(*seconds) + " s" : "-";
}

void AddTest(const LoggedRun& run, const RunTest& test, std::string& text) {
  text += "\n" + std::string(WordOf(test.verdict)) + ": " + NameOfKey(test.test) + " (" +
          NameOfKey(test.diagnostic) + " of " + test.module + "), " + Seconds(test.seconds) + '\n';
  if (test.device) text += "  on " + DeviceText(run.devices[*test.device]) + '\n';
  for (const auto& [name, value] : test.parameters) text += "  " + name + '=' + value + '\n';
  for (const Word& word : test.words) {
    text += "  " + std::string(word.severity) + ": " + word.text + '\n';
  }
  std::vector<Row> rows;
  for (const Measurement& one : test.measurements) {
    rows.push_back({"  " + one.name, one.value ? ValueForPeople(*one.value, one.unit) : "-"});
  }
  text += TableText(rows);
}

std::string RunText(const LoggedRun& run) {
  std::string text = "Run " + run.id + ": " + WordOf(run.verdict);
  if (run.state != RunState::kComplete) text += " (" + std::string(WordOf(run.state)) + ')';
  text += '\n';
  if (run.isSimulated) text += "The hardware was simulated, or played from a recording.\n";
  std::vector<Row> rows{
      {"Machine", OrDash(run.machine)},      {"Start (UTC)", TimeForPeople(run.start)},
      {"End (UTC)", TimeForPeople(run.end)}, {"Program", OrDash(run.program)},
      {"Kernel", OrDash(run.kernel)},        {"Log", Shown(run.file)}};
  for (const Module& module : run.modules) {
    rows.push_back({"Module", module.name + ' ' + module.version});
  }
  for (const RunDevice& device : run.devices) rows.push_back({"Device", DeviceText(device)});
  text += TableText(rows);
  for (const RunTest& test : run.tests) AddTest(run, test, text);
  if (!run.errors.empty()) text += '\n';
  for (const RunError& error : run.errors) {
    text += "Error: " + error.symptom + (error.text.empty() ? "" : ": " + error.text) + '\n';
  }
  for (const std::string& fault : run.faults) text += "The log: " + fault + '\n';
  return text;
}

CsvLine TestCells(const LoggedRun& run, const RunTest& test) {
  const RunDevice none;
  const RunDevice& device = test.device ? run.devices[*test.device] : none;
  CsvLine line;
  line.Text(run.id).Text(run.machine).Text(test.step).Text(test.module).Text(test.diagnostic);
  line.Text(test.test).Text(device.key).Text(device.name).Text(device.serial).Text(test.start);
  line.Number(test.seconds).Text(WordOf(test.verdict));
  return line;
}

std::string RunCsv(const LoggedRun& run) {
  std::string text =
      CsvHead({"run", "machine", "step", "module", "diagnostic", "test", "key", "device", "serial",
               "start", "seconds", "verdict", "measurement", "value", "unit"});
  for (const RunTest& test : run.tests) {
    if (test.measurements.empty()) {
      text += TestCells(run, test).Text("").Text("").Text("").Take();
    }
    for (const Measurement& one : test.measurements) {
      text += TestCells(run, test).Text(one.name).Number(one.value).Text(one.unit).Take();
    }
  }
  return text;
}

}  // namespace

std::string ValueForPeople(double value, const std::string& unit) {
  constexpr std::array kPrefixes{"", "k", "M", "G", "T", "P"};
  std::size_t prefix = 0;
  if (unit == "B" || unit == "B/s") {
    while (std::abs(value) >= 1000 && prefix + 1 < kPrefixes.size()) {
      value /= 1000;
      ++prefix;
    }
  }
  char text[64];
  const bool isWhole = value == std::floor(value) && std::abs(value) < 1e15;
  std::snprintf(text, sizeof text, isWhole ? "%.0f" : "%.4g", value);
  return text + (unit.empty() ? "" : ' ' + std::string(kPrefixes.at(prefix)) + unit);
}

std::string RunReport(const LoggedRun& run, Format format) {
  if (format == Format::kJson) return JsonOf(run) + '\n';
  return format == Format::kCsv ? RunCsv(run) : RunText(run);
}

}  // namespace tarvex::history
