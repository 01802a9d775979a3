#pragma once

#include <cstddef>

#include "service/sdk/machine.h"

namespace orvan::machine {

// A machine as who runs a module holds it. One thread but for what sdk::Machine says.
class KeptMachine : public sdk::Machine {
 public:
  // Whether what writes is passed on: set around the run of a test or a tool, as its row says. At
  // first it is not.
  virtual void GrantWriting(bool isGranted) = 0;
  // A test begins, or is about to say something to the operator. Where a run must show the same
  // each time, this waits until what was said before can be seen. The thread of the test.
  enum class Moment { kTestBegins, kMessage };
  virtual void OnShown(Moment /*moment*/) {}
  // Whether each look at what a device holds is answered with none and touches nothing: a search for
  // devices that are known needs none, and one that hangs would hang again.
  virtual void SkipProbes(bool /*areSkipped*/) {}
  // How many calls hang in the kernel at the moment, left behind. A process in which a test or a
  // tool left any is not used any further.
  virtual std::size_t LeftBehind() const = 0;
};

}  // namespace orvan::machine
