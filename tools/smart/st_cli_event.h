#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "tools/tool_event.h"

class STCliStdio;

// What the tool's events are applied to.
using STEventContext = ToolViewContext<STCliStdio>;

// One report of the running tool. Built on the service's threads, applied on the main thread.
class STCliEvent : public ToolViewEvent<STCliStdio> {};

class STEventSmartToolInit final : public STCliEvent {
 public:
  void apply(ToolEventContext& /*context*/) override {}
};

class STEventSmartToolFinish final : public STCliEvent {
 public:
  void apply(ToolEventContext& context) override;

  std::string text;  // nobody fills it
};

// Does not begin the device's time: no progress is drawn on this tool.
class STEventDeviceInit final : public STCliEvent {
 public:
  STEventDeviceInit(std::string id, std::string name)
      : deviceId(std::move(id)), displayName(std::move(name)) {}
  void apply(ToolEventContext& context) override;

  std::string deviceId;
  std::string displayName;
};

class STEventDeviceFinish final : public STCliEvent {
 public:
  void apply(ToolEventContext& context) override;

  std::string deviceId;
  std::string displayName;
  std::int32_t status = 0;
  std::string deviceType;
  std::string attributes;
  std::string driveInformation;
};

class STEventProgress final : public STCliEvent {
 public:
  explicit STEventProgress(std::uint32_t value) : percent(value) {}
  void apply(ToolEventContext& context) override;
  bool IsProgress() const override { return true; }

  std::uint32_t percent;
};
