#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tools/tool_event.h"

class RbsCliStdio;

// What the tool's events are applied to.
using RbsEventContext = ToolViewContext<RbsCliStdio>;

// One report of the running tool. Built on the service's threads, applied on the main thread.
class RbsCliEvent : public ToolViewEvent<RbsCliStdio> {};

class EventRecoverInit final : public RbsCliEvent {
 public:
  void apply(ToolEventContext& context) override;
};

class EventRecoverFinish final : public RbsCliEvent {
 public:
  void apply(ToolEventContext& context) override;

  std::string text;  // nobody fills it
};

class EventOperationInit final : public RbsCliEvent {
 public:
  explicit EventOperationInit(std::string word) : operation(std::move(word)) {}
  void apply(ToolEventContext& context) override;

  std::string operation;
};

class EventOperationFinish final : public RbsCliEvent {
 public:
  void apply(ToolEventContext& context) override;

  std::string text;  // nobody fills it
};

class EventDeviceInit final : public RbsCliEvent {
 public:
  EventDeviceInit(std::string id, std::string name)
      : deviceId(std::move(id)), displayName(std::move(name)) {}
  void apply(ToolEventContext& context) override;

  std::string deviceId;
  std::string displayName;
};

class EventDeviceFinish final : public RbsCliEvent {
 public:
  void apply(ToolEventContext& context) override;

  std::string deviceId;
  std::string displayName;
  std::string message;
  std::int32_t status = 0;
  std::string operation;
  std::vector<std::string> sectorsInfo;
  std::string badSectorList;
  bool hasMessage = false;
};

class EventProgress final : public RbsCliEvent {
 public:
  explicit EventProgress(std::uint32_t value) : percent(value) {}
  void apply(ToolEventContext& context) override;
  bool IsProgress() const override { return true; }

  std::uint32_t percent;
};
