#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "boundary/orvan_service_plan.h"

class DiagDevice;
class DiagDiagnostic;
class DiagModule;
class DiagTest;
class DiagTool;

// Records in the order of first mention, looked up by exact text.
template <typename Record>
using NamedRecords = std::vector<std::pair<std::string, std::unique_ptr<Record>>>;

// The record of that name, or null.
template <typename Record>
Record* FindByName(const NamedRecords<Record>& records, const std::string& name) {
  for (const auto& [key, record] : records) {
    if (key == name) return record.get();
  }
  return nullptr;
}

// Appends a new record under that name, which is not there yet.
template <typename Record>
Record* AddNamed(NamedRecords<Record>& records, const std::string& name) {
  records.emplace_back(name, std::make_unique<Record>());
  return records.back().second.get();
}

// A test that the user named.
struct CliTest {
  std::string name;                               // the test's own name
  std::string parametersText;                     // as typed, with its parentheses
  std::map<std::string, std::string> parameters;  // key and value are the same word
  DiagTest* test = nullptr;                       // owned by the service
};

// A diagnostic that the user named, or that stands in for the module's default.
struct CliDiagnostic {
  std::string name;
  std::string testsText;  // the raw argument of the option
  NamedRecords<CliTest> tests;
  bool allTests = false;                 // no test was named
  bool allDevices = false;               // no device was named inside the text
  DiagDiagnostic* diagnostic = nullptr;  // owned by the service
};

// A device that the user named, not checked against the machine.
struct DeviceSelection {
  std::string name;
  std::vector<std::shared_ptr<CliDiagnostic>> diagnostics;  // those whose text names this device
  bool namedForModule = false;                              // named on the command line itself
};

// All that the user chose of one module.
struct ModuleSelection {
  std::uint32_t infoFlags = 0;
  NamedRecords<DeviceSelection> devices;
  std::vector<std::shared_ptr<CliDiagnostic>> diagnostics;
  DiagModule* module = nullptr;  // owned by the service; null: this machine has no such module
  std::vector<DeviceRunPlan> plans;
  std::vector<DiagDevice*>* serviceDevices = nullptr;  // set by the device scan
  std::vector<DiagTool*>* tools = nullptr;
  std::vector<std::string> missingDevices;
  bool defaultDiagnostics = false;
  bool devicesNamed = false;

  // True when the scan found no device, or there was none.
  bool HasNoDevices() const { return serviceDevices == nullptr || serviceDevices->empty(); }
  // The entry of that device, made when it is not there yet.
  DeviceSelection& DeviceEntry(const std::string& deviceName) {
    DeviceSelection* entry = FindByName(devices, deviceName);
    if (entry == nullptr) {
      entry = AddNamed(devices, deviceName);
      entry->name = deviceName;
    }
    return *entry;
  }
};
