#include "companions/history/prometheus.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>

#include "companions/history/log_json.h"
#include "service/log/json_text.h"

namespace tarvex::history {
namespace {

// A measurement with a metric of its own, in Prometheus' base units. Others are
// tarvex_device_measurement with their unit as a label. Names stay as they are: boards and alerts
// are built on them.
struct Row {
  const char* measurement;
  const char* unit;  // as the log has it
  const char* metric;
  double factor;
  const char* help;
};
constexpr std::array kRows = {
    Row{"temperature", "C", "tarvex_device_temperature_celsius", 1,
        "Temperature that the device told."},
    Row{"power-on-hours", "h", "tarvex_device_power_on_seconds", 3600,
        "How long the device has been on in its life."},
    Row{"percentage-used", "%", "tarvex_device_used_ratio", 0.01,
        "Part of the device's promised life that is used; may be above 1."},
    Row{"available-spare", "%", "tarvex_device_available_spare_ratio", 0.01,
        "Part of the device's spare blocks that is left."},
    Row{"reallocated-sectors", "", "tarvex_device_reallocated_sectors", 1,
        "Sectors that the device replaced by spare ones."},
    Row{"pending-sectors", "", "tarvex_device_pending_sectors", 1,
        "Sectors that the device cannot read now."},
    Row{"unreadable-sectors", "", "tarvex_device_unreadable_sectors", 1,
        "Sectors that the test could not read."},
    Row{"slow-answers", "", "tarvex_device_slow_answers", 1,
        "Reads of the test that took longer than they may."},
    Row{"slowest-answer", "s", "tarvex_device_slowest_answer_seconds", 1,
        "The longest time that a read of the test took."},
    Row{"read-rate", "B/s", "tarvex_device_read_bytes_per_second", 1,
        "Rate at which the test read the device."},
    Row{"write-rate", "B/s", "tarvex_device_write_bytes_per_second", 1,
        "Rate at which the test wrote the device."},
};
constexpr char kOther[] = "tarvex_device_measurement";

std::string LabelText(const std::string& text) {
  std::string escaped;
  for (const char byte : text) {
    if (byte == '\\' || byte == '"') escaped += '\\';
    escaped += byte;
  }
  return escaped;
}

class Labels {
 public:
  Labels& Add(const char* name, const std::string& value) {
    text_ += (text_.empty() ? "" : ",") + std::string(name) + "=\"" + LabelText(value) + '"';
    return *this;
  }
  const std::string& Text() const { return text_; }
  auto operator<=>(const Labels&) const = default;  // NOLINT(modernize-use-nullptr): has none

 private:
  std::string text_;
};

struct Metric {
  std::string help;
  std::map<std::string, double> samples;  // by labels, each once
};

// All metrics by name, so that the samples of each stand together.
class Page {
 public:
  void Add(const std::string& name, const std::string& help, const Labels& labels, double value) {
    Metric& metric = metrics_[name];
    metric.help = help;
    metric.samples[labels.Text()] = value;
  }

  std::string Text() const {
    std::string text;
    for (const auto& [name, metric] : metrics_) {
      text += "# HELP " + name + ' ' + metric.help + "\n# TYPE " + name + " gauge\n";
      for (const auto& [labels, value] : metric.samples) {
        text += name + '{' + labels + "} " + orvan::log::JsonNumber(value) + '\n';
      }
    }
    return text;
  }

 private:
  std::map<std::string, Metric> metrics_;
};

std::optional<double> SecondsOf(const std::string& time) {
  const auto milliseconds = MillisecondsOf(time);
  if (!milliseconds) return {};
  return static_cast<double>(*milliseconds) / 1000;
}

// What is told of a machine's last run.
struct RunRow {
  const char* metric;
  const char* help;
  std::optional<double> (*value)(const RunSummary&);
};
constexpr std::array kRunRows = {
    RunRow{"tarvex_last_run_start_timestamp_seconds", "When the last run began.",
           [](const RunSummary& run) { return SecondsOf(run.start); }},
    RunRow{"tarvex_last_run_end_timestamp_seconds",
           "When the last run ended; missing while it goes on, and when it did not end.",
           [](const RunSummary& run) { return SecondsOf(run.end); }},
};

// What is told of it for each verdict.
struct VerdictRow {
  const char* metric;
  const char* help;
  double (*value)(const RunSummary&, Verdict);
};
constexpr std::array kVerdictRows = {
    VerdictRow{"tarvex_last_run_verdict", "1 for the verdict of the last run, 0 for the others.",
               [](const RunSummary& run, Verdict one) { return run.verdict == one ? 1.0 : 0.0; }},
    VerdictRow{"tarvex_last_run_tests", "Tests of the last run that ended so.",
               [](const RunSummary& run, Verdict one) {
                 return static_cast<double>(run.counts.at(static_cast<std::size_t>(one)));
               }},
};

// Machines are told apart by their names, and by their numbers where several have one name.
class Machines {
 public:
  void Add(const RunSummary& run) {
    keys_[run.machine].insert(KeyOfMachine(run.machineId, run.machine));
  }
  Labels LabelsOf(const RunSummary& run) const {
    Labels labels = Labels().Add("machine", run.machine);
    const bool isShared = keys_.at(run.machine).size() > 1;
    return isShared && !run.machineId.empty() ? labels.Add("machine_id", run.machineId) : labels;
  }

