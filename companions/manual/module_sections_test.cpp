#include "companions/manual/module_sections.h"

#include <gtest/gtest.h>

#include "service/sdk/rows.h"

namespace tarvex::manual {
namespace {

using namespace orvan;

// A module whose test stands in two diagnostics, with another default in each.
class SmallModule final : public sdk::Module {
 public:
  SmallModule() {
    sdk::TestRecord read{"READ_TEST", "r", "read", 0,  sdk::TestKey(1, 5),
                         false,       {},  {},     {}, "reads"};
    read.parameters = {{"blocks", "BLOCKS", "|NUMBER_OF_BLOCKS", "8", kParameterInteger, "1-64"},
                       {"seed", "SEED", "SEED", "0", kParameterInteger, ""}};
    sdk::TestRecord longer = read;
    longer.parameters[0].initialValue = "32";
    diagnostics_ = {
        {"QUICK_TEST", "Q", "quick", 0, sdk::DiagnosticKey(1, 1), {read}, "samples"},
        {"EXTENDED_TEST", "E", "extended", 0, sdk::DiagnosticKey(2, 2), {longer}, "reads all"}};
    tools_ = {{.name = "smart_tool",
               .description = "SHOWS_ATTRIBUTES",
               .hint = "smart",
               .appliesTo = {},
               .run = {}}};
  }
  std::string Name() const override { return "Small"; }
  ProductVersion Version() const override { return {1, 0, 0, 0}; }
  sdk::ModuleHelp Help() const override { return {"reads.", "-Q 0"}; }
  const std::vector<sdk::DiagnosticRecord>& Diagnostics() const override { return diagnostics_; }
  const std::vector<sdk::ToolRecord>& Tools() const override { return tools_; }
  void ScanDevices(sdk::ScanContext&) override {}

 private:
  std::vector<sdk::DiagnosticRecord> diagnostics_;
  std::vector<sdk::ToolRecord> tools_;
};

std::string Section(const std::string& name) {
  const SmallModule module;
  PageParts parts;
  AddModuleSections(parts, module);
  return MakePage("@section " + name + "\n", parts);
}

TEST(ModuleSectionsTest, ADiagnosticNamesItsTests) {
  const std::string text = Section("diagnostics");
  EXPECT_NE(text.find(".It Fl \"\\&Q\" , Fl \"\\&\\-quick\"\nQuick Test.\nSamples.\n"
                      "Its tests, in this order:\n.Cm \"\\&r\" .\n"),
            std::string::npos)
      << text;
}

TEST(ModuleSectionsTest, ATestStandsOnceWithItsDefaultInEachDiagnostic) {
  EXPECT_EQ(Section("tests"),
            ".Bl -tag -width Ds\n"
            ".It Cm \"\\&r\" , Cm \"\\&read\"\nRead Test.\nReads.\n"
            ".Bl -tag -width Ds\n"
            ".It Cm \"\\&blocks\" Ns = Ns Ar value\nNumber of blocks.\n"
            "Takes 1\\-64.\nThe default is 8 with \\-Q, 32 with \\-E.\n"
            ".It Cm \"\\&seed\" Ns = Ns Ar value\nSeed.\nThe default is 0.\n"
            ".El\n.El\n");
}

TEST(ModuleSectionsTest, AToolHasItsOptions) {
  const std::string text = Section("tools");
  EXPECT_NE(text.find(".It Fl T Ns \"\\&smart\"\nShows attributes.\n"), std::string::npos) << text;
  EXPECT_NE(text.find(".It Fl i , Fl \"\\&\\-info\"\n"), std::string::npos) << text;
}

TEST(ModuleSectionsTest, TheSummaryOfThePageHasNoFullStop) {
  const SmallModule module;
  PageParts parts;
  AddModuleSections(parts, module);
  EXPECT_EQ(MakePage("@MODULE@: @SUMMARY@\n", parts), "small: reads\n");
}

}  // namespace
}  // namespace tarvex::manual
