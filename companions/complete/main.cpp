#include <cstdio>
#include <exception>

#include "companions/complete/complete.h"
#include "system/clean_environment.h"

namespace {

// In front of the initialisers of the libraries, of which some read the environment.
[[gnu::section(".preinit_array"),
  gnu::used]] void (*const cleanFirst)(int, char**, char**) = tarvex::CleanEnvironmentAtStart;

}  // namespace

int main(int argc, char** argv) {
  // Nothing is said into the line that somebody is typing.
  if (std::freopen("/dev/null", "w", stderr) == nullptr) return 1;
  try {
    return tarvex::complete::Run({argv + 1, argv + argc});
  } catch (const std::exception&) {
    return 1;
  }
}
