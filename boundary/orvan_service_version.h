#pragma once

#include <cstdint>
#include <string>

// A version of four numbers, of the program or of a diagnostic module. Immutable; any thread.
class ProductVersion {
 public:
  ProductVersion(std::uint32_t major, std::uint32_t minor, std::uint32_t patch, std::uint32_t build)
      : major_(major), minor_(minor), patch_(patch), build_(build) {}
  ProductVersion(const ProductVersion&) = default;
  ProductVersion& operator=(const ProductVersion&) = default;
  virtual ~ProductVersion() = default;

  virtual std::uint32_t Major() const { return major_; }
  virtual std::uint32_t Minor() const { return minor_; }
  virtual std::uint32_t Patch() const { return patch_; }
  virtual std::uint32_t Build() const { return build_; }

 private:
  std::uint32_t major_;
  std::uint32_t minor_;
  std::uint32_t patch_;
  std::uint32_t build_;
};
