#pragma once

#include <string>

namespace tarvex {

// A number of this installation of the system, the same after each start, 32 hexadecimal digits; no
// other program's number for the machine can be found from it. Empty where the system has none. Any
// thread.
// Source: machine-id(5), sd_id128_get_machine_app_specific(3).
std::string MachineId();

}  // namespace tarvex
