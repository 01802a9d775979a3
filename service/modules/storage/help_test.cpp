#include <gtest/gtest.h>

#include "service/modules/storage/tables.h"

namespace orvan::storage {
namespace {

TEST(StorageHelp, SaysOfEachTestHowLongItTakes) {
  for (const sdk::DiagnosticRecord& diagnostic : MakeDiagnostics({})) {
    EXPECT_NE(diagnostic.summary.find("; "), std::string::npos) << diagnostic.option;
    for (const sdk::TestRecord& test : diagnostic.tests) {
      const std::size_t at = test.summary.rfind("; ");
      ASSERT_NE(at, std::string::npos) << diagnostic.option << test.option;
      const std::string time = test.summary.substr(at);
      EXPECT_TRUE(time.find("second") != std::string::npos ||
                  time.find("minute") != std::string::npos ||
                  time.find("long") != std::string::npos)
          << diagnostic.option << test.option << time;
      // What stands elsewhere in the list is not there to be looked up.
      EXPECT_EQ(test.summary.find("the same"), std::string::npos) << test.option;
    }
  }
}

TEST(StorageHelp, WritesUnitsAsTheyAreWritten) {
  for (const sdk::DiagnosticRecord& diagnostic : MakeDiagnostics({})) {
    for (const sdk::TestRecord& test : diagnostic.tests) {
      for (const sdk::ParameterSpec& parameter : test.parameters) {
        for (const char* unit : {"_KI|B", "_MI|B", "_KIB", "_MIB", "_LBA"}) {
          EXPECT_EQ(parameter.detail.find(unit), std::string::npos) << parameter.name;
        }
      }
    }
  }
}

}  // namespace
}  // namespace orvan::storage
