#include "companions/history/postgresql/batch.h"

#include <set>
#include <utility>

#include "companions/history/postgresql/run_rows.h"

namespace tarvex::history {
namespace {

constexpr int kVersion = 2;  // of the tables; later ones only add to them

constexpr char kTablesAreThere[] = "SELECT to_regclass('tarvex.schema_version') IS NOT NULL";
constexpr char kVersionThere[] = "SELECT coalesce(max(version), 0) FROM tarvex.schema_version";

// In a temporary table rows are as wide as they come, and gone with the transaction.
constexpr char kStages[] =
    "CREATE TEMPORARY TABLE staged_run (position integer, machine_key text, machine_name text,"
    " name text, state tarvex.run_state, log_bytes bigint, program text, kernel text,"
    " started timestamptz, ended timestamptz, simulated boolean, verdict tarvex.verdict)"
    " ON COMMIT DELETE ROWS;"
    "CREATE TEMPORARY TABLE staged_device (number integer, key text, module text, name text,"
    " serial text)"
    " ON COMMIT DELETE ROWS;"
    "CREATE TEMPORARY TABLE staged_test (number integer, module text, diagnostic text, test text)"
    " ON COMMIT DELETE ROWS";

// Rows that several sessions may want to add are added in one order, so that none waits for one
// that waits for it.
constexpr char kMachines[] =
    "INSERT INTO tarvex.machine (key, name)"
    " SELECT DISTINCT ON (machine_key) machine_key, machine_name FROM staged_run"
    " ORDER BY machine_key, started DESC ON CONFLICT DO NOTHING";

// A machine is called what its latest run calls it.
constexpr char kRenamed[] =
    "UPDATE tarvex.machine SET name = staged.name FROM"
    " (SELECT DISTINCT ON (machine_key) machine_key AS key, machine_name AS name, started"
    "  FROM staged_run ORDER BY machine_key, started DESC) AS staged"
    " WHERE machine.key = staged.key AND machine.name <> staged.name AND NOT EXISTS"
    " (SELECT FROM tarvex.run WHERE run.machine = machine.id AND run.started > staged.started)";

// What has its end stays as it is. Of what has none the longer one counts, and of two of one length
// the one that is known to go on no more.
constexpr char kRuns[] =
    "WITH chosen AS MATERIALIZED ("
    " SELECT DISTINCT ON (machine.id, staged.name) machine.id AS machine, staged.*"
    " FROM staged_run AS staged JOIN tarvex.machine ON machine.key = staged.machine_key"
    " ORDER BY machine.id, staged.name, staged.state = 'complete' DESC, staged.log_bytes DESC,"
    "  staged.state DESC, staged.position"
    "), taken AS ("
    " INSERT INTO tarvex.run AS run (machine, name, state, log_bytes, program, kernel, started, "
    "ended,"
    "  simulated, verdict)"
    " SELECT machine, name, state, log_bytes, program, kernel, started, ended, simulated, verdict"
    " FROM chosen ORDER BY machine, name"
    " ON CONFLICT (machine, name) DO UPDATE SET state = excluded.state,"
    "  log_bytes = excluded.log_bytes, program = excluded.program, kernel = excluded.kernel,"
    "  started = excluded.started, ended = excluded.ended, simulated = excluded.simulated,"
    "  verdict = excluded.verdict, loaded = now()"
    " WHERE run.state <> 'complete' AND (excluded.state = 'complete'"
    "  OR excluded.log_bytes > run.log_bytes"
    "  OR (excluded.log_bytes = run.log_bytes AND excluded.state > run.state))"
    " RETURNING id, machine, name, xmax <> 0 AS was_there"
    ") SELECT chosen.position, taken.id, taken.was_there FROM taken JOIN chosen USING (machine, "
    "name)";

constexpr char kDevices[] =
    "INSERT INTO tarvex.device (key, module, name, serial)"
    " SELECT key, module, name, serial FROM staged_device ORDER BY key ON CONFLICT DO NOTHING";
constexpr char kDeviceIds[] = "SELECT number, id FROM staged_device JOIN tarvex.device USING (key)";
constexpr char kTests[] =
    "INSERT INTO tarvex.test (module, diagnostic, test)"
    " SELECT module, diagnostic, test FROM staged_test ORDER BY module, diagnostic, test"
    " ON CONFLICT DO NOTHING";
constexpr char kTestIds[] =
    "SELECT number, id FROM staged_test"
    " JOIN tarvex.test USING (module, diagnostic, test)";

constexpr const char* kBelow[] = {"run_module",  "run_device", "test_result", "test_word",
                                  "measurement", "series",     "run_remark"};

struct Taken {
  const LoggedRun* run;
  std::int64_t id;
};

// The runs that the tables want, with their numbers there.
std::vector<Taken> TakeRuns(Connection& connection, const std::vector<RunToLoad>& runs,
                            BatchCounts& counts) {
  CopyText staged;
  for (std::size_t i = 0; i < runs.size(); ++i) AddRunRow(staged, runs[i], i);
  connection.Copy("staged_run", staged.Rows());
  connection.Run(kMachines);
  connection.Run(kRenamed);
  std::vector<Taken> taken;
  std::string replaced;
  for (const Row& row : connection.Run(kRuns)) {
    taken.push_back({&runs.at(std::stoul(row.at(0))).run, std::stoll(row.at(1))});
    if (row.at(2) != "t") continue;
    ++counts.updated;
    replaced += (replaced.empty() ? "" : ",") + row.at(1);
  }
  counts.added = taken.size() - counts.updated;
  counts.known = runs.size() - taken.size();
  if (replaced.empty()) return taken;
  for (const char* table : kBelow) {
    connection.Run(std::string("DELETE FROM tarvex.") + table + " WHERE run IN (" + replaced + ")");
  }
  return taken;
}

// The numbers that the tables have for what was staged, by how the staged rows were numbered: a key
// may have changed on its way, when it held what the database does not take.
template <typename Ids>
void TakeIds(Connection& connection, const char* query,
             const std::vector<typename Ids::iterator>& staged) {
  for (const Row& row : connection.Run(query)) {
    staged.at(std::stoul(row.at(0)))->second = std::stoll(row.at(1));
  }
}

void AddDevices(Connection& connection, const std::vector<Taken>& taken, KnownIds& ids) {
  CopyText rows;
  std::vector<decltype(ids.devices)::iterator> staged;
  for (const Taken& item : taken) {
    for (const RunDevice& device : item.run->devices) {
      const auto [place, isNew] = ids.devices.emplace(KeyOfDevice(*item.run, device), 0);
      if (!isNew) continue;
      rows.Whole(static_cast<std::int64_t>(staged.size())).Text(place->first).Text(device.module);
      rows.Text(device.name).TextOrNull(device.serial).EndRow();
      staged.push_back(place);
    }
  }
  connection.Copy("staged_device", rows.Rows());
  connection.Run(kDevices);
  TakeIds<decltype(ids.devices)>(connection, kDeviceIds, staged);
}

void AddTests(Connection& connection, const std::vector<Taken>& taken, KnownIds& ids) {
  CopyText rows;
  std::vector<decltype(ids.tests)::iterator> staged;
  for (const Taken& item : taken) {
    for (const RunTest& test : item.run->tests) {
      const auto [place, isNew] = ids.tests.emplace(KeyOfTest(test), 0);
      if (!isNew) continue;
      rows.Whole(static_cast<std::int64_t>(staged.size())).Text(test.module);
      rows.Text(test.diagnostic).Text(test.test).EndRow();
      staged.push_back(place);
    }
  }
  connection.Copy("staged_test", rows.Rows());
  connection.Run(kTests);
  TakeIds<decltype(ids.tests)>(connection, kTestIds, staged);
}

}  // namespace

void PrepareBatches(Connection& connection) {
  const bool isThere = connection.Run(kTablesAreThere).at(0).at(0) == "t";
  const int version = isThere ? std::stoi(connection.Run(kVersionThere).at(0).at(0)) : 0;
  if (version < kVersion) {
    throw DatabaseError(DatabaseError::Kind::kOther,
                        "the database's tables are " +
                            (version == 0 ? "missing"
                                          : "of version " + std::to_string(version) + ", and " +
                                                std::to_string(kVersion) + " is needed") +
                            "; make them as their owner: "
                            "/usr/share/tarvex-diagnostics/postgresql/migrate.sh ADDRESS");
  }
  connection.Run(kStages);
}

BatchCounts LoadBatch(Connection& connection, const std::vector<RunToLoad>& runs) {
  BatchCounts counts;
  Transaction transaction(connection);
  const std::vector<Taken> taken = TakeRuns(connection, runs, counts);
  if (!taken.empty()) {
    KnownIds ids;
    AddDevices(connection, taken, ids);
    AddTests(connection, taken, ids);
    RunRows rows;
    for (const Taken& item : taken) rows.Add(*item.run, item.id, ids);
    for (const RunRows::Table& table : rows.Tables())
      connection.Copy(table.name, table.rows.Rows());
  }
  transaction.Commit();
  return counts;
}

}  // namespace tarvex::history
