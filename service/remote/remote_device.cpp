#include "service/remote/remote_device.h"

#include <stdexcept>

#include "service/remote/scan_resources.h"

namespace orvan::remote {
namespace {

template <typename Value>
const Value& ValueOf(const protocol::Answer<Value>& answer) {
  if (answer.thrown) throw std::runtime_error(*answer.thrown);
  return answer.value;
}

}  // namespace

DeviceInformation RemoteDevice::Information() const {
  return ValueOf(record_.information);
}

std::vector<DiagResource> RemoteDevice::Resources(std::stop_token stop) const {
  return ValueOf(resources_->Of(name_.place, std::move(stop)));
}

std::string RemoteDevice::UniqueId() const {
  return ValueOf(record_.uniqueId);
}

std::optional<std::string> RemoteDevice::ResultText() const {
  return ValueOf(record_.resultText);
}

bool RemoteDevice::TestApplies(std::size_t row) const {
  return ValueOf(record_.tests.at(row).applies);
}

std::vector<sdk::ParameterSpec> RemoteDevice::ParametersOf(std::size_t row) const {
  return ValueOf(record_.tests.at(row).parameters.value());
}

bool RemoteDevice::ToolApplies(std::size_t row) const {
  return ValueOf(record_.tools.at(row).applies);
}

const RemoteDevice& AsRemote(const sdk::Device& device) {
  return dynamic_cast<const RemoteDevice&>(device);
}

}  // namespace orvan::remote
