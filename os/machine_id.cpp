#include "os/machine_id.h"

#include <systemd/sd-id128.h>

namespace tarvex {
namespace {

// Ours alone. It must stay as it is, or each machine becomes another one.
constexpr sd_id128_t kProgram =
    SD_ID128_MAKE(5b, 0c, 1e, 6e, 2d, 9a, 4f, 47, 8c, 11, 3f, a0, 97, d4, 62, 0b);

}  // namespace

std::string MachineId() {
  sd_id128_t id;
  if (sd_id128_get_machine_app_specific(kProgram, &id) < 0) return {};
  char text[SD_ID128_STRING_MAX];
  return sd_id128_to_string(id, text);
}

}  // namespace tarvex
