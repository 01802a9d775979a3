#include "service/modules/storage/bytes.h"

#include <string_view>

#include "service/modules/storage/identity.h"

namespace orvan::storage {
namespace {

char Shown(std::uint8_t byte) {
  constexpr std::string_view kBlanks("\t\r\n\0", 4);
  const char character = static_cast<char>(byte);
  // Blanks that Trimmed takes away at the ends are blanks in between.
  if (kBlanks.find(character) != std::string_view::npos) return ' ';
  return byte >= 0x20 && byte <= 0x7E ? character : '?';
}

}  // namespace

std::string DeviceText(Bytes bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) text += Shown(byte);
  return Trimmed(text);
}

std::string AtaText(Bytes bytes) {
  std::string text;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    text += Shown(bytes[i + 1]);
    text += Shown(bytes[i]);
  }
  return Trimmed(text);
}

}  // namespace orvan::storage
