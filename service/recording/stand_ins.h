#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "service/recording/key.h"

namespace orvan::recording {

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
