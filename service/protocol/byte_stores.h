#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <span>
#include <vector>

// Where the bytes of a message are put.
namespace orvan::protocol {

// Bytes in a room of fixed size, for a signal handler that may not ask for memory.
template <std::size_t kSize>
class FixedBytes {
 public:
  bool Append(const void* from, std::size_t size) {
    if (size > kSize - used_) return false;
    std::memcpy(bytes_.data() + used_, from, size);
    used_ += size;
    return true;
  }
  std::span<const std::byte> Bytes() const { return std::span(bytes_).first(used_); }

 private:
  std::array<std::byte, kSize> bytes_{};
  std::size_t used_ = 0;
};

class GrowingBytes {
 public:
  bool Append(const void* from, std::size_t size) {
    const std::size_t before = bytes_.size();
    bytes_.resize(before + size);
    if (size != 0) std::memcpy(bytes_.data() + before, from, size);
    return true;
  }
  std::span<const std::byte> Bytes() const { return bytes_; }

 private:
  std::vector<std::byte> bytes_;
};

// No bytes, but how many there would be.
class CountedBytes {
 public:
  bool Append(const void* /*from*/, std::size_t size) {
    count_ += size;
    return true;
  }
  std::size_t Count() const { return count_; }

 private:
  std::size_t count_ = 0;
};

}  // namespace orvan::protocol
