#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "service/core/tool_adapter.h"
#include "tests/support/service_test_support.h"

namespace orvan::core::testing {

using Texts = std::vector<std::string>;

class ToolListener final : public orvan_service::ToolListenerView {
 public:
  void ClearReply(orvan_service::ToolReply* record) override { record->reply = 0; }
  void RegisterHandlers() override {}
};

class ToolAdapterTest : public ::testing::Test {
 protected:
  void Start(std::function<void(sdk::ToolContext&)> run) {
    sdk::ToolRecord record;
    record.name = "recover_bad_sectors";
    record.description = "RECOVER";
    record.hint = "recover";
    record.appliesTo = [](const sdk::Device& device) { return device.Id() == "1"; };
    record.run = std::move(run);
    record.mayWrite = mayWrite;
    record.reportCanceled = canceled;
    auto plain = std::make_unique<PlainModule>();
    plain->tools = {record};
    auto source = std::make_unique<PlainSource>();
    source->modules.push_back(Own(std::move(plain)));
    service = std::make_unique<Service>(std::move(source), ServiceOptions{});
    module = service->LoadModules(0)->front();
    module->ScanDevices();
    tool = module->Tools()->front();
  }

  std::unique_ptr<Service> service;
  DiagModule* module = nullptr;
  DiagTool* tool = nullptr;
  ToolListener listener;
  // Of the tool's record; before Start.
  bool mayWrite = false;
  std::function<void(sdk::ToolContext&)> canceled;
};

}  // namespace orvan::core::testing
