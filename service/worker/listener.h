#pragma once

#include <thread>

#include "service/worker/connection.h"
#include "service/worker/memory_limit.h"
#include "service/worker/orders.h"

namespace orvan::worker {

// Listens to the program on a thread of its own, whatever the module does meanwhile: hands on
// orders, stops and events, answers signs of life, looks at the memory while there is work, and
// ends the process when the program is gone. Lives as long as the process.
void ListenFrom(ProgramChannel& channel, Orders& orders, const MemoryLimit& memory);

}  // namespace orvan::worker
