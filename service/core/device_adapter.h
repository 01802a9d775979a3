#pragma once

#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>

#include "boundary/orvan_service_objects.h"
#include "service/core/outside_text.h"
#include "service/log/log.h"
#include "service/sdk/device.h"

namespace orvan::core {

// A module's device behind the boundary, its texts made fit for it. An exception of the module
// becomes an empty answer and a line of the log.
class DeviceAdapter final : public DiagDevice {
 public:
  // Throws what the device's Id and WhyUntestable throw. By the token a look at its resources is
  // told to end early.
  DeviceAdapter(std::unique_ptr<sdk::Device> device, log::ServiceLog& log, std::stop_token stop)
      : device_(std::move(device)),
        id_(IdText(device_->Id())),
        whyUntestable_(device_->WhyUntestable()),
        log_(log),
        stop_(std::move(stop)) {}

  std::string& GetId(std::string& text) override { return text = id_; }
  DeviceInformation& GetInformation(DeviceInformation& record) override;
  std::vector<DiagResource>& GetResources(std::vector<DiagResource>& out) override;

  const sdk::Device& Device() const { return *device_; }
  // As the device said it when it was found.
  const std::optional<std::string>& WhyUntestable() const { return whyUntestable_; }
  const std::string& Id() const { return id_; }

 private:
  std::unique_ptr<sdk::Device> device_;
  std::string id_;
  std::optional<std::string> whyUntestable_;
  log::ServiceLog& log_;
  std::stop_token stop_;
};

}  // namespace orvan::core
