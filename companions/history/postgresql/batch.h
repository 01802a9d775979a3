#pragma once

#include <cstddef>
#include <vector>

#include "companions/history/postgresql/connection.h"
#include "companions/history/postgresql/load_runs.h"

// Loading some runs as a whole. Throws a DatabaseError.
namespace tarvex::history {

// To be called once in a session: looks whether the tables are those that this program fills, and
// makes what batches are laid down in on their way.
void PrepareBatches(Connection& connection);

struct BatchCounts {
  std::size_t added = 0;
  std::size_t updated = 0;
  std::size_t known = 0;
};

// Loads these runs in one transaction: those that are not there, and those that are there as they
// were before they had ended. Of one that is there twice what is closer to its end counts.
BatchCounts LoadBatch(Connection& connection, const std::vector<RunToLoad>& runs);

}  // namespace tarvex::history
