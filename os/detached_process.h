#pragma once

#include <string>
#include <vector>

namespace tarvex {

// Starts this program again in the background: `arguments` from argument 0 on, a new session
// without terminal, standard streams on /dev/null, no other descriptor, default signal
// dispositions, no blocked signals; environment, working directory, umask, niceness and limits are
// inherited. Returns 0 once the new program is running, or an errno value, which *error gets as
// well when `error` is not null. The new process is no child of this one. The calling thread goes
// on at high priority, as far as its rights allow. Any thread.
int StartDetached(const std::vector<std::string>& arguments, int* error);

}  // namespace tarvex
