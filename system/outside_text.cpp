#include "system/outside_text.h"

#include <algorithm>
#include <array>

#include "system/text_conversion.h"

namespace tarvex {
namespace {

struct Range {
  std::uint32_t first;
  std::uint32_t last;
};

constexpr std::array<Range, 6> kSteering{{
    {0x00, 0x1F},      // C0
    {0x7F, 0x9F},      // DEL and C1, next line among them
    {0x061C, 0x061C},  // Arabic letter mark
    {0x200E, 0x200F},  // left-to-right and right-to-left mark
    {0x2028, 0x202E},  // separators of lines and paragraphs; embeddings, overrides and their end
    {0x2066, 0x2069},  // isolates and their end
}};

bool HoldsControlByte(std::string_view part) {
  return std::any_of(part.begin(), part.end(), [](char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return value >= 0x80 && value <= 0x9F;
  });
}

}  // namespace

bool IsSteering(std::uint32_t character) {
  return std::any_of(kSteering.begin(), kSteering.end(), [character](const Range& range) {
    return character >= range.first && character <= range.last;
  });
}

std::string InLine(std::string text, std::string_view kept) {
  std::replace_if(
      text.begin(), text.end(),
      [kept](char byte) {
        return IsLayout(static_cast<unsigned char>(byte)) &&
               kept.find(byte) == std::string_view::npos;
      },
      kSubstitute);
  return text;
}

std::string WithoutSteering(std::string_view text, std::string_view kept) {
  std::string shown;
  shown.reserve(text.size());
  while (!text.empty()) {
    const DecodedCharacter decoded = DecodeUtf8(text);
    const std::string_view part = text.substr(0, decoded.length);
    const bool steers = decoded.good ? IsSteering(static_cast<std::uint32_t>(decoded.character)) &&
                                           kept.find(part) == std::string_view::npos
                                     : HoldsControlByte(part);
    shown += steers ? kReplacementUtf8 : part;
    text.remove_prefix(decoded.length);
  }
  return shown;
}

}  // namespace tarvex
