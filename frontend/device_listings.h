#pragma once

#include <vector>

#include "boundary/orvan_service_records.h"

class Cli;
class DiagDevice;
class DiagModule;
class DiagTest;
struct ModuleSelection;

// What is shown of devices. Main thread.
namespace tarvex {

// The devices of a module whose devices were searched.
void ShowDevices(Cli& cli, ModuleSelection& selection);
// The block of one device; nothing for a null device, nor in a supervised run. With a module, a
// supervising program also gets the records of its tests.
void ShowDeviceInformation(const Cli& cli, DiagDevice* device, DiagModule* module);
// For a supervising program: the test, whether it applies to the device in question, and its
// parameters, with fixed separators.
void ShowTestRecord(const Cli& cli, DiagTest* test, bool applies,
                    const std::vector<TestParameter>& parameters);

}  // namespace tarvex