 private:
  std::map<std::string, std::set<std::string>> keys_;  // by name
};

void AddRun(Page& page, const Labels& machine, const RunSummary& run) {
  for (const RunRow& row : kRunRows) {
    if (const auto value = row.value(run)) page.Add(row.metric, row.help, machine, *value);
  }
  for (const VerdictRow& row : kVerdictRows) {
    for (std::size_t at = 0; at < kVerdicts; ++at) {
      const auto verdict = static_cast<Verdict>(at);
      page.Add(row.metric, row.help, Labels(machine).Add("verdict", WordOf(verdict)),
               row.value(run, verdict));
    }
  }
}

void AddValue(Page& page, const Labels& labels, const Value& value) {
  for (const Row& row : kRows) {
    if (value.name != row.measurement || value.unit != row.unit) continue;
    page.Add(row.metric, row.help, labels, value.value * row.factor);
    return;
  }
  page.Add(kOther, "What else a test measured of the device, in the unit of the label.",
           Labels(labels).Add("name", value.name).Add("unit", value.unit), value.value);
}

void AddDevice(Page& page, const Labels& known, const DeviceRun& one) {
  const RunDevice& device = one.facts.device;
  page.Add("tarvex_device_info", "1 for each device, with what it calls itself.",
           Labels(known).Add("name", device.name).Add("serial", device.serial), 1);
  if (const auto start = SecondsOf(one.run.start)) {
    page.Add("tarvex_device_last_run_timestamp_seconds", "When the device was tested last.", known,
             *start);
  }
  std::map<std::string, Verdict> verdicts;  // by test: the worst, where it ran more than once
  for (const TestFacts& test : one.facts.tests) {
    Verdict& verdict = verdicts.try_emplace(test.test, test.verdict).first->second;
    verdict = std::min(verdict, test.verdict);
    for (const Value& value : test.values) {
      AddValue(page, Labels(known).Add("test", test.test), value);
    }
  }
  for (const auto& [test, verdict] : verdicts) {
    page.Add("tarvex_test_verdict", "1 for the verdict of a device's test in its last run.",
             Labels(known).Add("test", test).Add("verdict", WordOf(verdict)), 1);
  }
}

// Devices that no label but their place tells apart, and of each place the one that was found last.
using Places = std::map<std::string, const DeviceRun*>;

std::map<Labels, Places> DevicesOf(const std::vector<DeviceRun>& devices,
                                   const Machines& machines) {
  std::map<Labels, Places> all;
  for (const DeviceRun& one : devices) {
    const RunDevice& device = one.facts.device;
    Labels labels = machines.LabelsOf(one.run);
    labels.Add("module", device.module).Add("key", device.key);
    const DeviceRun*& last = all[labels].try_emplace(device.place, &one).first->second;
    if (last->run.start < one.run.start) last = &one;
  }
  return all;
}

}  // namespace

std::string PrometheusText(const std::vector<RunSummary>& lastRuns,
                           const std::vector<DeviceRun>& devices) {
  Machines machines;
  for (const RunSummary& run : lastRuns) machines.Add(run);
  for (const DeviceRun& one : devices) machines.Add(one.run);
  Page page;
  for (const RunSummary& run : lastRuns) AddRun(page, machines.LabelsOf(run), run);
  for (const auto& [labels, places] : DevicesOf(devices, machines)) {
    for (const auto& [place, one] : places) {
      const Labels known = places.size() > 1 ? Labels(labels).Add("place", place) : labels;
      AddDevice(page, known, *one);
    }
  }
  return page.Text();
}

}  // namespace tarvex::history
