#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "service/machine/kept_machine.h"
#include "service/sdk/context.h"
#include "service/sdk/tool.h"
#include "service/worker/connection.h"
#include "service/worker/orders.h"

namespace orvan::worker {

// What a test touches here; all that it says goes to the program. Main thread.
class TestContext final : public sdk::TestContext {
 public:
  TestContext(const protocol::RunTest& order, const sdk::Device* device,
              machine::KeptMachine& machine, const ProgramChannel& channel, const Orders& orders)
      : order_(order),
        device_(device),
        machine_(machine),
        channel_(channel),
        orders_(orders),
        stop_(orders.StopToken()) {}

  const sdk::Device* TestedDevice() const override { return device_; }
  const sdk::ParameterValues& Parameters() const override { return order_.parameters; }
  std::stop_token StopToken() const override { return stop_; }
  void Report(int percent, const std::string& message) override {
    if (!message.empty()) machine_.OnShown(machine::KeptMachine::Moment::kMessage);
    Say(channel_, protocol::Progress{order_.request, percent, message});
  }
  void Measure(const sdk::Measurement& measurement) override {
    Say(channel_, protocol::Measured{order_.request, measurement});
  }
  void MeasureSeries(const sdk::MeasurementSeries& series) override {
    Say(channel_, protocol::MeasuredSeries{order_.request, series});
  }
  void Log(sdk::LogLevel level, const std::string& text) override {
    Say(channel_, protocol::Logged{order_.request, level, text});
  }
  sdk::StopReason WhyStop() const override { return orders_.WhyStop(); }
  std::uint32_t SystemEvents() const override { return orders_.SystemEvents(); }

 private:
  const protocol::RunTest& order_;
  const sdk::Device* device_;
  machine::KeptMachine& machine_;
  const ProgramChannel& channel_;
  const Orders& orders_;
  std::stop_token stop_;
};

// The same for a tool, whose properties and listener are the program's. Main thread.
class ToolContext final : public sdk::ToolContext {
 public:
  ToolContext(const protocol::RunTool& order, std::vector<const sdk::Device*> devices,
              std::vector<const sdk::Device*> candidates, const ProgramChannel& channel,
              Orders& orders)
      : order_(order),
        devices_(std::move(devices)),
        candidates_(std::move(candidates)),
        channel_(channel),
        orders_(orders),
        stop_(orders.StopToken()) {}

  bool HasListener() const override { return order_.hasListener; }
  const std::vector<const sdk::Device*>& Devices() const override { return devices_; }
  const std::vector<const sdk::Device*>& Candidates() const override { return candidates_; }
  void SetProperty(const std::string& key, const std::vector<std::string>& values) override;
  std::vector<std::string> GetProperty(const std::string& key) const override;
  bool Fire(const std::string& event) override;
  void Withdraw(const sdk::Device& device) override;
  std::stop_token StopToken() const override { return stop_; }
  sdk::StopReason WhyStop() const override { return orders_.WhyStop(); }
  std::uint32_t SystemEvents() const override { return orders_.SystemEvents(); }
  void Log(sdk::LogLevel level, const std::string& text) override;
  void Fail(const std::string& reason) override;

 private:
  const protocol::RunTool& order_;
  const std::vector<const sdk::Device*> devices_;
  const std::vector<const sdk::Device*> candidates_;
  const ProgramChannel& channel_;
  Orders& orders_;
  std::stop_token stop_;
};

}  // namespace orvan::worker
