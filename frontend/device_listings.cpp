#include "frontend/listings.h"

#include "boundary/hostlayer_number_handler.h"
#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "views/hdk_io.h"
#include "views/orvan_stdio.h"

namespace tarvex {

namespace {

constexpr char kDots[] = "..............................................";  // 46 dots
// What is shown of a test's version.
constexpr std::uint32_t kMajorMask = 0xFFFF;
constexpr std::uint64_t kBuildMask = 0xFFFFFFFF;
constexpr char kPartsSeparator[] = "::";

void ShowDeviceResources(OrvanStdio& view, DiagDevice* device) {
  std::vector<DiagResource> resources;
  if (device->GetResources(resources).empty()) return;
  view.PrintRaw(kDots, true);
  view.PrintTitle("RESOURCES", true);
  view.PrintRaw(kDots, true);
  for (const DiagResource& resource : resources) {
    view.PrintField("RESOURCE_TYPE", resource.type, true);
    for (const auto& [label, value] : resource.pairs) {
      view.PrintField(view.FormatMarkedKey(label, true, true),
                      view.FormatMarkedKey(value, true, true), true);
    }
    view.PrintRaw(kDots, true);
  }
}

void ShowTestRecords(const Cli& cli, DiagModule* module, DiagDevice* device) {
  for (DiagDiagnostic* diagnostic : *module->GetDiagnostics()) {
    for (DiagTest* test : *diagnostic->Tests()) {
      std::vector<TestParameter> parameters;
      test->GetParameters(parameters, device);
      ShowTestRecord(cli, test, test->AppliesTo(device), parameters);
    }
  }
}

}  // namespace

void ShowDevices(Cli& cli, ModuleSelection& selection) {
  OrvanStdio& view = *cli.view;
  view.PrintNewLine();
  view.PrintSeparator();
  if (selection.HasNoDevices()) {
    view.PrintRaw(view.FormatKey(kKeyNoDevicesFound, false, true, true), true);
  } else {
    for (DiagDevice* const& device : *selection.serviceDevices) {
      if (&device != &selection.serviceDevices->front()) {
        view.PrintNewLine();
        view.PrintSeparator();
      }
      ShowDeviceInformation(cli, device, selection.module);
    }
  }
  view.PrintNewLine();
}

void ShowDeviceInformation(const Cli& cli, DiagDevice* device, DiagModule* module) {
  constexpr std::uint32_t kSupervisedRun = CLI_FLAG_SUPERVISED | CLI_FLAG_DIAGNOSTIC;
  if (device == nullptr || HasAll(cli.flags, kSupervisedRun)) return;
  OrvanStdio& view = *cli.view;
  std::string id;
  view.PrintField("ID", device->GetId(id), true);
  DeviceInformation information;
  device->GetInformation(information);
  view.PrintField("DISPLAY_NAME", information.name, true);
  for (const auto& [value, label] : information.entries) {
    view.PrintField(label, view.FormatMarkedKey(value, true, true), true);
  }
  if (Has(cli.flags, CLI_FLAG_SUPERVISED) && module != nullptr) {
    ShowTestRecords(cli, module, device);
  }
  if (Has(cli.flags, CLI_FLAG_LIST_RESOURCES)) ShowDeviceResources(view, device);
}

std::string VersionText(const Cli& cli, const DiagKey& key) {
  HostNumberHandler& numbers = *cli.numberHandler;
  return numbers.NumberToString(key.major & kMajorMask) + "." + numbers.NumberToString(key.minor) +
         "." + numbers.NumberToString(static_cast<std::int64_t>(key.build & kBuildMask));
}

void ShowTestRecord(const Cli& cli, DiagTest* test, bool applies,
                    const std::vector<TestParameter>& parameters) {
  OrvanStdio& view = *cli.view;
  std::string name;
  DiagKey key;
  view.PrintField(VersionText(cli, test->Key(key)) + kPartsSeparator + "TEST_" + test->Name(name),
                  applies ? "1" : "0", true);
  for (const TestParameter& parameter : parameters) {
    view.PrintField(parameter.name,
                    view.FormatKey(parameter.label, true, true, true) + kPartsSeparator +
                        ParameterTypeName(parameter.type) + kPartsSeparator + parameter.extra,
                    true);
  }
}

}  // namespace tarvex
