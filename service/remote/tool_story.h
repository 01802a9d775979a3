#pragma once

#include <set>
#include <string>
#include <vector>

#include "service/sdk/tool.h"

namespace orvan::remote {

inline constexpr char kRepairTool[] = "recover_bad_sectors";

// What a tool has told its listener so far, so that somebody else can tell the rest when its worker
// can't: a listener that was told that a device began is told how it ended. One thread.
class ToolStory {
 public:
  // `words` is the tool by whose words the listener is told; one that is not known has none.
  ToolStory(sdk::ToolContext& context, std::string words)
      : context_(context), words_(std::move(words)) {}

  void Set(const std::string& key, const std::vector<std::string>& values);
  bool Fire(const std::string& event);

  enum class End { kCanceled, kFailed };
  // Tells what is missing: each device that has not ended does, for that reason, and what began is
  // over. Counts that the tool has told of the present device stand. False when nobody can be told
  // in the tool's words.
  bool Finish(End end, const std::string& reason);

 private:
  struct Words;
  static const Words* Find(const std::string& tool);
  void FireOnce(const std::string& event);
  void BeginDevice(const std::string& id);
  void EndDevice(const Words& words, End end, const std::string& reason);

  sdk::ToolContext& context_;
  const std::string words_;
  std::set<std::string> fired_;
  std::set<std::string> ended_;  // devices
  std::string device_;           // the one that was begun last
  bool isDeviceOpen_ = false;
  std::set<std::string> told_;  // properties, since that device began
};

}  // namespace orvan::remote
