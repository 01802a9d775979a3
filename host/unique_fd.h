#pragma once

#include <unistd.h>

#include <utility>

namespace tarvex {

// Owns one file descriptor; -1 is none.
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int descriptor) : descriptor_(descriptor) {}
  UniqueFd(UniqueFd&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other) Reset(std::exchange(other.descriptor_, -1));
    return *this;
  }
  ~UniqueFd() { Reset(); }

  int Get() const { return descriptor_; }
  bool IsOpen() const { return descriptor_ >= 0; }
  void Reset(int descriptor = -1) {
    if (descriptor_ >= 0) ::close(descriptor_);
    descriptor_ = descriptor;
  }

 private:
  int descriptor_ = -1;
};

}  // namespace tarvex
