#include "boundary/hostlayer_number_handler.h"
#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "views/hdk_io.h"
#include "views/orvan_stdio.h"

namespace {

constexpr char kDots[] = "..............................................";  // 46 dots
// What is shown of a test's version.
constexpr std::uint32_t kMajorMask = 0xFFFF;
constexpr std::uint64_t kBuildMask = 0xFFFFFFFF;
constexpr char kPartsSeparator[] = "::";

}  // namespace

void Cli::ShowDevices(ModuleSelection& selection) {
  ScanModuleDevices(&selection);
  if (!Has(flags, CLI_FLAG_LIST_DEVICES) || view == nullptr) return;
  view->PrintNewLine();
  view->PrintSeparator();
  if (selection.HasNoDevices()) {
    view->PrintRaw(view->FormatKey(kKeyNoDevicesFound, false, true, true), true);
    view->PrintNewLine();
    return;
  }
  bool first = true;
  for (DiagDevice* device : *selection.serviceDevices) {
    if (!first) {
      view->PrintNewLine();
      view->PrintSeparator();
    }
    first = false;
    ShowDeviceInformation(device, selection.module);
  }
  view->PrintNewLine();
}

void Cli::ShowDeviceInformation(DiagDevice* device, DiagModule* module) {
  constexpr std::uint32_t kSupervisedRun = CLI_FLAG_SUPERVISED | CLI_FLAG_DIAGNOSTIC;
  if (device == nullptr || view == nullptr) return;
  if (HasAll(flags, kSupervisedRun)) return;
  std::string id;
  view->PrintField("ID", device->GetId(id), true);
  DeviceInformation information;
  device->GetInformation(information);
  view->PrintField("DISPLAY_NAME", information.name, true);
  for (const auto& [value, label] : information.entries) {
    view->PrintField(label, view->FormatMarkedKey(value, true, true), true);
  }
  if (Has(flags, CLI_FLAG_SUPERVISED) && module != nullptr) ShowTestRecords(module, device);
  if (Has(flags, CLI_FLAG_LIST_RESOURCES)) ShowDeviceResources(device);
}

void Cli::ShowDeviceResources(DiagDevice* device) {
  std::vector<DiagResource> resources;
  if (device->GetResources(resources).empty()) return;
  view->PrintRaw(kDots, true);
  view->PrintTitle("RESOURCES", true);
  view->PrintRaw(kDots, true);
  for (const DiagResource& resource : resources) {
    view->PrintField("RESOURCE_TYPE", resource.type, true);
    for (const auto& [label, value] : resource.pairs) {
      view->PrintField(view->FormatMarkedKey(label, true, true),
                       view->FormatMarkedKey(value, true, true), true);
    }
    view->PrintRaw(kDots, true);
  }
}

std::string Cli::KeyVersionText(const DiagKey& key) const {
  return numberHandler->NumberToString(key.major & kMajorMask) + "." +
         numberHandler->NumberToString(key.minor) + "." +
         numberHandler->NumberToString(static_cast<std::int64_t>(key.build & kBuildMask));
}

void Cli::ShowTestRecords(DiagModule* module, DiagDevice* device) {
  for (DiagDiagnostic* diagnostic : *module->GetDiagnostics()) {
    for (DiagTest* test : *diagnostic->Tests()) {
      std::vector<TestParameter> parameters;
      test->GetParameters(parameters, device);
      ShowTestRecord(test, test->AppliesTo(device), parameters);
    }
  }
}

// For a supervising program: the test, whether it applies to the device in question, and its
// parameters, with fixed separators.
void Cli::ShowTestRecord(DiagTest* test, bool applies,
                         const std::vector<TestParameter>& parameters) {
  std::string name;
  DiagKey key;
  view->PrintField(KeyVersionText(test->Key(key)) + kPartsSeparator + "TEST_" + test->Name(name),
                   applies ? "1" : "0", true);
  for (const TestParameter& parameter : parameters) {
    view->PrintField(parameter.name,
                     view->FormatKey(parameter.label, true, true, true) + kPartsSeparator +
                         tarvex::ParameterTypeName(parameter.type) + kPartsSeparator +
                         parameter.extra,
                     true);
  }
}
