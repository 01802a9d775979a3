#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "service/modules/storage/disk.h"
#include "service/sdk/module_state.h"

namespace orvan::storage {

// Numbers of one drive that one test keeps from run to run, in a file of the module's state. A
// drive is known by what it says of itself, wherever it is attached. One thread.
class DriveMemory {
 public:
  using Numbers = std::map<std::string, std::uint64_t>;  // names: lower case and hyphens

  // `test` is part of the file's name, in lower case.
  DriveMemory(sdk::ModuleState& state, const Disk& disk, const std::string& test);

  // What was kept at the last run.
  struct Kept {
    std::optional<Numbers> numbers;
    // Why there is nothing, though something may have been kept, as plain text; empty: this is the
    // first run, or there is something.
    std::string trouble;
  };
  Kept Read() const;

  // Empty, or why nothing was kept, as plain text.
  std::string Keep(const Numbers& numbers);

 private:
  sdk::ModuleState& state_;
  std::string file_;  // empty: nothing tells this drive from others
};

}  // namespace orvan::storage
