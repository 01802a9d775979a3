#include "service/recording/key.h"

#include "os/chance.h"

namespace orvan::recording {

Key Key::Make() {
  std::array<unsigned char, kBytes> bytes{};
  tarvex::FillByChance(std::as_writable_bytes(std::span(bytes)));
  return Key(bytes);
}

}  // namespace orvan::recording
