#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "companions/history/facts.h"
#include "companions/history/log_source.h"
#include "companions/history/run.h"
#include "host/records/sqlite_database.h"

namespace tarvex::history {

// What a list tells of a run.
struct RunSummary {
  std::string id;
  std::string file;
  RunState state = RunState::kCut;
  std::string machine;
  std::string machineId;
  std::string start;
  std::string end;
  Verdict verdict = Verdict::kUnfinished;
  std::size_t devices = 0;
  std::array<std::size_t, kVerdicts> counts{};
};
RunSummary SummaryOf(const LoggedRun& run);

// What was found out of a device in a run.
struct DeviceRun {
  RunSummary run;
  DeviceFacts facts;
};

struct KnownDevice {
  std::string identity;
  RunDevice device;  // as the newest run has it
  std::string machine;
  std::string machineId;
  std::string lastRun;
  std::string lastStart;
  Verdict verdict = Verdict::kUnfinished;  // the worst of its tests in that run
  std::size_t runs = 0;
  bool isSimulated = false;  // another than the one of this machine that is called alike
};

// What the logs tell, in tables: history.db of the state folder, a cache that anybody may remove.
// Failures are StoreErrors. One thread at a time.
class RunIndex {
 public:
  // Over a database of companions/history/index_file.h.
  explicit RunIndex(std::unique_ptr<SqliteDatabase> database);

  // Reads what is new or has changed, forgets what is gone from these folders, and from now on
  // tells of these logs alone. Appends to `passedOver`.
  void Refresh(const std::vector<std::string>& folders, std::vector<PassedOver>& passedOver);

  // From now on it tells of no run whose hardware was simulated.
  void LeaveOutSimulated();

  // Newest first.
  std::vector<RunSummary> Runs();
  // The newest of one device, oldest first, of which the last began at that time or before.
  std::vector<DeviceRun> LastRunsOf(const std::string& identity, const std::string& start,
                                    std::int64_t most);
  // Of one run, by its file.
  std::vector<DeviceRun> DevicesIn(const std::string& file);
  std::vector<KnownDevice> Devices();

 private:
  struct Kept {
    std::int64_t log = 0;
    LogPlace place;
    RunState state = RunState::kCut;
    std::string why;
  };
  using KeptByPath = std::unordered_map<std::string, Kept>;

  KeptByPath Load();
  void Forget(std::int64_t log);
  // The number of the log in the index.
  std::int64_t Take(const LogPlace& place, std::string& why);
  void Add(std::int64_t log, const LoggedRun& run);

  std::unique_ptr<SqliteDatabase> database_;
};

}  // namespace tarvex::history
