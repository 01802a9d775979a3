#include "service/recording/plain_text.h"

#include <algorithm>
#include <cstddef>

namespace orvan::recording {
namespace {

bool IsControl(unsigned char byte) {
  return (byte < ' ' && byte != '\n' && byte != '\r' && byte != '\t' && byte != 0) || byte == 0x7F;
}

// How many bytes follow the first one of a character; 4: it is none.
// Source: RFC 3629, 4 (syntax of UTF-8 byte sequences).
std::size_t FollowersOf(unsigned char byte) {
  if (byte < 0x80) return IsControl(byte) ? 4 : 0;
  if (byte >= 0xC2 && byte <= 0xDF) return 1;
  if (byte >= 0xE0 && byte <= 0xEF) return 2;
  return byte >= 0xF0 && byte <= 0xF4 ? 3 : 4;
}

}  // namespace

bool IsPlainText(std::string_view content) {
  while (!content.empty()) {
    const std::size_t followers = FollowersOf(static_cast<unsigned char>(content.front()));
    if (followers == 4) return false;
    const std::string_view rest = content.substr(1, followers);
    const bool isOne = std::all_of(rest.begin(), rest.end(), [](char c) {
      return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
    });
    if (!isOne) return false;
    content.remove_prefix(1 + rest.size());
  }
  return true;
}

}  // namespace orvan::recording
