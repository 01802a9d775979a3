#pragma once

#include <string>
#include <vector>

#include "companions/history/archive.h"
#include "companions/history/options.h"

namespace tarvex::history {

struct Answer {
  std::string text;                // for standard output
  std::vector<std::string> notes;  // for standard error, a line each
  int status = 0;
};
inline constexpr int kNotThere = 1;
inline constexpr int kWrongUse = 2;

// Does what the options ask for. One thread at a time.
Answer Execute(const Options& options);

}  // namespace tarvex::history
