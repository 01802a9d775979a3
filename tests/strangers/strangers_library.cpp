// What a stranger plants: says that it was loaded, by a file beside itself, and offers what those
// who load libraries ask for, so that nothing but trust decides. Its name is looked for in the map
// of the process, as the name that the loader knows may be any.

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>

namespace {

[[gnu::constructor]] void SayThatItRan() {
  std::ifstream map("/proc/self/maps");
  const auto address = reinterpret_cast<std::uintptr_t>(&SayThatItRan);
  for (std::string line; std::getline(map, line);) {
    unsigned long first = 0;
    unsigned long end = 0;
    const std::size_t path = line.find('/');
    if (std::sscanf(line.c_str(), "%lx-%lx", &first, &end) == 2 && address >= first &&
        address < end && path != std::string::npos) {
      std::ofstream(line.substr(path) + ".ran");
    }
  }
}

}  // namespace

extern "C" {

// As SDL asks for it. Source: SDL, docs/README-dynapi.md.
int SDL_DYNAPI_entry(std::uint32_t /*version*/, void* /*table*/, std::uint32_t /*size*/) {
  return -1;
}

const void* OrvanModuleEntry() {
  return nullptr;
}

std::uint32_t ProcessLibCommand(void* /*command*/) {
  return 0;
}
}
