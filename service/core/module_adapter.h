#pragma once

#include <memory>
#include <stop_token>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "boundary/orvan_service_objects.h"
#include "boundary/orvan_service_version.h"
#include "service/core/device_adapter.h"
#include "service/core/diag_test_adapter.h"
#include "service/core/module_source.h"
#include "service/core/tool_adapter.h"

namespace orvan::core {

// A module behind the boundary, with all that it gives out. Devices of earlier scans stay until it
// ends, for callers keep pointers to them.
class ModuleAdapter final : public DiagModule {
 public:
  // Throws what the module's Name and Version throw. All but the module and the token, by which
  // scans and looks at resources are told to end early, outlive the adapter.
  ModuleAdapter(ModulePointer module, log::ServiceLog& log, CallObserver& observer,
                RunRequests& requests, std::stop_token scanStop);

  DiagCatalogue* Catalogue() override { return &catalogue_; }
  DiagCatalogue* TestCatalogue() override { return &testCatalogue_; }
  std::string& GetHelpText(std::string& text) override;
  std::string& GetDisplayName(std::string& text) override { return text = name_; }
  std::vector<DiagDevice*>* GetDevices() override { return &devices_; }
  std::vector<DiagTool*>* Tools() override { return &tools_; }
  std::vector<DiagDiagnostic*>* GetDiagnostics() override { return &diagnostics_; }
  // Null for a device that a tool has withdrawn since the last scan; it keeps its index.
  DiagDevice* GetDevice(std::uint32_t index) override;
  std::uint32_t DeviceCount() override { return static_cast<std::uint32_t>(devices_.size()); }
  // A scan that throws leaves a line in the log, what it had found, and behind that one device that
  // stands for those nobody could look at; its id is the first number that is free from the count
  // of the others on. Of one that was to stop what it had found is all, if there is any. A line in
  // the log has a device that is untestable, too, one that is null, which is left out, and one with
  // the id of an earlier one, which is kept.
  void ScanDevices() override;
  const ProductVersion* Version() override { return &version_; }

  // The adapter behind a pointer that a caller gave, which is never followed: null when it is none
  // of this module's.
  const DeviceAdapter* FindDevice(const DiagDevice* device) const;
  // The devices of the last scan, also those that were withdrawn since.
  std::vector<const DeviceAdapter*> FoundDevices() const;
  // Takes a device of the last scan out of what GetDevice gives, until the next one.
  void Withdraw(const sdk::Device& device);
  bool IsWithdrawn(const DeviceAdapter* device) const { return withdrawn_.contains(device); }
  DiagnosticAdapter* FindDiagnostic(const DiagDiagnostic* diagnostic) const;
  ToolAdapter* FindTool(const DiagTool* tool) const;
  struct OwnedTest {
    TestAdapter* test = nullptr;
    const DiagnosticAdapter* diagnostic = nullptr;
  };
  OwnedTest FindTest(const DiagTest* test) const;

  const std::string& Name() const { return name_; }
  std::string VersionText() const;  // e.g. "1.2.3.4"
  log::ServiceLog& Log() const { return log_; }

 private:
  void TellBroken(const std::string& reason, std::vector<std::unique_ptr<sdk::Device>>& found);
  void Take(std::vector<std::unique_ptr<sdk::Device>> found);
  void AddDiagnostics();
  void AddTools(RunRequests& requests);
  void AddEntry(DiagCatalogue& catalogue, const DiagKey& key, const std::string& option,
                const std::string& longName, std::uint32_t rule);

  ModulePointer module_;  // first: what follows refers to its records, and ends before it
  log::ServiceLog& log_;
  CallObserver& observer_;
  std::string name_;
  ProductVersion version_;
  const std::stop_token scanStop_;
  std::vector<std::unique_ptr<CatalogEntry>> entries_;
  DiagCatalogue catalogue_;
  DiagCatalogue testCatalogue_;
  std::vector<std::unique_ptr<DiagnosticAdapter>> diagnosticAdapters_;
  std::vector<DiagDiagnostic*> diagnostics_;
  std::unordered_map<const DiagDiagnostic*, DiagnosticAdapter*> diagnosticByPointer_;
  std::unordered_map<const DiagTest*, OwnedTest> testByPointer_;
  std::vector<std::unique_ptr<ToolAdapter>> toolAdapters_;
  std::vector<DiagTool*> tools_;
  std::unordered_map<const DiagDevice*, std::unique_ptr<DeviceAdapter>> deviceAdapters_;
  std::vector<DiagDevice*> devices_;                 // those of the last scan, in its order
  std::unordered_set<const DiagDevice*> withdrawn_;  // of these
};

}  // namespace orvan::core
