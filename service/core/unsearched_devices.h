#pragma once

#include <string>
#include <utility>

#include "service/sdk/device.h"

namespace orvan::core {

// Stands for all devices of a module whose scan could not look, so that nobody takes them for none.
class UnsearchedDevices final : public sdk::Device {
 public:
  // `reason` is plain text for people.
  UnsearchedDevices(std::string module, std::string reason)
      : module_(std::move(module)), reason_(std::move(reason)) {}

  std::string Id() const override { return "0"; }
  DeviceInformation Information() const override {
    DeviceInformation record;
    record.name = module_ + ": the devices could not be searched";
    record.entries.emplace_back(reason_, "REASON");
    // Nobody knows, and a missing one is a fault of the module.
    record.properties["NonRotatingMedia"] = "UNABLE_TO_OBTAIN";
    return record;
  }
  std::vector<DiagResource> Resources() const override { return {}; }
  std::string UniqueId() const override { return "unsearched"; }
  std::optional<std::string> WhyUntestable() const override {
    return "|THE_DEVICES_COULD_NOT_BE_SEARCHED";
  }

 private:
  std::string module_;
  std::string reason_;
};

}  // namespace orvan::core
