#pragma once

#include <string>
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
// quick or all extended diagnostics leaves out.
constexpr DiagKey DiagnosticKey(std::uint64_t identifier, std::uint32_t kind) {
  return {0, kind, 0, identifier};
}

// What a test is called. Its words are explained at TestRecord.
struct TestRow {
  const char* name;
  const char* option;
  const char* longName;
  DiagKey key;
  const char* summary;
};

inline TestRecord MakeTest(const TestRow& row, TestWork work) {
  TestRecord test;
  test.name = row.name;
  test.option = row.option;
  test.longName = row.longName;
  test.key = row.key;
  test.parameters = std::move(work.parameters);
  test.run = std::move(work.run);
  test.summary = row.summary;
  return test;
}

// What a diagnostic is called. Its words are explained at DiagnosticRecord.
struct DiagnosticRow {
  const char* name;
  const char* option;
  const char* longName;
  DiagKey key;
  const char* summary;
};

inline DiagnosticRecord MakeDiagnostic(const DiagnosticRow& row, std::vector<TestRecord> tests) {
  DiagnosticRecord diagnostic;
  diagnostic.name = row.name;
  diagnostic.option = row.option;
  diagnostic.longName = row.longName;
  diagnostic.key = row.key;
  diagnostic.tests = std::move(tests);
  diagnostic.summary = row.summary;
  return diagnostic;
}

}  // namespace orvan::sdk
