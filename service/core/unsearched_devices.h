#pragma once

#include <stop_token>
#include <string>
#include <utility>

#include "service/sdk/device.h"

namespace orvan::core {

// Stands for all devices of a module that its search did not find before it broke, so that nobody
// takes them for none.
class UnsearchedDevices final : public sdk::Device {
 public:
  // The id is none of a device that was found, `name` and `reason` are plain text for people.
  UnsearchedDevices(std::string id, std::string name, std::string reason)
      : id_(std::move(id)), name_(std::move(name)), reason_(std::move(reason)) {}

  std::string Id() const override { return id_; }
  DeviceInformation Information() const override {
    DeviceInformation record;
    record.name = name_;
    record.entries.emplace_back(reason_, "REASON");
    // Nobody knows, and a missing one is a fault of the module.
    record.properties["NonRotatingMedia"] = "UNABLE_TO_OBTAIN";
    return record;
  }
  std::vector<DiagResource> Resources(std::stop_token) const override { return {}; }
  std::string UniqueId() const override { return "unsearched"; }
  std::optional<std::string> WhyUntestable() const override {
    return "|THE_DEVICES_COULD_NOT_BE_SEARCHED";
  }

 private:
  std::string id_;
  std::string name_;
  std::string reason_;
};

}  // namespace orvan::core
