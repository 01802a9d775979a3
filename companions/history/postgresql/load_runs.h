#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "companions/history/run.h"

// Loading runs into a fleet's database, PostgreSQL (docs/fleet.md). It is a library of its own,
// libhistory_postgresql.so, which is loaded when it is asked for: the program does without
// PostgreSQL's own.
namespace tarvex::history {

struct RunToLoad {
  LoggedRun run;
  std::uint64_t bytes = 0;  // of its log
};

// The runs to load, one after another. Used by one thread.
class RunSource {
 public:
  virtual ~RunSource() = default;
  // None at the end. What is no run of ours the source names and passes over.
  virtual std::optional<RunToLoad> Next() = 0;
};

// How many runs were...
struct LoadCounts {
  std::size_t added = 0;
  std::size_t updated = 0;  // had been loaded before they had ended
  std::size_t known = 0;    // there as they are
  std::size_t refused = 0;  // of no use to the database, and named
};

struct LoadRequest {
  std::string address;  // postgresql://..., or what else libpq takes; without a password
  RunSource* runs = nullptr;
  std::function<void(const std::string&)> tell;          // a line for the operator; no end of line
  std::function<void(const LoadCounts&)> progress = {};  // after each batch; may be none
  LoadCounts counts = {};                                // what became of it, at any end
};

// Loads every run that the database lacks, in batches, each as a whole or not at all. True when all
// but the refused ones are there; otherwise the reason was told, what was loaded stays, and the
// same call again goes on from there. Throws what `runs` throws.
inline constexpr char kLoadRuns[] = "TarvexLoadRuns";
using LoadRuns = bool (*)(LoadRequest& request);

}  // namespace tarvex::history
