#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <numeric>
#include <string>
#include <vector>

#include "service/modules/storage/ata/page.h"

namespace orvan::storage::ata {

// Pages of an answer that a test fills in.
class Pages {
 public:
  explicit Pages(std::size_t count = 1) : bytes_(count * kPageBytes) {}

  Pages& Put(std::size_t at, std::initializer_list<int> bytes) {
    for (const int byte : bytes) bytes_.at(at++) = static_cast<std::uint8_t>(byte);
    return *this;
  }
  Pages& PutWord(std::size_t word, std::uint16_t value) {
    return Put(2 * word, {value & 0xFF, value >> 8});
  }
  // As ATA does it: the first character of each word in its high byte, padded with blanks.
  Pages& PutText(std::size_t word, std::size_t words, std::string text) {
    text.resize(2 * words, ' ');
    for (std::size_t i = 0; i < text.size(); ++i) {
      bytes_.at((2 * word + i) ^ 1U) = static_cast<std::uint8_t>(text[i]);
    }
    return *this;
  }
  // Makes the sum of each page 0 by its last byte.
  Pages& Seal() {
    for (std::size_t end = kPageBytes; end <= bytes_.size(); end += kPageBytes) {
      const auto begin = bytes_.begin() + static_cast<std::ptrdiff_t>(end - kPageBytes);
      const unsigned sum = std::accumulate(begin, begin + (kPageBytes - 1), 0U);
      bytes_[end - 1] = static_cast<std::uint8_t>(0x100U - (sum & 0xFFU));
    }
    return *this;
  }
  Pages& Cut(std::size_t size) {
    bytes_.resize(size);
    return *this;
  }

  operator Bytes() const { return bytes_; }  // NOLINT: a test gives it where bytes are wanted

 private:
  std::vector<std::uint8_t> bytes_;
};

}  // namespace orvan::storage::ata
