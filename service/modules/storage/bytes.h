#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace orvan::storage {

// What a drive answered, or a part of it. Its length is a stranger's, as all that stands in it.
using Bytes = std::span<const std::uint8_t>;

// Whether `size` bytes from `at` on are there.
constexpr bool Holds(Bytes bytes, std::size_t at, std::size_t size) {
  return at <= bytes.size() && size <= bytes.size() - at;
}

// The bytes from `at` on, `size` at most: as many of them as are there.
constexpr Bytes Part(Bytes bytes, std::size_t at, std::size_t size = std::dynamic_extent) {
  if (at >= bytes.size()) return {};
  const std::size_t left = bytes.size() - at;
  return bytes.subspan(at, size < left ? size : left);
}

// The unsigned number in `kSize` bytes from `at` on, the least significant byte first. 0 when they
// are not all there; who must tell that from a 0 asks LittleIfThere.
template <std::unsigned_integral T, std::size_t kSize = sizeof(T)>
constexpr T Little(Bytes bytes, std::size_t at) {
  static_assert(kSize >= 1 && kSize <= sizeof(T));
  if (!Holds(bytes, at, kSize)) return 0;
  std::uint64_t number = 0;
  for (std::size_t i = kSize; i > 0; --i) number = number << 8 | bytes[at + i - 1];
  return static_cast<T>(number);
}

// The same, the most significant byte first.
template <std::unsigned_integral T, std::size_t kSize = sizeof(T)>
constexpr T Big(Bytes bytes, std::size_t at) {
  static_assert(kSize >= 1 && kSize <= sizeof(T));
  if (!Holds(bytes, at, kSize)) return 0;
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < kSize; ++i) number = number << 8 | bytes[at + i];
  return static_cast<T>(number);
}

// None when the bytes are not all there.
template <std::unsigned_integral T, std::size_t kSize = sizeof(T)>
constexpr std::optional<T> LittleIfThere(Bytes bytes, std::size_t at) {
  if (!Holds(bytes, at, kSize)) return std::nullopt;
  return Little<T, kSize>(bytes, at);
}

template <std::unsigned_integral T, std::size_t kSize = sizeof(T)>
constexpr std::optional<T> BigIfThere(Bytes bytes, std::size_t at) {
  if (!Holds(bytes, at, kSize)) return std::nullopt;
  return Big<T, kSize>(bytes, at);
}

// The bytes of a file, for as long as the text is there.
inline Bytes BytesIn(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// Whether each byte is `value`; true of no bytes.
constexpr bool IsAll(Bytes bytes, std::uint8_t value) {
  for (const std::uint8_t byte : bytes) {
    if (byte != value) return false;
  }
  return true;
}

// What stands for a byte of a drive's text that is no printable ASCII character: U+FFFD.
inline constexpr char kNoCharacter[] = "\xEF\xBF\xBD";

// A text of a drive without blanks and zero bytes at its ends, and with blanks for zero bytes in
// between. All else that is no printable ASCII character is kNoCharacter, so that no drive writes
// to the operator's terminal.
std::string DeviceText(Bytes bytes);

// The same for a text of ATA, whose words hold two characters each, the first in the high byte. An
// odd byte at the end is left out.
std::string AtaText(Bytes bytes);

}  // namespace orvan::storage
