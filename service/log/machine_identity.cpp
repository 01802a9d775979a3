#include "service/log/machine_identity.h"

#include <sys/utsname.h>

#include <cerrno>

#include "os/machine_id.h"

namespace orvan::log {

MachineIdentity ThisMachine() {
  utsname names{};
  if (uname(&names) != 0) return {};
  return {names.nodename, names.sysname, names.release, tarvex::MachineId()};
}

std::string ProgramName() {
  return program_invocation_name != nullptr ? program_invocation_name : "";
}

}  // namespace orvan::log
