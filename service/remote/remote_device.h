#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "service/protocol/device_record.h"
#include "service/sdk/device.h"

namespace orvan::remote {

// A device as a worker found it, with all that the module said of it then. What the module threw is
// thrown again, as a std::runtime_error with its text. Immutable; any thread.
class RemoteDevice final : public sdk::Device {
 public:
  // The name is the record's, with its place in the scan.
  RemoteDevice(protocol::DeviceRecord record, protocol::DeviceName name)
      : record_(std::move(record)), name_(std::move(name)) {}

  std::string Id() const override { return record_.id; }
  DeviceInformation Information() const override;
  std::vector<DiagResource> Resources() const override;
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
};

// The name of a device that a remote module gave out; any other is a mistake of the caller.
const RemoteDevice& AsRemote(const sdk::Device& device);

}  // namespace orvan::remote
