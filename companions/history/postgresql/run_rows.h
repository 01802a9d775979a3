#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "companions/history/postgresql/copy_text.h"
#include "companions/history/postgresql/load_runs.h"
#include "companions/history/run.h"

// What becomes of a run in the tables of a fleet (fleet/postgresql). Pure; any thread.
namespace tarvex::history {

// How the tables know a machine: its own id, otherwise its name.
std::string KeyOfMachine(const LoggedRun& run);
// How they know a device: over all machines when its name or serial number is its own in the world,
// otherwise on its machine.
std::string KeyOfDevice(const LoggedRun& run, const RunDevice& device);
// When a run began; by the name of its log where that does not say. Empty when neither does.
std::string StartOf(const LoggedRun& run);

using TestKey = std::tuple<std::string, std::string, std::string>;  // module, diagnostic, test
TestKey KeyOfTest(const RunTest& test);

// The numbers that the tables have for what the rows of a run name.
struct KnownIds {
  std::map<std::string, std::int64_t> devices;  // by KeyOfDevice
  std::map<TestKey, std::int64_t> tests;
};

// A row about a run as a whole, which says by `position` where in a batch it stands.
void AddRunRow(CopyText& rows, const RunToLoad& item, std::size_t position);

// The rows that hang on runs, for COPY.
class RunRows {
 public:
  struct Table {
    const char* name;  // with the columns that the rows have
    CopyText rows;
  };

  RunRows();
  // The rows of a run that has the number `id`. All that it names is in `ids`.
  void Add(const LoggedRun& run, std::int64_t id, const KnownIds& ids);
  const std::vector<Table>& Tables() const { return tables_; }

 private:
  CopyText& Of(std::size_t table) { return tables_[table].rows; }
  void AddTest(const RunTest& test, std::size_t position);
  void AddRemarks(const LoggedRun& run);

  std::vector<Table> tables_;
  std::int64_t id_ = 0;  // of the run that is added
};

}  // namespace tarvex::history
