#include "companions/history/device_names.h"

#include <algorithm>
#include <functional>

namespace tarvex::history {
namespace {

using Of = std::string (*)(const KnownDevice&);

constexpr std::array<Of, 6> kNames{
    [](const KnownDevice& one) { return one.device.key; },
    [](const KnownDevice& one) { return one.device.key + '@' + one.machine; },
    [](const KnownDevice& one) { return one.device.key + '@' + one.machineId; },
    [](const KnownDevice& one) { return one.device.key + '@' + one.device.place; },
    [](const KnownDevice& one) { return one.device.serial; },
    [](const KnownDevice& one) { return one.device.name; }};
// Of these the ones that are made of the key.
constexpr std::size_t kOfKey = 4;

}  // namespace

DeviceNames::DeviceNames(std::span<const KnownDevice> devices) {
  static_assert(kNames.size() == kWays);
  for (std::size_t way = 0; way < kWays; ++way) {
    for (const KnownDevice& one : devices) ways_[way].emplace(kNames[way](one), &one);
  }
}

std::vector<const KnownDevice*> DeviceNames::Called(const std::string& wanted) const {
  std::vector<const KnownDevice*> found;
  for (const auto& way : ways_) {
    const auto [first, last] = way.equal_range(wanted);
    for (auto at = first; at != last; ++at) found.push_back(at->second);
    if (!found.empty()) break;
  }
  const auto isOfAMachine = [](const KnownDevice* one) { return !one->isSimulated; };
  if (std::any_of(found.begin(), found.end(), isOfAMachine)) {
    std::erase_if(found, std::not_fn(isOfAMachine));
  }
  return found;
}

std::string DeviceNames::NameOf(const KnownDevice& device) const {
  std::string name;
  for (std::size_t way = 0; way < kOfKey; ++way) {
    name = kNames[way](device);
    if (Called(name).size() == 1) break;
  }
  return name;
}

}  // namespace tarvex::history
