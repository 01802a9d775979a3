#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace orvan::sdk {

// Memory that is resident and stays where it is. Its end gives it back at once. The owner's thread.
class LockedMemory {
 public:
  virtual ~LockedMemory() = default;
  virtual std::span<std::byte> Bytes() = 0;
  // The physical address of a byte of it; none where the kernel does not tell.
  // Source: Linux, Documentation/admin-guide/mm/pagemap.rst.
  virtual std::optional<std::uint64_t> PhysicalAddress(std::size_t offset) const = 0;
};

struct LockedMemoryResult {
  std::unique_ptr<LockedMemory> memory;  // null when there is none
  int error = 0;                         // then the errno: ENOMEM, EPERM, ...
};

}  // namespace orvan::sdk
