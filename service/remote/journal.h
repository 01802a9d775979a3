#pragma once

#include <string>

#include "service/sdk/run_state.h"

namespace orvan::remote {

// Where it is written down what became of workers. Any thread.
class Journal {
 public:
  virtual ~Journal() = default;
  virtual void Note(sdk::LogLevel level, const std::string& text) = 0;
  // The same for who sits before the program and is not told otherwise.
  virtual void Tell(const std::string& text) = 0;
};

}  // namespace orvan::remote
