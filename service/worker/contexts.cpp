#include "service/worker/contexts.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace orvan::worker {

void ToolContext::SetProperty(const std::string& key, const std::vector<std::string>& values) {
  Say(channel_, protocol::ToolSet{order_.request, key, values});
}

std::vector<std::string> ToolContext::GetProperty(const std::string& key) const {
  Say(channel_, protocol::ToolGet{order_.request, key});
  protocol::ToolAnswer answer = orders_.AwaitAnswer();
  if (answer.isTooLong) throw std::length_error(key + " holds more than a message may hold");
  return std::move(answer.values);
}

bool ToolContext::Fire(const std::string& event) {
  Say(channel_, protocol::ToolFire{order_.request, event});
  return orders_.AwaitAnswer().isHandled;
}

void ToolContext::Withdraw(const sdk::Device& device) {
  const auto found = std::find(candidates_.begin(), candidates_.end(), &device);
  if (found == candidates_.end()) return;
  const auto place = static_cast<std::uint32_t>(found - candidates_.begin());
  Say(channel_, protocol::ToolWithdraw{order_.request, place});
}

void ToolContext::Log(sdk::LogLevel level, const std::string& text) {
  Say(channel_, protocol::Logged{order_.request, level, text});
}

void ToolContext::Fail(const std::string& reason) {
  Say(channel_, protocol::ToolFailed{order_.request, reason});
}

}  // namespace orvan::worker
