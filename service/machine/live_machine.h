#pragma once

#include <memory>
#include <string>

#include "os/descriptor.h"
#include "service/machine/kept_machine.h"

namespace orvan::machine {

struct LiveMachineOptions {
  std::string root = "/";               // of Files
  tarvex::Descriptor stateFolder = {};  // the module's own; none: State() answers EOPNOTSUPP
  bool filesMayBeDrives = false;        // regular files may stand in for devices (tests)
};

// This machine.
std::unique_ptr<KeptMachine> MakeLiveMachine(LiveMachineOptions options);

}  // namespace orvan::machine
