#pragma once

#include <optional>
#include <string>
#include <vector>

#include "companions/history/options.h"
#include "companions/history/run_index.h"

// Execution records (docs/records.md), which outlive logs. One thread at a time.
namespace tarvex::history {

struct Record {
  std::string module;
  std::string key;     // of the device
  std::string device;  // as it is shown
  std::string test;
  std::optional<Verdict> verdict;  // none: the record has no word that is one
  std::string start;               // as in a log
  std::optional<double> seconds;
  std::string run;  // the one whose log tells of the same time; empty: its log is gone
};

// The records of the state folder, newest first; none where there is no store. Throws a StoreError
// for a store that can't be read or that others could have written.
std::vector<Record> RecordsIn(const std::string& state, const std::vector<RunSummary>& runs);

std::string RecordsReport(const std::vector<Record>& records, Format format);

}  // namespace tarvex::history
