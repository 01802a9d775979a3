#include "companions/history/postgresql/load_runs.h"

#include <span>
#include <utility>
#include <vector>

#include "companions/history/postgresql/batch.h"
#include "companions/history/postgresql/connection.h"
#include "companions/history/postgresql/run_rows.h"

namespace tarvex::history {
namespace {

using Kind = DatabaseError::Kind;

// A batch is as many runs as keep a transaction, and what a killed load has to do again, below a
// second.
constexpr std::size_t kMostRuns = 500;
constexpr std::size_t kMostTests = 10000;
// Of the logs of a batch, which is in memory as a whole.
constexpr std::uint64_t kMostBytes = 64U << 20;
// How often a batch is tried that other sessions get in the way of.
constexpr int kTries = 5;

class Loader {
 public:
  explicit Loader(LoadRequest& request) : request_(request), connection_(request.address) {
    PrepareBatches(connection_);
  }

  void LoadAll();

 private:
  std::vector<RunToLoad> NextBatch();
  void Load(std::vector<RunToLoad> runs);
  BatchCounts LoadTogether(const std::vector<RunToLoad>& runs);
  void Refuse(const LoggedRun& run, const std::string& why);

  LoadRequest& request_;
  Connection connection_;
};

void Loader::LoadAll() {
  for (std::vector<RunToLoad> runs = NextBatch(); !runs.empty(); runs = NextBatch()) {
    Load(std::move(runs));
    if (request_.progress) request_.progress(request_.counts);
  }
}

std::vector<RunToLoad> Loader::NextBatch() {
  std::vector<RunToLoad> runs;
  std::size_t tests = 0;
  std::uint64_t bytes = 0;
  while (runs.size() < kMostRuns && tests < kMostTests && bytes < kMostBytes) {
    std::optional<RunToLoad> next = request_.runs->Next();
    if (!next) break;
    if (KeyOfMachine(next->run).empty() || StartOf(next->run).empty()) {
      Refuse(next->run, "does not say on which machine it ran, or when");
      continue;
    }
    tests += next->run.tests.size();
    bytes += next->bytes;
    runs.push_back(std::move(*next));
  }
  return runs;
}

// One run that the tables do not take costs the others nothing: it is found by halves, and named.
void Loader::Load(std::vector<RunToLoad> runs) {
  try {
    const BatchCounts counts = LoadTogether(runs);
    request_.counts.added += counts.added;
    request_.counts.updated += counts.updated;
    request_.counts.known += counts.known;
    return;
  } catch (const DatabaseError& error) {
    if (error.Is() != Kind::kContent) throw;
    if (runs.size() == 1) {
      Refuse(runs.front().run, error.what());
      return;
    }
  }
  const auto middle = runs.begin() + static_cast<std::ptrdiff_t>(runs.size() / 2);
  std::vector<RunToLoad> second(std::make_move_iterator(middle),
                                std::make_move_iterator(runs.end()));
  runs.erase(middle, runs.end());
  Load(std::move(runs));
  Load(std::move(second));
}

BatchCounts Loader::LoadTogether(const std::vector<RunToLoad>& runs) {
  for (int left = kTries;; --left) {
    try {
      return LoadBatch(connection_, runs);
    } catch (const DatabaseError& error) {
      if (error.Is() != Kind::kAgain || left == 1) throw;
    }
  }
}

void Loader::Refuse(const LoggedRun& run, const std::string& why) {
  ++request_.counts.refused;
  request_.tell(run.file + ": " + why);
}

}  // namespace
}  // namespace tarvex::history

// Found by name when the library is loaded.
extern "C" __attribute__((visibility("default"))) bool TarvexLoadRuns(
    tarvex::history::LoadRequest& request) {
  try {
    tarvex::history::Loader(request).LoadAll();
    return true;
  } catch (const tarvex::history::DatabaseError& error) {
    request.tell(error.what());
    return false;
  }
}
