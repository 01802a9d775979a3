#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "boundary/orvan_service_records.h"

class ProductVersion;

// The objects that the diagnostic service gives out. It keeps their ownership, and they live as
// long as the service instance. An operation with a text result fills the caller's text and
// returns it. Unless it says otherwise an operation may be called on any thread while no scan and
// no run is under way, never throws, and does not block.
//
// Operations named ReservedN keep the places of operations that the front end does not call.

class DiagDevice {
 public:
  // The identifier that the command line names.
  virtual std::string& GetId(std::string& text) = 0;
  virtual DeviceInformation& GetInformation(DeviceInformation& record) = 0;
  // Fills `out` with the device's resources and returns it. The first call behind a scan looks at
  // all its devices, which may take seconds; AbortExecution ends that. One thread at a time.
  virtual std::vector<DiagResource>& GetResources(std::vector<DiagResource>& out) = 0;

 protected:
  ~DiagDevice() = default;
};

// Rules of DiagCatalogEntry::ParameterRule. Other values leave the user free.
inline constexpr std::uint32_t kParametersMandatory = 1;
inline constexpr std::uint32_t kParametersNotWanted = 2;

class DiagCatalogEntry {
 public:
  virtual void Reserved0() {}
  // A text whose first character is the short option of a diagnostic, or a test's short name.
  virtual std::string& Option(std::string& text) = 0;
  virtual std::string& LongName(std::string& text) = 0;
  virtual std::uint32_t ParameterRule() = 0;

 protected:
  ~DiagCatalogEntry() = default;
};

using DiagCatalogue = std::map<DiagKey, DiagCatalogEntry*>;

class DiagTest {
 public:
  virtual std::string& Name(std::string& text) = 0;
  virtual void Reserved1() {}
  virtual DiagKey& Key(DiagKey& key) = 0;
  // True when the test can run on that device.
  virtual bool AppliesTo(DiagDevice* device) = 0;
  // True when the test needs a person at the machine.
  virtual bool NeedsOperator() = 0;
  virtual void Reserved5() {}
  virtual void Reserved6() {}
  // Fills `out` with the parameters that the test accepts at all; none for a test without.
  virtual std::vector<TestParameter>& DefaultParameters(std::vector<TestParameter>& out) = 0;
  // Fills `out` with the parameters that the test accepts on that device.
  virtual std::vector<TestParameter>& GetParameters(std::vector<TestParameter>& out,
                                                    DiagDevice* device) = 0;

 protected:
  ~DiagTest() = default;
};

class DiagDiagnostic {
 public:
  virtual void Reserved0() {}
  virtual std::string& Name(std::string& text) = 0;
  virtual void Reserved2() {}
  virtual std::vector<DiagTest*>* Tests() = 0;
  virtual DiagKey& Key(DiagKey& key) = 0;

 protected:
  ~DiagDiagnostic() = default;
};

class DiagTool {
 public:
  virtual void Reserved0() {}
  // Stores a named list of texts; an earlier list of that name is replaced. Any thread.
  virtual void SetToolProperty(const std::string& key, const std::vector<std::string>& values) = 0;
  // The named list; empty when nothing was stored. Any thread.
  virtual std::vector<std::string> GetToolProperty(const std::string& key) = 0;
  virtual void Reserved3() {}
  // The tool's key, e.g. "recover_bad_sectors".
  virtual std::string& GetName(std::string& text) = 0;
  // A message key that describes the tool.
  virtual std::string& GetDescription(std::string& text) = 0;
  // The word that the tool option names.
  virtual std::string& GetHint(std::string& text) = 0;
  virtual void Reserved7() {}
  // True when the tool can run on that device.
  virtual bool IsApplicable(DiagDevice* device) = 0;

 protected:
  ~DiagTool() = default;
};

class DiagModule {
 public:
  virtual void Reserved0() {}
  virtual void Reserved1() {}
  // The module's diagnostics under their keys; may be null.
  virtual DiagCatalogue* Catalogue() = 0;
  // The module's tests under their keys; may be null.
  virtual DiagCatalogue* TestCatalogue() = 0;
  // The module's own help text, whole.
  virtual std::string& GetHelpText(std::string& text) = 0;
  virtual std::string& GetDisplayName(std::string& text) = 0;
  // Valid after ScanDevices.
  virtual std::vector<DiagDevice*>* GetDevices() = 0;
  virtual std::vector<DiagTool*>* Tools() = 0;
  virtual std::vector<DiagDiagnostic*>* GetDiagnostics() = 0;
  virtual void Reserved9() {}
  virtual void Reserved10() {}
  // The device at that index, or null.
  virtual DiagDevice* GetDevice(std::uint32_t index) = 0;
  virtual std::uint32_t DeviceCount() = 0;
  virtual void Reserved13() {}
  virtual void Reserved14() {}
  // Detects the devices. Long; the service thread calls it, except inside a tool.
  virtual void ScanDevices() = 0;
  virtual void Reserved16() {}
  virtual const ProductVersion* Version() = 0;

 protected:
  ~DiagModule() = default;
};
