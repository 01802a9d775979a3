#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace orvan::storage {

// What a decoder makes of a drive's answer. An answer that cannot be trusted gives no value, and
// `trouble` says why, in plain text for people. With a value, trouble says which part of the answer
// was left out, or where it contradicts itself; empty when all of it could be trusted.
template <typename T>
struct Decoded {
  std::optional<T> value;
  std::string trouble;
};

// An answer of which nothing is trusted.
template <typename T>
Decoded<T> Distrusted(std::string trouble) {
  return {std::nullopt, std::move(trouble)};
}

// A byte as standards write it: "0Dh".
std::string HexByte(std::uint8_t byte);

// The words for an answer that is too short: "the answer has 300 of 512 bytes".
std::string ShortAnswer(std::size_t bytes, std::size_t wanted);

// The words for a page that was not asked for: "the page is 0Dh, 2Fh was asked for".
std::string OtherPage(std::uint8_t page, std::uint8_t asked);

}  // namespace orvan::storage
