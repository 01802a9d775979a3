#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "boundary/orvan_service_plan.h"

class DiagDevice;
class DiagDiagnostic;
class DiagModule;
class DiagTest;
class DiagTool;
struct ModuleSelection;

// Records in the order of first mention, looked up by exact text. A record stays where it is.
template <typename Record>
class NamedRecords {
 public:
  using Named = std::pair<std::string, std::unique_ptr<Record>>;

  // The record of that name, or null.
  Record* Find(const std::string& name) const {
    if (!places_.empty()) {
      const auto found = places_.find(name);
      return found == places_.end() ? nullptr : records_[found->second].second.get();
    }
    for (const auto& [key, record] : records_) {
      if (key == name) return record.get();
    }
    return nullptr;
  }
  // Appends a new record under that name, which is not there yet.
  Record* Add(const std::string& name) {
    records_.emplace_back(name, std::make_unique<Record>());
    if (!places_.empty()) {
      places_.emplace(name, records_.size() - 1);
    } else if (records_.size() > kSearched) {
      for (std::size_t i = 0; i < records_.size(); ++i) places_.emplace(records_[i].first, i);
    }
    return records_.back().second.get();
  }
  void clear() {
    records_.clear();
    places_.clear();
  }

  auto begin() const { return records_.begin(); }
  auto end() const { return records_.end(); }
  const Named& at(std::size_t place) const { return records_.at(place); }
  std::size_t size() const { return records_.size(); }
  bool empty() const { return records_.empty(); }

 private:
  // Most lists are short, and there are very many of them: they are searched, and the names of
  // longer ones are kept a second time.
  static constexpr std::size_t kSearched = 16;

  std::vector<Named> records_;
  std::unordered_map<std::string, std::size_t> places_;  // empty up to kSearched records
};

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
  ModuleSelection* selection = nullptr;  // that it was named for; null: it stands in
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
    DeviceSelection* entry = devices.Find(deviceName);
    if (entry == nullptr) {
      entry = devices.Add(deviceName);
      entry->name = deviceName;
    }
    return *entry;
  }
};
