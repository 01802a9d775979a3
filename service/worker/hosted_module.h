#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "os/descriptor.h"
#include "service/machine/kept_machine.h"
#include "service/protocol/device_record.h"
#include "service/protocol/to_worker.h"
#include "service/sdk/descriptor.h"

namespace orvan::worker {

// The module of this process, loaded and made, with the devices of its last scan. The main thread.
class HostedModule {
 public:
  // Throws std::runtime_error with the reason when there is no module.
  HostedModule(const protocol::Hello& hello, const tarvex::Descriptor& folder,
               const tarvex::Descriptor& file, machine::KeptMachine& machine);

  sdk::Module& Module() const { return *module_; }
  // The row of that name; null when the table has another one in its place.
  const sdk::TestRecord* FindTest(const protocol::RowName& row) const;
  const sdk::ToolRecord* FindTool(const protocol::RunTool& order) const;

  // Searches the devices anew, for that request, and tells each as it is found. Throws what the
  // module throws, and what `tell` throws passes through the module.
  void Scan(std::uint64_t request, std::stop_token stop,
            const std::function<void(const protocol::DeviceRecord&)>& tell);
  // Null when the last scan found no such device, or when it can't be told from others. With
  // `mayWrite`, one of several that have the same unique id is never taken from another scan.
  const sdk::Device* FindDevice(const protocol::DeviceName& name, bool mayWrite) const;

 private:
  class TellingScan;

  std::unique_ptr<sdk::Module, void (*)(sdk::Module*)> module_{nullptr, nullptr};
  const sdk::Device* FindByUniqueId(const protocol::DeviceName& name, bool mayWrite) const;

  // Of the last scan, in its order; some may be none.
  std::uint64_t scan_ = 0;
  std::vector<std::unique_ptr<sdk::Device>> devices_;
  std::vector<protocol::DeviceName> names_;  // of these
};

}  // namespace orvan::worker
