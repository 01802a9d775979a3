#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "os/child_process.h"

namespace tarvex {

struct AwaitedEnd {
  int error = 0;  // errno of a program that could not be started; nothing else is known then
  pid_t id = -1;  // what the program's process was called
  ProcessEnd end;
};

// Starts a program, `words[0]` its path, with our environment, group and standard error, and
// /dev/null as its other standard streams, and waits for its end. What asks this process to end
// (SIGINT, SIGTERM, SIGHUP) is passed over from here on: who wants the end asks the whole group.
// Main thread, while there is no other.
AwaitedEnd RunToItsEnd(const std::vector<std::string>& words);

}  // namespace tarvex
