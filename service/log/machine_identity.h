#pragma once

#include <string>

namespace orvan::log {

// This machine's name and the kernel that it runs; empty texts where the system does not tell.
struct MachineIdentity {
  std::string hostName;
  std::string system;   // e.g. "Linux"
  std::string release;  // e.g. "6.1.0-28-amd64"
  std::string id;       // stays when the name is changed
};
MachineIdentity ThisMachine();

// The running program as it was called, without arguments, which may hold a caller's key.
std::string ProgramName();

}  // namespace orvan::log
