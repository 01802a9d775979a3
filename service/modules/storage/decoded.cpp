#include "service/modules/storage/decoded.h"

namespace orvan::storage {

std::string HexByte(std::uint8_t byte) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  return {kDigits[byte >> 4], kDigits[byte & 15], 'h'};
}

std::string ShortAnswer(std::size_t bytes, std::size_t wanted) {
  return "the answer has " + std::to_string(bytes) + " of " + std::to_string(wanted) + " bytes";
}

std::string OtherPage(std::uint8_t page, std::uint8_t asked) {
  return "the page is " + HexByte(page) + ", " + HexByte(asked) + " was asked for";
}

}  // namespace orvan::storage
