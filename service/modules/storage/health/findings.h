#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "service/modules/storage/health/limits.h"
#include "service/sdk/measurement.h"

// What is to be said about what a drive tells of itself. Any thread.
namespace orvan::storage {

struct Finding {
  // The drive is faulty by the words of the standard; else it is worth a warning.
  bool isFailure = false;
  std::string text;    // "Pending sectors: 3 (limit 0)"
  std::string reason;  // why that matters, as plain text
};

// Counters that only their change tells something of, by name.
using Counters = std::map<std::string, std::uint64_t>;

struct Findings {
  std::vector<Finding> list;               // failures first
  std::vector<sdk::Measurement> measured;  // each number that has a limit, with it
  Counters counters;                       // as they are now, for the next run
};

// `before`: the counters of the drive's last run; empty: there was none. `hasExceeded`: the drive
// says that a threshold is exceeded.
Findings FindingsOf(const AtaNumbers& told, bool hasExceeded, const Counters& before);
Findings FindingsOf(const nvme::HealthLog& log);
Findings FindingsOf(const ScsiHealth& health);

}  // namespace orvan::storage
