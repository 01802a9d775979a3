#include "service/remote/tool_story.h"

#include <array>
#include <utility>

namespace orvan::remote {
namespace {

constexpr char kDeviceInit[] = "DeviceInit";
constexpr char kOnDeviceInit[] = "OnDeviceInit";
constexpr char kOnDeviceFinish[] = "OnDeviceFinish";
constexpr char kOnOperationInit[] = "OnOperationInit";

}  // namespace

// How the listener of a tool is told.
struct ToolStory::Words {
  const char* tool;
  std::vector<std::string> opening;  // before the first device
  std::vector<std::string> closing;  // behind the last one
  // A device's end behind its id: its status, and what the tool has there.
  std::vector<std::string> canceled;
  std::vector<std::string> failed;
  // Properties that a listener reads at a device's end, and what they hold where nothing was told.
  std::vector<std::pair<std::string, std::vector<std::string>>> counts;
  bool hasMessage;
};

const ToolStory::Words* ToolStory::Find(const std::string& tool) {
  static const std::array<Words, 2> words{
      Words{kRepairTool,
            {"OnRecoverInit", kOnOperationInit},
            {"OnOperationFinish", "OnRecoverFinish"},
            {"8"},
            {"10"},
            {{"SectorsInfo", {"0", "0", "0", "0"}}, {"BadSectorsList", {}}},
            true},
      Words{"smart_tool",
            {"OnSmartToolInit"},
            {"OnSmartToolFinish"},
            // Where kind and texts are empty, the listener takes any status for "not possible".
            {"8", "scsi", "", R"([{"description":"Reading","data":"canceled"}])"},
            {"1", "", "", ""},
            {},
            false}};
  for (const Words& each : words) {
    if (each.tool == tool) return &each;
  }
  return nullptr;
}

void ToolStory::Set(const std::string& key, const std::vector<std::string>& values) {
  if (key == kDeviceInit && !values.empty()) device_ = values.front();
  told_.insert(key);
  context_.SetProperty(key, values);
}

bool ToolStory::Fire(const std::string& event) {
  fired_.insert(event);
  if (event == kOnDeviceInit) {
    isDeviceOpen_ = true;
    told_.clear();
  } else if (event == kOnDeviceFinish) {
    isDeviceOpen_ = false;
    ended_.insert(device_);
  }
  return context_.Fire(event);
}

void ToolStory::FireOnce(const std::string& event) {
  if (fired_.contains(event)) return;
  if (event == kOnOperationInit) {
    const std::vector<std::string> operation = context_.GetProperty(sdk::kToolOperation);
    Set("OperationInit", {operation.empty() ? "repair" : operation.front()});
  }
  Fire(event);
}

void ToolStory::BeginDevice(const std::string& id) {
  Set(kDeviceInit, {id});
  Fire(kOnDeviceInit);
}

void ToolStory::EndDevice(const Words& words, End end, const std::string& reason) {
  if (words.hasMessage) {
    Set("Message", reason.empty() ? std::vector<std::string>{} : std::vector{reason});
  }
  for (const auto& [key, otherwise] : words.counts) {
    if (!told_.contains(key) || context_.GetProperty(key).size() < otherwise.size()) {
      Set(key, otherwise);
    }
  }
  std::vector<std::string> finish{device_};
  const auto& rest = end == End::kFailed ? words.failed : words.canceled;
  finish.insert(finish.end(), rest.begin(), rest.end());
  Set("DeviceFinish", finish);
  Fire(kOnDeviceFinish);
}

bool ToolStory::Finish(End end, const std::string& reason) {
  const Words* const words = Find(words_);
  if (words == nullptr || !context_.HasListener()) return false;
  for (const std::string& event : words->opening) FireOnce(event);
  if (isDeviceOpen_) EndDevice(*words, end, reason);
  for (const sdk::Device* device : context_.Devices()) {
    if (ended_.contains(device->Id())) continue;
    BeginDevice(device->Id());
    EndDevice(*words, end, reason);
  }
  for (const std::string& event : words->closing) FireOnce(event);
  return true;
}

}  // namespace orvan::remote
