#include "companions/history/run_index.h"

#include <algorithm>
#include <optional>
#include <sstream>
#include <utility>

namespace tarvex::history {
namespace {

constexpr std::size_t kLogsAtOnce = 500;  // between two commits

constexpr std::int64_t kReadAgain = -1;  // the time of no file

constexpr char kRunColumns[] =
    "log.run, log.path, log.state, log.machine, log.machine_id, log.start, log.end, log.verdict, "
    "log.devices, log.counts";
constexpr int kRunColumnCount = 10;
constexpr char kDeviceColumns[] =
    "device.key, device.name, device.serial, device.place, device.module, device.identity";
constexpr int kDeviceColumnCount = 6;

[[noreturn]] void Damaged() {
  throw StoreError(StoreError::Kind::kDamaged, "the index holds what nobody wrote");
}

template <typename Enum>
Enum EnumOf(std::int64_t value, std::size_t count) {
  if (value < 0 || static_cast<std::size_t>(value) >= count) Damaged();
  return static_cast<Enum>(value);
}

std::string CountsText(const LoggedRun& run) {
  std::string text;
  for (const std::size_t count : run.Counts()) text += std::to_string(count) + ' ';
  return text;
}

RunSummary SummaryIn(const SqliteStatement& row, int at) {
  RunSummary run;
  run.id = row.Text(at);
  run.file = row.Text(at + 1);
  run.state = EnumOf<RunState>(row.Number(at + 2), kRunStates);
  run.machine = row.Text(at + 3);
  run.machineId = row.Text(at + 4);
  run.start = row.Text(at + 5);
  run.end = row.Text(at + 6);
  run.verdict = EnumOf<Verdict>(row.Number(at + 7), kVerdicts);
  run.devices = static_cast<std::size_t>(row.Number(at + 8));
  std::istringstream counts(row.Text(at + 9));
  for (std::size_t& count : run.counts) {
    if (!(counts >> count)) Damaged();
  }
  return run;
}

constexpr int kIdentityColumn = 5;  // of these

RunDevice DeviceIn(const SqliteStatement& row, int at) {
  return {row.Text(at), row.Text(at + 1), row.Text(at + 2), row.Text(at + 3), row.Text(at + 4)};
}

DeviceRun DeviceRunIn(const SqliteStatement& row) {
  DeviceRun one;
  one.run = SummaryIn(row, 0);
  one.facts.device = DeviceIn(row, kRunColumnCount);
  one.facts.identity = row.Text(kRunColumnCount + kIdentityColumn);
  auto tests = FactsOfText(row.Text(kRunColumnCount + kDeviceColumnCount));
  if (!tests) Damaged();
  one.facts.tests = *std::move(tests);
  return one;
}

bool LiesIn(const std::string& path, const std::string& folder) {
  return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
}

}  // namespace

RunSummary SummaryOf(const LoggedRun& run) {
  RunSummary summary;
  summary.id = run.id;
  summary.file = run.file;
  summary.state = run.state;
  summary.machine = run.machine;
  summary.machineId = run.machineId;
  summary.start = run.start;
  summary.end = run.end;
  summary.verdict = run.verdict;
  summary.devices = run.devices.size();
  summary.counts = run.Counts();
  return summary;
}

RunIndex::RunIndex(std::unique_ptr<SqliteDatabase> database) : database_(std::move(database)) {
  database_->Run("PRAGMA temp_store = MEMORY; CREATE TEMP TABLE current(log INTEGER PRIMARY KEY)");
}

RunIndex::KeptByPath RunIndex::Load() {
  KeptByPath kept;
  SqliteStatement rows(*database_, "SELECT id, path, bytes, changed, inode, state, why FROM log");
  while (rows.Next()) {
    Kept one;
    one.log = rows.Number(0);
    one.place = {rows.Text(1), static_cast<std::uint64_t>(rows.Number(2)), rows.Number(3),
                 static_cast<std::uint64_t>(rows.Number(4))};
    one.state = EnumOf<RunState>(rows.Number(5), kRunStates);
    one.why = rows.Text(6);
    kept.emplace(one.place.path, std::move(one));
  }
  return kept;
}

void RunIndex::Forget(std::int64_t log) {
  SqliteStatement(*database_,
                  "DELETE FROM facts WHERE device IN (SELECT id FROM device WHERE log = ?1)")
      .Run({log});
  SqliteStatement(*database_, "DELETE FROM device WHERE log = ?1").Run({log});
  SqliteStatement(*database_, "DELETE FROM log WHERE id = ?1").Run({log});
}

std::int64_t RunIndex::Take(const LogPlace& place, std::string& why) {
  const ReadLog read = ReadLogFile(place.path);
  const LoggedRun none;
  const LoggedRun& run = read.run ? *read.run : none;
  const std::int64_t changed = read.isOfSystem ? kReadAgain : place.changedNs;
  SqliteStatement(
      *database_,
      "INSERT INTO log(path, bytes, changed, inode, why, run, state, machine, machine_id, start, "
      "end, verdict, devices, counts, simulated) VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, "
      "?11, ?12, ?13, ?14, ?15)")
      .Run({place.path, static_cast<std::int64_t>(place.bytes), changed,
            static_cast<std::int64_t>(place.inode), read.why, run.id,
            static_cast<std::int64_t>(run.state), run.machine, run.machineId, run.start, run.end,
            static_cast<std::int64_t>(run.verdict), static_cast<std::int64_t>(run.devices.size()),
            CountsText(run), std::int64_t{run.isSimulated}});
  const std::int64_t log = database_->LastRow();
  if (read.run) Add(log, run);
  why = read.why;
  return log;
}

void RunIndex::Add(std::int64_t log, const LoggedRun& run) {
  SqliteStatement insert(
      *database_,
      "INSERT INTO device(log, identity, key, name, serial, place, module, verdict) "
      "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)");
  SqliteStatement insertFacts(*database_, "INSERT INTO facts(device, tests) VALUES(?1, ?2)");
  for (const DeviceFacts& one : FactsOf(run)) {
    const RunDevice& device = one.device;
    insert.Run({log, one.identity, device.key, device.name, device.serial, device.place,
                device.module, static_cast<std::int64_t>(WorstOf(one.tests))});
    insertFacts.Run({database_->LastRow(), TextOfFacts(one.tests)});
  }
}

void RunIndex::Refresh(const std::vector<std::string>& folders,
                       std::vector<PassedOver>& passedOver) {
  const std::vector<LogPlace> places = LogsIn(folders, passedOver);
  KeptByPath kept = Load();
  std::optional<SqliteTransaction> transaction(std::in_place, *database_);
  database_->Run("DELETE FROM current");
  SqliteStatement current(*database_, "INSERT OR IGNORE INTO current VALUES(?1)");
  std::size_t taken = 0;
  for (const LogPlace& place : places) {
    const auto found = kept.find(place.path);
    std::int64_t log = 0;
    std::string why;
    // Whether a run still goes on does not show in its file.
    if (found != kept.end() && found->second.place == place &&
        found->second.state != RunState::kRunning) {
      log = found->second.log;
      why = found->second.why;
    } else {
      if (found != kept.end()) Forget(found->second.log);
      log = Take(place, why);
      if (++taken % kLogsAtOnce == 0) {
        transaction->Commit();
        transaction.emplace(*database_);
      }
    }
    if (found != kept.end()) kept.erase(found);
    current.Run({log});
    if (!why.empty()) passedOver.push_back({place.path, why});
  }
  for (const auto& [path, one] : kept) {
    const auto lies = [&path = path](const std::string& folder) { return LiesIn(path, folder); };
    if (std::any_of(folders.begin(), folders.end(), lies)) Forget(one.log);
  }
  transaction->Commit();
}

void RunIndex::LeaveOutSimulated() {
  database_->Run("DELETE FROM current WHERE log IN (SELECT id FROM log WHERE simulated)");
}

std::vector<RunSummary> RunIndex::Runs() {
  std::vector<RunSummary> runs;
  SqliteStatement rows(*database_, (std::string("SELECT ") + kRunColumns +
                                    " FROM log JOIN current ON current.log = log.id "
                                    "WHERE log.why = ''")
                                       .c_str());
  while (rows.Next()) runs.push_back(SummaryIn(rows, 0));
  std::sort(runs.begin(), runs.end(), [](const RunSummary& one, const RunSummary& other) {
    return std::tie(one.start, one.id, one.file) > std::tie(other.start, other.id, other.file);
  });
  return runs;
}

namespace {

constexpr char kDeviceTables[] =
    "FROM device JOIN log ON log.id = device.log JOIN current ON current.log = log.id ";

std::vector<DeviceRun> DeviceRuns(SqliteDatabase& database, const std::string& condition,
                                  std::initializer_list<SqliteStatement::Value> values) {
  std::vector<DeviceRun> runs;
  SqliteStatement rows(
      database, (std::string("SELECT ") + kRunColumns + ", " + kDeviceColumns + ", facts.tests " +
                 kDeviceTables + "JOIN facts ON facts.device = device.id WHERE " + condition +
                 " ORDER BY log.start, log.run, device.id")
                    .c_str());
  rows.Begin(values);
  while (rows.Next()) runs.push_back(DeviceRunIn(rows));
  return runs;
}

}  // namespace

std::vector<DeviceRun> RunIndex::LastRunsOf(const std::string& identity, const std::string& start,
                                            std::int64_t most) {
  return DeviceRuns(*database_,
                    std::string("device.id IN (SELECT device.id ") + kDeviceTables +
                        "WHERE device.identity = ?1 AND log.start <= ?2 "
                        "ORDER BY log.start DESC, log.run DESC, device.id DESC LIMIT ?3)",
                    {identity, start, most});
}

std::vector<DeviceRun> RunIndex::DevicesIn(const std::string& file) {
  return DeviceRuns(*database_, "log.path = ?1", {file});
}

std::vector<KnownDevice> RunIndex::Devices() {
  std::vector<KnownDevice> devices;
  // Beside max() SQLite takes the other columns from the row that has it.
  SqliteStatement rows(
      *database_,
      (std::string("SELECT ") + kDeviceColumns +
       ", log.machine, log.machine_id, log.run, max(log.start), "
       "device.verdict, count(*), log.simulated FROM device JOIN log ON log.id = device.log "
       "JOIN current ON current.log = log.id GROUP BY device.identity "
       "ORDER BY log.machine, device.name, device.identity")
          .c_str());
  while (rows.Next()) {
    KnownDevice known;
    known.device = DeviceIn(rows, 0);
    known.identity = rows.Text(kIdentityColumn);
    known.machine = rows.Text(kDeviceColumnCount);
    known.machineId = rows.Text(kDeviceColumnCount + 1);
    known.lastRun = rows.Text(kDeviceColumnCount + 2);
    known.lastStart = rows.Text(kDeviceColumnCount + 3);
    known.verdict = EnumOf<Verdict>(rows.Number(kDeviceColumnCount + 4), kVerdicts);
    known.runs = static_cast<std::size_t>(rows.Number(kDeviceColumnCount + 5));
    known.isSimulated = rows.Number(kDeviceColumnCount + 6) != 0;
    devices.push_back(std::move(known));
  }
  return devices;
}

}  // namespace tarvex::history
