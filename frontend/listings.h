#pragma once

#include <string>
#include <vector>

#include "boundary/orvan_service_records.h"

class Cli;
class DiagDevice;
class DiagModule;
class DiagTest;
class ProductVersion;
struct ModuleSelection;

// What is shown of the program, its modules, their devices and tests. A selection has a module
// here, and where devices or parameters are shown, its devices were searched. Main thread.
namespace tarvex {

void ShowDevices(Cli& cli, ModuleSelection& selection);
void ShowDiagnostics(Cli& cli, ModuleSelection& selection);
// Every test of the selected diagnostics with the parameters that it takes. What the first device
// that the test applies to offers is shown; without such a device, what the test takes at all.
void ShowParameters(Cli& cli, ModuleSelection& selection);
// Whether the tests that the line names know the parameters that it gives them.
void ShowValidation(Cli& cli, ModuleSelection& selection);

// The block of one device; nothing for a null device, nor in a supervised run. With a module, a
// supervising program also gets the records of its tests.
void ShowDeviceInformation(const Cli& cli, DiagDevice* device, DiagModule* module);
// For a supervising program: the test, whether it applies to the device in question, and its
// parameters, with fixed separators.
void ShowTestRecord(const Cli& cli, DiagTest* test, bool applies,
                    const std::vector<TestParameter>& parameters);

// The four numbers of a version, and what is shown of a test's.
std::string VersionText(const Cli& cli, const ProductVersion& version);
std::string VersionText(const Cli& cli, const DiagKey& key);

}  // namespace tarvex
