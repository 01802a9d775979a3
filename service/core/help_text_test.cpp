#include "service/core/help_text.h"

#include <gtest/gtest.h>

#include "service/sdk/rows.h"

namespace orvan::core {
namespace {

struct Values {
  std::uint64_t lastLba = 0;
  std::uint64_t blockKib = 0;
};

class TwoTests final : public sdk::Module {
 public:
  TwoTests() {
    constexpr auto kNumbers = sdk::NumbersOf<Values>(
        sdk::Number{"last_lba", "LAST", "|LAST_SECTOR,_0:_THE_END", 0, 9, &Values::lastLba},
        sdk::Number{"block_kib", "BLOCK", "|SIZE_IN_|KI|B", 4, 64, &Values::blockKib});
    const auto passes = [](sdk::TestContext&, const Values&) { return sdk::Verdict::Passed(); };
    const sdk::TestWork plain{{}, {}};
    diagnostics_ = {sdk::MakeDiagnostic(
        {"QUICK_TEST", "Q", "quick", sdk::DiagnosticKey(1, kDiagnosticKindQuick), "looks"},
        {sdk::MakeTest({"FIRST_TEST", "f", "first", sdk::TestKey(1, 5), "reads first"},
                       sdk::WorkOf(kNumbers, Values{7, 16}, passes)),
         sdk::MakeTest({"OTHER_TEST", "o", "other", sdk::TestKey(2, 5), "reads on"}, plain)})};
  }
  std::string Name() const override { return "Two Tests"; }
  ProductVersion Version() const override { return {1, 0, 0, 0}; }
  sdk::ModuleHelp Help() const override { return help; }
  const std::vector<sdk::DiagnosticRecord>& Diagnostics() const override { return diagnostics_; }
  const std::vector<sdk::ToolRecord>& Tools() const override { return tools_; }
  void ScanDevices(sdk::ScanContext&) override {}

  sdk::ModuleHelp help{"reads and never writes.", "-Q 0"};

 private:
  std::vector<sdk::DiagnosticRecord> diagnostics_;
  std::vector<sdk::ToolRecord> tools_;
};

TEST(HelpText, IsMadeOfEveryRow) {
  EXPECT_EQ(HelpTextOf(TwoTests()),
            "Two Tests: reads and never writes.\n"
            "\n"
            "  -Q, --quick  looks\n"
            "      f, first  reads first\n"
            "          last_lba=7  (0-9)  Last sector, 0: the end\n"
            "          block_kib=16  (4-64)  Size in KiB\n"
            "      o, other  reads on\n"
            "\n"
            "  Example: -Mtwo tests -Q 0\n");
}

TEST(HelpText, HasNoExampleWhereThereIsNone) {
  TwoTests module;
  module.help.example.clear();
  EXPECT_EQ(HelpTextOf(module).find("Example"), std::string::npos);
}

TEST(HelpText, TheModulesOwnStandsInItsPlace) {
  TwoTests module;
  module.help.whole = "all of it";
  EXPECT_EQ(HelpTextOf(module), "all of it");
}

}  // namespace
}  // namespace orvan::core
