#include "service/modules/storage/bytes.h"

#include "service/modules/storage/identity.h"

namespace orvan::storage {
namespace {

std::string Shown(const std::string& text) {
  std::string shown;
  for (const char character : Trimmed(text)) {
    if (character == '\0') {
      shown += ' ';
    } else if (character >= 0x20 && character <= 0x7E) {
      shown += character;
    } else {
      shown += kNoCharacter;
    }
  }
  return shown;
}

}  // namespace

std::string DeviceText(Bytes bytes) {
  return Shown({bytes.begin(), bytes.end()});
}

std::string AtaText(Bytes bytes) {
  std::string text;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    text += static_cast<char>(bytes[i + 1]);
    text += static_cast<char>(bytes[i]);
  }
  return Shown(text);
}

}  // namespace orvan::storage
