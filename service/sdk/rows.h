#pragma once

#include <utility>
#include <vector>

#include "service/sdk/module.h"
#include "service/sdk/numbers.h"

// Makers for the rows of a module's table.
namespace orvan::sdk {

// The key of a test. The same test in two diagnostics has one identifier, and no other test of the
// module has it. Of the version's parts 16, 32 and 32 bits are shown.
constexpr DiagKey TestKey(std::uint64_t identifier, std::uint32_t major, std::uint32_t minor = 0,
                          std::uint64_t build = 0) {
  return {major, minor, build, identifier};
}

// The key of a diagnostic, whose identifier no other one of the module has. `kind` is
// kDiagnosticKindQuick, kDiagnosticKindExtended, or any other value for one that a run of all
// quick or all extended diagnostics leaves out; it takes the place of a version's minor part, so of
// the version only `major` is left.
constexpr DiagKey DiagnosticKey(std::uint64_t identifier, std::uint32_t kind,
                                std::uint32_t major = 0) {
  return {major, kind, 0, identifier};
}

// What a diagnostic or a test is called; its words are explained at their records.
struct Row {
  const char* name;
  const char* option;
  const char* longName;
  DiagKey key;
  const char* summary;
};

// The record of a test that every device and any user may take.
inline TestRecord MakeTest(const Row& row, TestWork work) {
  return {
      row.name, row.option,          row.longName, 0, row.key, false, std::move(work.parameters),
      {},       std::move(work.run), row.summary};
}

inline DiagnosticRecord MakeDiagnostic(const Row& row, std::vector<TestRecord> tests) {
  return {row.name, row.option, row.longName, 0, row.key, std::move(tests), row.summary};
}

}  // namespace orvan::sdk
