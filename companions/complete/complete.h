#pragma once

#include <string>
#include <vector>

namespace tarvex::complete {

// Does what the arguments ask for, and prints it: "--line TEXT END" for a shell that takes replies,
// one a line, or "INDEX WORD..." for one that takes words, each with a tab and its summary behind
// it. 0, or 2 when the arguments are neither. Main thread.
int Run(const std::vector<std::string>& arguments);

}  // namespace tarvex::complete
