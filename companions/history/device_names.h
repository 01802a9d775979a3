#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "companions/history/run_index.h"

namespace tarvex::history {

// What devices are called on the command line. One thread at a time; the devices are the caller's,
// and outlive it.
class DeviceNames {
 public:
  explicit DeviceNames(std::span<const KnownDevice> devices);

  // Those that are meant: by key, by key and machine ("KEY@MACHINE", by its name or its number), by
  // key and place, by serial number, by name; the first of these that fits any decides,
  // and of those that it fits a simulated one is meant only where there is no other.
  std::vector<const KnownDevice*> Called(const std::string& wanted) const;
  // The first of these that means this device alone: its key, and its machine or its place with it
  // where others have the same.
  std::string NameOf(const KnownDevice& device) const;

 private:
  static constexpr std::size_t kWays = 6;
  std::array<std::unordered_multimap<std::string, const KnownDevice*>, kWays> ways_;
};

}  // namespace tarvex::history
