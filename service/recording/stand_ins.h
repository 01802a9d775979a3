#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace orvan::recording {

// The key of one recording, which no file holds. With it the same value has the same stand-in in
// every process that takes part.
class Key {
 public:
  static constexpr std::size_t kBytes = 32;
  // One that nobody can foresee.
  static Key Make();
  explicit Key(const std::array<unsigned char, kBytes>& bytes) : bytes_(bytes) {}
  const std::array<unsigned char, kBytes>& Bytes() const { return bytes_; }

 private:
  std::array<unsigned char, kBytes> bytes_;
};

// The stand-in of a value: of the same length, with a digit for each digit and a letter of the same
// case for each letter, a hexadecimal one where the value is hexadecimal; all else stays. Values
// that differ in more than case, or in more than what stays, have different stand-ins: it is a
// permutation of the values of one shape, drawn by the key. Any thread.
std::string StandInOf(const Key& key, std::string_view value);
// The same for bytes that others show as hexadecimal text.
void ReplaceByStandIn(const Key& key, std::span<std::uint8_t> bytes);

// What stands for the contents of a disk: 32 hexadecimal digits, the same for the same bytes, which
// nobody without the key can tell from any others. Any thread.
std::string HashOf(const Key& key, std::span<const std::byte> bytes);

}  // namespace orvan::recording
