#include "service/worker/hosted_module.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <stdexcept>
#include <utility>

#include "os/trusted_file.h"
#include "os/trusted_library.h"
#include "service/worker/device_records.h"

namespace orvan::worker {
namespace {

using EntryFunction = const sdk::ModuleDescriptor* (*)();

// The file that the program has looked at, and no other one that came under its name since.
void RequireSameFile(const tarvex::Descriptor& folder, const std::string& name,
                     const tarvex::Descriptor& known) {
  tarvex::Descriptor found;
  if (const std::string fault = tarvex::OpenTrustedFile(folder, name, found); !fault.empty()) {
    throw std::runtime_error(fault);
  }
  struct stat left {};
  struct stat right {};
  if (fstat(found.Get(), &left) != 0 || fstat(known.Get(), &right) != 0 ||
      left.st_dev != right.st_dev || left.st_ino != right.st_ino) {
    throw std::runtime_error("was replaced while the program runs");
  }
}

const sdk::ModuleDescriptor& LoadDescriptor(const protocol::Hello& hello,
                                            const tarvex::Descriptor& folder,
                                            const tarvex::Descriptor& file) {
  RequireSameFile(folder, hello.name, file);
  std::string fault;
  void* const library = tarvex::LoadTrustedLibrary(folder, hello.shownFolder, hello.name, fault);
  if (library == nullptr) throw std::runtime_error(fault);
  void* const entry = dlsym(library, "OrvanModuleEntry");
  const sdk::ModuleDescriptor* const descriptor =
      entry != nullptr ? reinterpret_cast<EntryFunction>(entry)() : nullptr;
  // The program has looked at all the rest; but it may be of another build than we are.
  if (descriptor == nullptr || descriptor->abiVersion != sdk::kModuleAbiVersion) {
    throw std::runtime_error("has another interface version in its worker");
  }
  return *descriptor;
}

}  // namespace

HostedModule::HostedModule(const protocol::Hello& hello, const tarvex::Descriptor& folder,
                           const tarvex::Descriptor& file, machine::KeptMachine& machine) {
  const sdk::ModuleDescriptor& descriptor = LoadDescriptor(hello, folder, file);
  sdk::ModuleEnvironment environment;
  environment.machine = &machine;
  environment.settings = hello.settings;
  environment.libraryDirectory = hello.libraryDirectory;
  module_ = {descriptor.create(environment), descriptor.destroy};
  if (module_ == nullptr) throw std::runtime_error("makes no module");
}

const sdk::TestRecord* HostedModule::FindTest(const protocol::RowName& row) const {
  const std::vector<sdk::DiagnosticRecord>& diagnostics = module_->Diagnostics();
  if (row.diagnostic >= diagnostics.size()) return nullptr;
  const std::vector<sdk::TestRecord>& tests = diagnostics[row.diagnostic].tests;
  if (row.test >= tests.size() || tests[row.test].key.identifier != row.identifier) return nullptr;
  return &tests[row.test];
}

const sdk::ToolRecord* HostedModule::FindTool(const protocol::RunTool& order) const {
  const std::vector<sdk::ToolRecord>& tools = module_->Tools();
  if (order.tool >= tools.size() || tools[order.tool].name != order.name) return nullptr;
  return &tools[order.tool];
}

class HostedModule::TellingScan final : public sdk::ScanContext {
 public:
  TellingScan(HostedModule& hosted, std::stop_token stop,
              const std::function<void(const protocol::DeviceRecord&)>& tell)
      : hosted_(hosted), stop_(std::move(stop)), tell_(tell) {}

  void Found(std::unique_ptr<sdk::Device> device) override {
    protocol::DeviceRecord record;
    if (device == nullptr) {
      record.isNone = true;
    } else {
      record = RecordOf(*device, *hosted_.module_);
    }
    tell_(record);
    hosted_.names_.push_back({std::move(record.uniqueId.value), std::move(record.id)});
    hosted_.devices_.push_back(std::move(device));
  }
  std::stop_token StopToken() const override { return stop_; }

 private:
  HostedModule& hosted_;
  const std::stop_token stop_;
  const std::function<void(const protocol::DeviceRecord&)>& tell_;
};

void HostedModule::Scan(std::uint64_t request, std::stop_token stop,
                        const std::function<void(const protocol::DeviceRecord&)>& tell) {
  names_.clear();
  devices_.clear();
  scan_ = request;
  TellingScan scan(*this, std::move(stop), tell);
  module_->ScanDevices(scan);
}

const sdk::Device* HostedModule::FindDevice(const protocol::DeviceName& name, bool mayWrite) const {
  if (name.scan != scan_) return FindByUniqueId(name, mayWrite);
  const bool isThere = name.place < names_.size() && names_[name.place].id == name.id &&
                       names_[name.place].uniqueId == name.uniqueId;
  return isThere ? devices_[name.place].get() : nullptr;
}

const sdk::Device* HostedModule::FindByUniqueId(const protocol::DeviceName& name,
                                                bool mayWrite) const {
  if (name.uniqueId.empty() || (mayWrite && name.alike != 1)) return nullptr;
  const sdk::Device* found = nullptr;
  std::size_t alike = 0;
  std::size_t sameId = 0;
  for (std::size_t i = 0; i < names_.size(); ++i) {
    if (names_[i].uniqueId != name.uniqueId) continue;
    ++alike;
    // Ids are given anew at each scan; the one device of that unique id is it whatever its id.
    if (name.alike != 1 && names_[i].id != name.id) continue;
    found = devices_[i].get();
    ++sameId;
  }
  return alike == name.alike && sameId == 1 ? found : nullptr;
}

}  // namespace orvan::worker
