#pragma once

#include <memory>
#include <string>
#include <vector>

#include "service/remote/journal.h"
#include "service/remote/worker_host.h"
#include "service/sdk/module.h"

namespace orvan::remote {

// A module whose work is done by a worker. Its name, help and tables are those of the module
// itself, which is made here for nothing else; devices, tests and tools are stand-ins.
class RemoteModule final : public sdk::Module {
 public:
  using ModulePointer = std::unique_ptr<sdk::Module, void (*)(sdk::Module*)>;

  // The keeper and the journal outlive it. Throws what the module's tables throw.
  RemoteModule(ModulePointer local, WorkerPlan plan, WorkerKeeper& keeper, Journal& journal,
               WorkerLimits limits = {});

  std::string Name() const override { return local_->Name(); }
  ProductVersion Version() const override { return local_->Version(); }
  sdk::ModuleHelp Help() const override { return local_->Help(); }
  const std::vector<sdk::DiagnosticRecord>& Diagnostics() const override { return diagnostics_; }
  const std::vector<sdk::ToolRecord>& Tools() const override { return tools_; }
  void ScanDevices(sdk::ScanContext& scan) override { host_->Scan(scan); }

  // For who wants to end the worker before the module ends.
  std::weak_ptr<WorkerHost> Host() const { return host_; }

 private:
  void ReplaceTests();
  void ReplaceTools();

  ModulePointer local_;
  std::vector<sdk::DiagnosticRecord> diagnostics_;
  std::vector<sdk::ToolRecord> tools_;
  std::shared_ptr<WorkerHost> host_;
};

}  // namespace orvan::remote
