#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "service/protocol/device_record.h"
#include "service/sdk/device.h"

namespace orvan::remote {

class ScanResources;

// A device as a worker found it, with all that the module said of it then, but for its resources,
// which the worker is asked for. What the module threw is thrown again, as a std::runtime_error
// with its text. Any thread, but for the resources.
class RemoteDevice final : public sdk::Device {
 public:
  // The name is the record's, with its place in the scan.
  RemoteDevice(protocol::DeviceRecord record, protocol::DeviceName name,
               std::shared_ptr<ScanResources> resources)
      : record_(std::move(record)), name_(std::move(name)), resources_(std::move(resources)) {}

  std::string Id() const override { return record_.id; }
  DeviceInformation Information() const override;
  std::vector<DiagResource> Resources(std::stop_token stop) const override;
  std::string UniqueId() const override;
  std::optional<std::string> WhyUntestable() const override { return record_.whyUntestable; }
  std::optional<std::string> ResultText() const override;

  // What a row of the module's tables says of it, by its place among all of them. `row` is within
  // the tables, and the device is testable.
  bool TestApplies(std::size_t row) const;
  std::vector<sdk::ParameterSpec> ParametersOf(std::size_t row) const;
  bool ToolApplies(std::size_t row) const;

  // By which any worker of the module finds it again.
  const protocol::DeviceName& Name() const { return name_; }

 private:
  protocol::DeviceRecord record_;
  protocol::DeviceName name_;
  std::shared_ptr<ScanResources> resources_;  // of all devices of the scan
};

// The name of a device that a remote module gave out; any other is a mistake of the caller.
const RemoteDevice& AsRemote(const sdk::Device& device);

}  // namespace orvan::remote
