#pragma once

#include "service/machine/kept_machine.h"
#include "service/worker/connection.h"
#include "service/worker/hosted_module.h"
#include "service/worker/orders.h"

namespace orvan::worker {

// Does what the program orders, one after the other, and tells it the end of each. The main
// thread, for the rest of the process' life.
[[noreturn]] void Serve(HostedModule& hosted, machine::KeptMachine& machine,
                        const ProgramChannel& channel, Orders& orders);

}  // namespace orvan::worker
