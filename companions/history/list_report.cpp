#include "companions/history/list_report.h"

#include "companions/history/log_json.h"
#include "companions/history/run_json.h"
#include "companions/history/table_text.h"
#include "service/log/json_text.h"

namespace tarvex::history {
namespace {

using orvan::log::JsonList;
using orvan::log::JsonObject;

std::string CountsJson(const RunSummary& run) {
  JsonObject counts;
  for (std::size_t at = 0; at < kVerdicts; ++at) {
    counts.Raw(WordOf(static_cast<Verdict>(at)), std::to_string(run.counts.at(at)));
  }
  return counts.Take();
}

std::string SummaryJson(const RunSummary& run) {
  return JsonObject()
      .Text("run", run.id)
      .Text("file", run.file)
      .Text("state", WordOf(run.state))
      .Raw("machine", TextOrNull(run.machine))
      .Raw("start", TextOrNull(run.start))
      .Raw("end", TextOrNull(run.end))
      .Text("verdict", WordOf(run.verdict))
      .Raw("devices", std::to_string(run.devices))
      .Raw("counts", CountsJson(run))
      .Take();
}

std::string PassedOverJson(const PassedOver& one) {
  return JsonObject().Text("file", one.file).Text("why", one.why).Take();
}

std::string ListJson(const std::vector<RunSummary>& runs,
                     const std::vector<PassedOver>& passedOver) {
  return JsonObject()
             .Raw("schema", "1")
             .Raw("runs", JsonList(runs, SummaryJson))
             .Raw("passedOver", JsonList(passedOver, PassedOverJson))
             .Take() +
         '\n';
}

std::string ListCsv(const std::vector<RunSummary>& runs) {
  std::vector<std::string> names{"run",   "file", "state",   "machine",
                                 "start", "end",  "verdict", "devices"};
  for (std::size_t at = 0; at < kVerdicts; ++at) {
    names.emplace_back(WordOf(static_cast<Verdict>(at)));
  }
  std::string text = CsvHead(names);
  for (const RunSummary& run : runs) {
    CsvLine line;
    line.Text(run.id).Text(Shown(run.file)).Text(WordOf(run.state)).Text(run.machine);
    line.Text(run.start).Text(run.end).Text(WordOf(run.verdict));
    line.Number(static_cast<double>(run.devices));
    for (const std::size_t count : run.counts) line.Number(static_cast<double>(count));
    text += line.Take();
  }
  return text;
}

// "2 failed, 1 warning, 5 passed"
std::string CountsText(const RunSummary& run) {
  std::string text;
  for (std::size_t at = 0; at < kVerdicts; ++at) {
    if (run.counts.at(at) == 0) continue;
    text += (text.empty() ? "" : ", ") + std::to_string(run.counts.at(at)) + ' ' +
            WordOf(static_cast<Verdict>(at));
  }
  return text.empty() ? "no test" : text;
}

std::string ListText(const std::vector<RunSummary>& runs) {
  if (runs.empty()) return "There are no runs.\n";
  std::vector<std::vector<std::string>> rows{{"START (UTC)", "VERDICT", "MACHINE", "RUN", "TESTS"}};
  for (const RunSummary& run : runs) {
    const bool isWhole = run.state == RunState::kComplete;
    rows.push_back({TimeForPeople(run.start), WordOf(run.verdict),
                    run.machine.empty() ? "-" : run.machine, run.id,
                    CountsText(run) + (isWhole ? "" : std::string("; ") + WordOf(run.state))});
  }
  return TableText(rows);
}

}  // namespace

std::string TimeForPeople(const std::string& time) {
  if (time.size() < 19) return "-";
  return time.substr(0, 10) + ' ' + time.substr(11, 8);
}

std::string ListReport(const std::vector<RunSummary>& runs,
                       const std::vector<PassedOver>& passedOver, Format format) {
  if (format == Format::kJson) return ListJson(runs, passedOver);
  return format == Format::kCsv ? ListCsv(runs) : ListText(runs);
}

}  // namespace tarvex::history
