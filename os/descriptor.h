#pragma once

#include <unistd.h>

#include <utility>

namespace tarvex {

// Owns an open file descriptor, or none (-1). One thread at a time.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() { Reset(); }

  bool IsOpen() const { return number_ >= 0; }
  int Get() const { return number_; }
  // 0, or -1 with errno when closing failed or there was nothing to close. It is closed anyway.
  int Close() { return close(std::exchange(number_, -1)); }
  // Leaves what is open to the caller; -1 when nothing is.
  int Release() { return std::exchange(number_, -1); }
  // Closes what is open and owns that descriptor instead.
  void Reset(int number = -1) {
    if (IsOpen()) Close();
    number_ = number;
  }

 private:
  int number_ = -1;
};

}  // namespace tarvex
