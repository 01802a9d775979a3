#include "service/log/machine_identity.h"

#include <sys/utsname.h>

#include <cerrno>

namespace orvan::log {

MachineIdentity ThisMachine() {
  utsname names{};
  return uname(&names) == 0 ? MachineIdentity{names.nodename, names.sysname, names.release}
                            : MachineIdentity{};
}

std::string ProgramName() {
  return program_invocation_name != nullptr ? program_invocation_name : "";
}

}  // namespace orvan::log
