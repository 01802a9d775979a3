#pragma once

#include <memory>
#include <string>
#include <vector>

#include "boundary/orvan_service_objects.h"
#include "service/core/outside_text.h"
#include "service/sdk/module.h"

namespace orvan::core {

class ModuleAdapter;

// The entry of a catalogue for a record of a module's table.
class CatalogEntry final : public DiagCatalogEntry {
 public:
  CatalogEntry(std::string option, std::string longName, std::uint32_t rule)
      : option_(std::move(option)), longName_(std::move(longName)), rule_(rule) {}

  std::string& Option(std::string& text) override { return text = option_; }
  std::string& LongName(std::string& text) override { return text = longName_; }
  std::uint32_t ParameterRule() override { return rule_; }

 private:
  std::string option_;
  std::string longName_;
  std::uint32_t rule_;
};

// A module's test behind the boundary.
class TestAdapter final : public DiagTest {
 public:
  // The record and the module outlive the adapter.
  TestAdapter(const sdk::TestRecord& record, const ModuleAdapter& module)
      : record_(record), module_(module) {}

  std::string& Name(std::string& text) override { return text = InLine(record_.name); }
  DiagKey& Key(DiagKey& key) override { return key = record_.key; }
  // False for a device of another module. Without a device: whether the test suits every device.
  bool AppliesTo(DiagDevice* device) override;
  bool NeedsOperator() override { return record_.needsOperator; }
  std::vector<TestParameter>& DefaultParameters(std::vector<TestParameter>& out) override;
  std::vector<TestParameter>& GetParameters(std::vector<TestParameter>& out,
                                            DiagDevice* device) override;

  const sdk::TestRecord& Record() const { return record_; }
  // What the test takes on that device; null is the pseudo device. Throws what the module throws.
  std::vector<sdk::ParameterSpec> ParametersOn(const sdk::Device* device) const;

 private:
  const sdk::TestRecord& record_;
  const ModuleAdapter& module_;
};

// A module's diagnostic behind the boundary; owns its tests.
class DiagnosticAdapter final : public DiagDiagnostic {
 public:
  // The record and the module outlive the adapter.
  DiagnosticAdapter(const sdk::DiagnosticRecord& record, const ModuleAdapter& module);

  std::string& Name(std::string& text) override { return text = InLine(record_.name); }
  std::vector<DiagTest*>* Tests() override { return &tests_; }
  DiagKey& Key(DiagKey& key) override { return key = record_.key; }

  const sdk::DiagnosticRecord& Record() const { return record_; }
  const std::vector<std::unique_ptr<TestAdapter>>& Adapters() const { return adapters_; }

 private:
  const sdk::DiagnosticRecord& record_;
  std::vector<std::unique_ptr<TestAdapter>> adapters_;
  std::vector<DiagTest*> tests_;
};

}  // namespace orvan::core
