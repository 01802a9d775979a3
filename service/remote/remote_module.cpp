#include "service/remote/remote_module.h"

#include <utility>

#include "service/remote/remote_device.h"
#include "service/remote/testing_talk.h"
#include "service/remote/tool_talk.h"

namespace orvan::remote {
namespace {

TableSizes SizesOf(const sdk::Module& module) {
  TableSizes sizes;
  for (const sdk::DiagnosticRecord& diagnostic : module.Diagnostics()) {
    sizes.tests += diagnostic.tests.size();
  }
  sizes.tools = module.Tools().size();
  return sizes;
}

}  // namespace

RemoteModule::RemoteModule(ModulePointer local, WorkerPlan plan, WorkerKeeper& keeper,
                           Journal& journal, WorkerLimits limits)
    : local_(std::move(local)),
      diagnostics_(local_->Diagnostics()),
      tools_(local_->Tools()),
      host_(std::make_shared<WorkerHost>(local_->Name(), std::move(plan), SizesOf(*local_), keeper,
                                         journal, limits)) {
  ReplaceTests();
  ReplaceTools();
}

void RemoteModule::ReplaceTests() {
  std::size_t row = 0;
  for (std::size_t diagnostic = 0; diagnostic < diagnostics_.size(); ++diagnostic) {
    std::vector<sdk::TestRecord>& tests = diagnostics_[diagnostic].tests;
    for (std::size_t test = 0; test < tests.size(); ++test, ++row) {
      sdk::TestRecord& record = tests[test];
      const protocol::RowName name{static_cast<std::uint32_t>(diagnostic),
                                   static_cast<std::uint32_t>(test), record.key.identifier};
      if (record.appliesTo) {
        record.appliesTo = [row](const sdk::Device& device) {
          return AsRemote(device).TestApplies(row);
        };
      }
      if (record.parametersOn) {
        record.parametersOn = [row](const sdk::Device& device) {
          return AsRemote(device).ParametersOf(row);
        };
      }
      record.run = [this, name, title = record.name](sdk::TestContext& context) {
        return RunTestRemotely(*host_, name, title, context);
      };
    }
  }
}

void RemoteModule::ReplaceTools() {
  for (std::size_t row = 0; row < tools_.size(); ++row) {
    sdk::ToolRecord& record = tools_[row];
    const ToolName name{static_cast<std::uint32_t>(row), record.name, record.mayWrite,
                        static_cast<bool>(record.reportCanceled)};
    if (record.appliesTo) {
      record.appliesTo = [row](const sdk::Device& device) {
        return AsRemote(device).ToolApplies(row);
      };
    }
    record.run = [this, name](sdk::ToolContext& context) {
      RunToolRemotely(*host_, name, false, context);
    };
    if (record.reportCanceled) {
      record.reportCanceled = [this, name](sdk::ToolContext& context) {
        RunToolRemotely(*host_, name, true, context);
      };
    }
  }
}

}  // namespace orvan::remote
