#pragma once

#include <array>
#include <cstddef>

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

}  // namespace orvan::recording
