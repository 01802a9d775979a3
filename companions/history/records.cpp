#include "companions/history/records.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "companions/history/list_report.h"
#include "companions/history/run_json.h"
#include "companions/history/table_text.h"
#include "host/records/record_folder.h"
#include "service/log/json_text.h"
#include "system/outside_text.h"

namespace tarvex::history {
namespace {

using orvan::log::JsonList;
using orvan::log::JsonObject;

constexpr int kPatienceMs = 2000;

constexpr std::array<std::pair<std::string_view, Verdict>, 6> kStatuses{
    {{"PASSED", Verdict::kPassed},
     {"FAILED", Verdict::kFailed},
     {"WARNING", Verdict::kWarning},
     {"CANCELED", Verdict::kCanceled},
     {"INVALID", Verdict::kInvalid},
     {"UNRECOGNIZED", Verdict::kInvalid}}};

std::optional<Verdict> VerdictOfStatus(const std::string& status) {
  for (const auto& [word, verdict] : kStatuses) {
    if (status == word) return verdict;
  }
  return {};
}

std::optional<double> SecondsOf(const std::string& text) {
  double seconds = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  const bool isWhole = error == std::errc() && end == text.data() + text.size();
  return isWhole ? std::optional(seconds) : std::nullopt;
}

// Runs of one machine follow one another, so the newest one that began before the test is the one
// that may hold it. One without its end reaches up to the next. `runs` are newest first.
std::string RunAt(const std::string& time, const std::vector<RunSummary>& runs) {
  const auto began = std::find_if(runs.begin(), runs.end(), [&time](const RunSummary& run) {
    return !run.start.empty() && run.start <= time;
  });
  const bool holds = began != runs.end() && (began->end.empty() || time <= began->end);
  return holds ? began->id : std::string();
}

std::string TextIn(const SqliteStatement& row, int column) {
  return WithoutSteering(row.Text(column));
}

std::string RecordJson(const Record& record) {
  return JsonObject()
      .Raw("module", TextOrNull(record.module))
      .Raw("key", TextOrNull(record.key))
      .Raw("device", TextOrNull(record.device))
      .Raw("test", TextOrNull(record.test))
      .Raw("testName", TextOrNull(NameOfKey(record.test)))
      .Raw("verdict", TextOrNull(record.verdict ? WordOf(*record.verdict) : ""))
      .Raw("start", TextOrNull(record.start))
      .Raw("seconds", NumberOrNull(record.seconds))
      .Raw("run", TextOrNull(record.run))
      .Take();
}

std::string RecordsText(const std::vector<Record>& records) {
  if (records.empty()) return "There are no execution records.\n";
  std::vector<std::vector<std::string>> rows{
      {"START (UTC)", "VERDICT", "TEST", "DEVICE", "KEY", "LOG OF THE RUN"}};
  const auto orDash = [](const std::string& text) { return text.empty() ? "-" : text; };
  for (const Record& record : records) {
    rows.push_back({TimeForPeople(record.start), record.verdict ? WordOf(*record.verdict) : "-",
                    NameOfKey(record.test), orDash(record.device), orDash(record.key),
                    record.run.empty() ? "gone" : record.run});
  }
  return TableText(rows);
}

std::string RecordsCsv(const std::vector<Record>& records) {
  std::string text =
      CsvHead({"module", "key", "device", "test", "verdict", "start", "seconds", "run"});
  for (const Record& record : records) {
    CsvLine line;
    line.Text(record.module).Text(record.key).Text(record.device).Text(record.test);
    line.Text(record.verdict ? WordOf(*record.verdict) : "").Text(record.start);
    text += line.Number(record.seconds).Text(record.run).Take();
  }
  return text;
}

}  // namespace

std::vector<Record> RecordsIn(const std::string& state, const std::vector<RunSummary>& runs) {
  std::vector<Record> records;
  const auto folder = RecordFolder::Open(state, false);
  if (!folder || !folder->HasStore()) return records;
  folder->CheckFiles();
  SqliteDatabase store = folder->OpenStore();
  store.SetBusyTimeout(kPatienceMs);
  SqliteStatement rows(store,
                       "SELECT module_name, device_udi, device_display_name, test_name, "
                       "test_status, strftime('%Y-%m-%dT%H:%M:%fZ', test_start_timestamp), "
                       "test_duration FROM execution_record");
  while (rows.Next()) {
    Record& record = records.emplace_back();
    record.module = TextIn(rows, 0);
    record.key = TextIn(rows, 1);
    record.device = TextIn(rows, 2);
    record.test = TextIn(rows, 3);
    record.verdict = VerdictOfStatus(rows.Text(4));
    record.start = TextIn(rows, 5);
    record.seconds = SecondsOf(rows.Text(6));
    record.run = RunAt(record.start, runs);
  }
  std::stable_sort(records.begin(), records.end(),
                   [](const Record& one, const Record& other) { return one.start > other.start; });
  return records;
}

std::string RecordsReport(const std::vector<Record>& records, Format format) {
  if (format == Format::kText) return RecordsText(records);
  if (format == Format::kCsv) return RecordsCsv(records);
  return JsonObject().Raw("schema", "1").Raw("records", JsonList(records, RecordJson)).Take() +
         '\n';
}

}  // namespace tarvex::history
