#include "companions/history/commands.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <limits>
#include <map>
#include <stdexcept>
#include <utility>

#include "companions/history/device_names.h"
#include "companions/history/device_report.h"
#include "companions/history/junit.h"
#include "companions/history/list_report.h"
#include "companions/history/prometheus.h"
#include "companions/history/records.h"
#include "companions/history/run_report.h"
#include "companions/history/worse.h"
#include "system/outside_text.h"

namespace tarvex::history {
namespace {

Answer NotThere(std::string note) {
  Answer answer;
  answer.notes.push_back(std::move(note));
  answer.status = kNotThere;
  return answer;
}

Answer ListRuns(const Options& options, Archive& archive) {
  Answer answer;
  const std::vector<RunSummary> runs = archive.Index().Runs();
  answer.text = ListReport(runs, archive.PassedOverFiles(), options.format);
  return answer;
}

Answer ShowRun(const Options& options, Archive& archive) {
  Answer answer;
  const ReadLog read = archive.Find(options.operand);
  if (!read.run) return NotThere(options.operand + ": " + read.why);
  answer.text = RunReport(*read.run, options.format);
  for (const std::string& fault : read.run->faults) {
    answer.notes.push_back(read.run->file + ": " + fault);
  }
  return answer;
}

Answer ListDevices(const Options& options, Archive& archive) {
  Answer answer;
  answer.text = DevicesReport(archive.Index().Devices(), options.format);
  return answer;
}

Answer ShowDevice(const Options& options, Archive& archive) {
  const std::vector<KnownDevice> devices = archive.Index().Devices();
  const DeviceNames names(devices);
  const std::vector<const KnownDevice*> found = names.Called(options.operand);
  if (found.empty()) {
    return NotThere(options.operand +
                    ": no run has tested such a device; see tarvex-history devices");
  }
  if (found.size() > 1) {
    return NotThere(options.operand + ": " + std::to_string(found.size()) +
                    " devices are called so; name one alone, as by " + names.NameOf(*found[0]) +
                    " or " + names.NameOf(*found[1]));
  }
  const KnownDevice& device = *found.front();
  // People are shown the newest alone.
  const std::int64_t most =
      options.format == Format::kText ? kRunsShown : std::numeric_limits<std::int64_t>::max();
  Answer answer;
  answer.text = CourseReport(archive.Index().LastRunsOf(device.identity, device.lastStart, most),
                             device.runs, options.format);
  return answer;
}

// Of each device; what none of them tested is not compared.
constexpr std::int64_t kRunsCompared = 100;

Answer ShowWorse(const Options& options, Archive& archive) {
  const std::string wanted = options.operand.empty() ? kLastRun : options.operand;
  const ReadLog read = archive.Find(wanted);
  if (!read.run) return NotThere(wanted + ": " + read.why);
  RunIndex& index = archive.Index();
  std::vector<Worsening> all;
  for (const DeviceRun& one : index.DevicesIn(read.run->file)) {
    const std::vector<DeviceRun> runs =
        index.LastRunsOf(one.facts.identity, one.run.start, kRunsCompared);
    for (std::size_t at = 0; at < runs.size(); ++at) {
      if (runs[at].run.file != read.run->file) continue;
      std::vector<Worsening> found = WhatGotWorse(runs, at);
      std::move(found.begin(), found.end(), std::back_inserter(all));
      break;
    }
  }
  Answer answer;
  answer.text = WorseReport(SummaryOf(*read.run), all, options.format);
  return answer;
}

Answer ListRecords(const Options& options, Archive& archive) {
  const std::vector<RunSummary> runs = archive.Index().Runs();
  Answer answer;
  try {
    answer.text = RecordsReport(RecordsIn(options.state, runs), options.format);
  } catch (const StoreError& error) {
    return NotThere(options.state + "/records.db: " + error.what());
  }
  return answer;
}

bool HasTests(const RunSummary& run) {
  return std::any_of(run.counts.begin(), run.counts.end(),
                     [](std::size_t count) { return count > 0; });
}

Answer ShowMetrics(Archive& archive) {
  RunIndex& index = archive.Index();
  index.LeaveOutSimulated();               // nobody is to be called for a disk that there is not
  std::map<std::string, RunSummary> last;  // by machine: the newest that tested something
  for (RunSummary& run : index.Runs()) {
    const auto [found, isNew] = last.try_emplace(KeyOfMachine(run.machineId, run.machine), run);
    if (!isNew && !HasTests(found->second) && HasTests(run)) found->second = std::move(run);
  }
  std::vector<RunSummary> runs;
  runs.reserve(last.size());
  for (auto& [machine, run] : last) runs.push_back(std::move(run));
  std::vector<DeviceRun> devices;
  for (const KnownDevice& known : index.Devices()) {
    std::vector<DeviceRun> newest = index.LastRunsOf(known.identity, known.lastStart, 1);
    std::move(newest.begin(), newest.end(), std::back_inserter(devices));
  }
  Answer answer;
  answer.text = PrometheusText(runs, devices);
  return answer;
}

Answer ShowJunit(const std::string& wanted, Archive& archive) {
  const ReadLog read = archive.Find(wanted);
  if (!read.run) return NotThere(wanted + ": " + read.why);
  Answer answer;
  answer.text = JunitText(*read.run);
  return answer;
}

struct Command {
  const char* word;
  Answer (*execute)(const Options&, Archive&);
};
constexpr std::array kCommands = {Command{"list", ListRuns},       Command{"run", ShowRun},
                                  Command{"devices", ListDevices}, Command{"device", ShowDevice},
                                  Command{"records", ListRecords}, Command{"worse", ShowWorse}};

Answer ExecuteWith(const Options& options, Archive& archive) {
  if (options.wantsMetrics) return ShowMetrics(archive);
  if (!options.junitRun.empty()) return ShowJunit(options.junitRun, archive);
  for (const Command& command : kCommands) {
    if (options.command == command.word) return command.execute(options, archive);
  }
  throw std::logic_error("nothing does " + options.command);
}

// The index is a cache: one that is damaged, held by others for long, or on a full disk costs time
// alone.
Answer ExecuteInAnyCase(const Options& options, Archive& archive) {
  for (;;) {
    try {
      return ExecuteWith(options, archive);
    } catch (const StoreError& error) {
      if (!archive.DistrustIndex(error.GetKind() == StoreError::Kind::kDamaged)) throw;
    }
  }
}

}  // namespace

Answer Execute(const Options& options) {
  Archive archive(options.state, options.logs);
  Answer answer = ExecuteInAnyCase(options, archive);
  for (const PassedOver& one : archive.PassedOverFiles()) {
    answer.notes.push_back(one.file + ": " + one.why);
  }
  for (std::string& note : answer.notes) note = WithoutSteering(note);
  return answer;
}

}  // namespace tarvex::history
