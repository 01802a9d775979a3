#include "service/worker/device_records.h"
#include "service/sdk/exception_text.h"

namespace orvan::worker {
namespace {

template <typename Value, typename Call>
protocol::Answer<Value> Ask(Value otherwise, Call call) {
  try {
    return {call(), std::nullopt};
  } catch (...) {
    return {std::move(otherwise), sdk::CurrentExceptionText()};
  }
}

template <typename Row>
protocol::Answer<bool> Applies(const Row& row, const sdk::Device& device) {
  return Ask(false, [&] { return !row.appliesTo || row.appliesTo(device); });
}

void AskRows(const sdk::Device& device, const sdk::Module& module, protocol::DeviceRecord& record) {
  for (const sdk::DiagnosticRecord& diagnostic : module.Diagnostics()) {
    for (const sdk::TestRecord& test : diagnostic.tests) {
      protocol::TestOnDevice& row = record.tests.emplace_back();
      row.applies = Applies(test, device);
      if (!test.parametersOn) continue;
      row.parameters =
          Ask(std::vector<sdk::ParameterSpec>{}, [&] { return test.parametersOn(device); });
    }
  }
  for (const sdk::ToolRecord& tool : module.Tools()) {
    record.tools.push_back({Applies(tool, device)});
  }
}

}  // namespace

protocol::DeviceRecord RecordOf(const sdk::Device& device, const sdk::Module& module) {
  protocol::DeviceRecord record;
  record.id = device.Id();
  record.whyUntestable = device.WhyUntestable();
  record.uniqueId = Ask(std::string(), [&] { return device.UniqueId(); });
  record.information = Ask(DeviceInformation{}, [&] { return device.Information(); });
  record.resultText = Ask(std::optional<std::string>{}, [&] { return device.ResultText(); });
  if (!record.whyUntestable) AskRows(device, module, record);
  return record;
}

protocol::ResourcesAnswer ResourcesOf(const sdk::Device& device, const std::stop_token& stop) {
  return Ask(std::vector<DiagResource>{}, [&] { return device.Resources(stop); });
}

}  // namespace orvan::worker
