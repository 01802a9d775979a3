#include <cstddef>
#include <cstdint>
#include <string_view>

#include "service/scenario/scenario_file.h"

// Any bytes are a scenario or a fault with its place, never anything else.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    orvan::scenario::ParseScenario({reinterpret_cast<const char*>(data), size});
  } catch (const orvan::scenario::ScenarioFault&) {
    return 0;
  }
  return 0;
}
