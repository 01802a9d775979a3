#include "boundary/reserved_options.h"
#include "tests/fakes/front_end_test.h"

namespace {

using ::testing::Values;
using Words = std::vector<std::string>;

class OptionParsing : public FrontEndTest {
 protected:
  OptionParsing() {
    AddStorage().AddTool("recover_bad_sectors", "RECOVERS_SECTORS", "recover");
    AddMemory();
  }
};

constexpr char kTwoKinds[] = "user asked for more than one kind of information at the same time";
constexpr char kDuplicate[] = "Duplicated option entry, only one entry considered";
const std::string kShortOptions = "s::o::SADRLM::hbvG::T::U::C::P::V::e::Wr";
constexpr char kUnrecognized[] = "unrecognized option found";

TEST_F(OptionParsing, TheFixedTableHoldsItsRecordsAndAZeroRecordEndsIt) {
  Start();
  std::vector<DiagModule*> none;
  cli->modules = &none;
  EXPECT_EQ(cli->BuildOptionTable(), 0);
  EXPECT_EQ(cli->shortOptions, kShortOptions);
  struct Row {
    const char* name;
    int argument;
    int value;
  };
  const Row rows[] = {{"list-tools", 0, 'S'},
                      {"list-modules", 0, 'A'},
                      {"list-devices", 0, 'D'},
                      {"list-resources", 0, 'R'},
                      {"list-diagnostics", 0, 'L'},
                      {"list-parameters", 0, 'P'},
                      {"module", 2, 'M'},
                      {"help", 0, 'h'},
                      {"version", 0, 'v'},
                      {"group", 2, 'G'},
                      {"tool", 2, 'T'},
                      {"background", 0, 'b'},
                      {"obg-instance", 0, 'Y'},
                      {"run-all", 2, 'U'},
                      {"Caller", 2, 'C'},
                      {"validate", 2, 'V'},
                      {"save", 2, 's'},
                      {"HDK", 0, 'X'},
                      {"data-collection", 2, 'e'},
                      {"wmi", 0, 'W'},
                      {"remove-wmi", 0, 'r'},
                      {"output", 2, 'o'}};
  const OptionRecord* record = cli->optionTableData;
  for (const Row& row : rows) {
    EXPECT_STREQ(record->name, row.name);
    EXPECT_EQ(record->has_arg, row.argument) << row.name;
    EXPECT_EQ(record->flag, nullptr);
    EXPECT_EQ(record->val, row.value) << row.name;
    ++record;
  }
  EXPECT_EQ(record->name, nullptr);
  EXPECT_EQ(record->val, 0);
}

TEST_F(OptionParsing, ModulesAddTheirDiagnosticsInLoadOrderAndKeyOrder) {
  EXPECT_EQ(Parse({"-v"}), 0);
  EXPECT_EQ(cli->shortOptions, kShortOptions + "Q::E::K::");
  const OptionRecord* added = &cli->optionTableData[std::size(kReservedOptions)];
  EXPECT_STREQ(added[0].name, "quick");
  EXPECT_EQ(added[0].val, 'Q');
  EXPECT_EQ(added[0].has_arg, optional_argument);
  EXPECT_STREQ(added[1].name, "extended");
  EXPECT_STREQ(added[2].name, "kernel");
  EXPECT_EQ(added[2].val, 'K');
  EXPECT_EQ(added[3].name, nullptr);
}

TEST_F(OptionParsing, AModuleWithoutACatalogueAddsNothing) {
  service().AddModule("bare").catalogueMissing = true;
  EXPECT_EQ(Parse({"-v"}), 0);
  EXPECT_EQ(cli->shortOptions, kShortOptions + "Q::E::K::");
}

TEST_F(OptionParsing, ADiagnosticWithTheLetterOfAFixedOptionIsHandledAsThatOption) {
  service().AddModule("clash").AddDiagnostic("LOOK", "L", "look", 1);
  EXPECT_EQ(Parse({"-Mclash", "--look"}), 0);
  EXPECT_TRUE(Has(CLI_FLAG_LIST_DIAGNOSTICS | CLI_FLAG_INFORMATION));
  EXPECT_FALSE(HasAny(CLI_FLAG_DIAGNOSTIC));
}

TEST_F(OptionParsing, NoArgumentsShowHelpWithStatusZero) {
  EXPECT_EQ(Parse({}), 0);
  EXPECT_EQ(cli->flags, CLI_FLAG_HELP | CLI_FLAG_INFORMATION);
  EXPECT_EQ(cli->ExitStatus(), 0);
}

// Checks before the scan.

TEST_F(OptionParsing, AnEmptyArgumentFails) {
  ExpectFatal({"-Mstorage", "", "0"}, kUnrecognized);
  EXPECT_TRUE(Has(CLI_FLAG_HELP | CLI_FLAG_INFORMATION));
}

TEST_F(OptionParsing, WithoutAModuleVectorParsingFails) {
  Start();
  cli->modules = nullptr;
  Argv line({"-v"});
  std::string error;
  EXPECT_EQ(cli->ParseCommandLine(line.Count(), line.Data(), error), 70);
  EXPECT_EQ(error, "LOADING_MODULES_FAILURE");
}

class ForbiddenFirstByte : public OptionParsing, public ::testing::WithParamInterface<int> {};

TEST_P(ForbiddenFirstByte, IsRefused) {
  const std::string word(1, static_cast<char>(GetParam()));
  ExpectFatal({"-Mstorage", word + "x"}, kUnrecognized);
  EXPECT_TRUE(Has(CLI_FLAG_HELP | CLI_FLAG_INFORMATION));
}

INSTANTIATE_TEST_SUITE_P(Marks, ForbiddenFirstByte,
                         Values('&', '\'', '#', '$', '%', '*', '(', '>', ')', '=', '|', '+', '[',
                                '<', ']', '~', '^', '`'));
INSTANTIATE_TEST_SUITE_P(LettersInUtf8Twice, ForbiddenFirstByte,
                         Values(0xc3, 0x83, 0xc2, 0xa2, 0xaa, 0xae, 0xb4, 0xbb, 0xa3, 0xb5, 0xc5,
                                0xa0, 0xbd, 0xe2, 0x80, 0x9d, 0xba, 0xc6, 0x92));

TEST_F(OptionParsing, OnlyTheFirstByteOfAnArgumentIsChecked) {
  EXPECT_EQ(Parse({"-Mstorage", "-Qf(1)", "a&b"}), 0);
  EXPECT_EQ(DeviceNames("storage"), Words{"a&b"});
}

TEST_F(OptionParsing, OtherFirstBytesPass) {
  EXPECT_EQ(Parse({"-Mstorage", "@", "{", "!", "?", "\xce\xb1"}), 0);
  EXPECT_EQ(DeviceNames("storage"), (Words{"@", "{", "!", "?", "\xce\xb1"}));
}

// Information options.

struct InfoCase {
  const char* option;
  std::uint32_t bits;
};

class InfoOption : public OptionParsing, public ::testing::WithParamInterface<InfoCase> {};

TEST_P(InfoOption, SetsItsBits) {
  std::string error;
  Start();
  cli->modules = &service().moduleList;
  Argv line({GetParam().option, "-Mstorage"});
  cli->ParseCommandLine(line.Count(), line.Data(), error);
  EXPECT_EQ(cli->flags, GetParam().bits | CLI_FLAG_INFORMATION | CLI_FLAG_NO_ABORT_BANNER);
}

TEST_P(InfoOption, TwiceWarnsAndCountsOnce) {
  Start();
  std::string error;
  cli->modules = &service().moduleList;
  Argv line({GetParam().option, GetParam().option, "-Mstorage"});
  cli->ParseCommandLine(line.Count(), line.Data(), error);
  EXPECT_EQ(cli->flags, GetParam().bits | CLI_FLAG_INFORMATION | CLI_FLAG_NO_ABORT_BANNER);
  EXPECT_EQ(cli->warnings, Words{"DUPLICATED_OPTION_ENTRY,_ONLY_ONE_ENTRY_CONSIDERED"});
}

TEST_P(InfoOption, BehindAnotherKindFails) {
  const char* other = GetParam().bits == CLI_FLAG_VERSION ? "-h" : "-v";
  ExpectFatal({other, GetParam().option}, kTwoKinds);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, InfoOption,
    Values(InfoCase{"-A", CLI_FLAG_LIST_MODULES}, InfoCase{"--list-modules", CLI_FLAG_LIST_MODULES},
           InfoCase{"-D", CLI_FLAG_LIST_DEVICES}, InfoCase{"--list-devices", CLI_FLAG_LIST_DEVICES},
           InfoCase{"-R", CLI_FLAG_LIST_DEVICES | CLI_FLAG_LIST_RESOURCES},
           InfoCase{"--list-resources", CLI_FLAG_LIST_DEVICES | CLI_FLAG_LIST_RESOURCES},
           InfoCase{"-L", CLI_FLAG_LIST_DIAGNOSTICS},
           InfoCase{"--list-diagnostics", CLI_FLAG_LIST_DIAGNOSTICS},
           InfoCase{"-S", CLI_FLAG_LIST_TOOLS}, InfoCase{"--list-tools", CLI_FLAG_LIST_TOOLS},
           InfoCase{"-P", CLI_FLAG_LIST_PARAMETERS}, InfoCase{"-Pany", CLI_FLAG_LIST_PARAMETERS},
           InfoCase{"--list-parameters", CLI_FLAG_LIST_PARAMETERS},
           InfoCase{"-V", CLI_FLAG_VALIDATE}, InfoCase{"-Vany", CLI_FLAG_VALIDATE},
           InfoCase{"--validate", CLI_FLAG_VALIDATE}, InfoCase{"-h", CLI_FLAG_HELP},
           InfoCase{"--help", CLI_FLAG_HELP}, InfoCase{"-v", CLI_FLAG_VERSION},
           InfoCase{"--version", CLI_FLAG_VERSION}));

TEST_F(OptionParsing, HelpThenVersionFails) {
  ExpectFatal({"-h", "-v"}, kTwoKinds);
}

TEST_F(OptionParsing, HelpTwiceWarnsAndShowsHelpOnce) {
  ExpectWarns({"-h", "-h"}, kDuplicate);
  cli->ShowInformation();
  EXPECT_EQ(Screen(), HelpText("storage, memory"));
}

TEST_F(OptionParsing, DevicesThenResourcesCountAsADuplicateAndResourcesStay) {
  ExpectWarns({"-Mstorage", "-D", "-R"}, kDuplicate);
  EXPECT_TRUE(Has(CLI_FLAG_LIST_DEVICES | CLI_FLAG_LIST_RESOURCES));
}

TEST_F(OptionParsing, ResourcesThenDevicesCountAsADuplicateToo) {
  ExpectWarns({"-Mstorage", "-R", "-D"}, kDuplicate);
  EXPECT_TRUE(Has(CLI_FLAG_LIST_DEVICES | CLI_FLAG_LIST_RESOURCES));
}

TEST_F(OptionParsing, AnUnknownOptionFailsWithResultFive) {
  ExpectFatal({"-Mstorage", "-Z"}, kUnrecognized, 5);
}

TEST_F(OptionParsing, AnUnknownLongOptionFailsWithResultFive) {
  ExpectFatal({"--nonsense"}, kUnrecognized, 5);
}

TEST_F(OptionParsing, ALongOptionIsFoundByAnUnambiguousBeginning) {
  EXPECT_EQ(Parse({"--list-mod"}), 0);
  EXPECT_TRUE(Has(CLI_FLAG_LIST_MODULES));
}

// Module.

TEST_F(OptionParsing, AModuleWithoutTextFails) {
  ExpectFatal({"-M", "storage"}, "no module chosen");
}

TEST_F(OptionParsing, AModuleAloneMeansItsDefaultDiagnostic) {
  EXPECT_EQ(Parse({"--module=storage"}), 0);
  EXPECT_TRUE(Has(CLI_FLAG_DIAGNOSTIC));
  EXPECT_EQ(Selection("storage").module, service().moduleList[0]);
}

TEST_F(OptionParsing, AModuleNameInCapitalsIsLoweredWithAWarning) {
  ExpectWarns({"-MStorage"}, "It is recommended to use lowercase on modules names");
  EXPECT_EQ(Selection("storage").module, service().moduleList[0]);
}

TEST_F(OptionParsing, AModuleIsFoundByItsLoweredDisplayName) {
  service().AddModule("PCI_Express");
  EXPECT_EQ(Parse({"-Mpci_express"}), 0);
  EXPECT_EQ(Selection("pci_express").module, service().moduleList[2]);
}

TEST_F(OptionParsing, ARepeatedModuleWarnsOnceAndRestartsTheDeviceScan) {
  EXPECT_EQ(Parse({"-Mstorage", "0", "-Mstorage", "1"}), 0);
  EXPECT_EQ(cli->duplicatedModules, Words{"storage"});
  EXPECT_EQ(cli->lastModuleArgIndex, 3);
  EXPECT_EQ(DeviceNames("storage"), (Words{"0", "1"}));
  EXPECT_EQ(cli->selectedModules.size(), 1U);
  const std::string screen = Screen();
  const std::string warning =
      WarningText("Duplicated module(s) entry, only one entry considered of each: storage");
  EXPECT_EQ(screen, kAbortBanner + warning);
}

TEST_F(OptionParsing, TheTextOfARepeatedModuleStaysHarmless) {
  EXPECT_EQ(Parse({"-Mstorage", "-Mstorage"}), 0);
  EXPECT_EQ(Screen().find("Fatal"), std::string::npos);
}

// Tool.

TEST_F(OptionParsing, AToolWithoutTextFails) {
  ExpectFatal({"-Mstorage", "-T"}, "no tool chosen");
}

TEST_F(OptionParsing, AToolIsFoundWithoutRegardToCase) {
  EXPECT_EQ(Parse({"-Mstorage", "--tool=ReCover"}), 0);
  EXPECT_EQ(cli->chosenTool, service().moduleList[0]->Tools()->front());
  EXPECT_EQ(cli->chosenToolModule, service().moduleList[0]);
  EXPECT_EQ(cli->toolName, "ReCover");
}

TEST_F(OptionParsing, TheScanEndsAtTheToolAndLeavesTheRestToIt) {
  EXPECT_EQ(Parse({"-Mstorage", "-Trecover", "-A", "-Z", "77"}), 0);
  EXPECT_FALSE(HasAny(CLI_FLAG_LIST_MODULES | CLI_FLAG_DEVICES_CHOSEN));
  EXPECT_EQ(optind, 3) << "where the tool's own scan goes on";
}

TEST_F(OptionParsing, ASupervisorsMarkBehindTheToolIsSeen) {
  EXPECT_EQ(Parse({"-Mstorage", "-Trecover", "-y", "--HDK"}), 0);
  EXPECT_TRUE(Has(CLI_FLAG_SUPERVISED));
}

TEST_F(OptionParsing, AToolThatTheModuleDoesNotHaveGivesResult34) {
  static_cast<FakeModule*>(service().moduleList[0])->AddTool("smart_tool", "READS", "smart");
  EXPECT_EQ(Parse({"-Mstorage", "-Tnosuch"}), 1);
  EXPECT_EQ(cli->result, 34);
  EXPECT_NE(Screen().find(FatalText("the following tool is not available to the storage module: "
                                    "nosuch\n\n> Available tools to storage module: "
                                    "recoversmart")),
            std::string::npos);
}

TEST_F(OptionParsing, AToolOfAModuleThatIsNotThereGivesResult30) {
  ExpectFatal({"-Mnosuch", "-Trecover"},
              "Following module(s) are not available: nosuch - hence the recover tool can not be "
              "executed",
              30);
}

TEST_F(OptionParsing, OptionsAndDeviceWordsAreCounted) {
  EXPECT_EQ(Parse({"-Mstorage", "-Qf", "0", "1", "-W"}), 0);
  EXPECT_EQ(cli->optionsSeen, 5);
}

TEST_F(OptionParsing, TheArgumentVectorIsNotPermuted) {
  EXPECT_EQ(Parse({"-Mstorage", "0", "-Qf", "1"}), 0);
  EXPECT_STREQ(argv->Data()[2], "0");
  EXPECT_STREQ(argv->Data()[3], "-Qf");
}

TEST_F(OptionParsing, ADiagnosticAddedAfterTheParseFindsNoWordsInHand) {
  EXPECT_EQ(Parse({"-Mstorage", "-Q", "0"}), 0);
  cli->argsScanned = 0;
  std::string error;
  EXPECT_EQ(cli->AddDiagnostic('Q', nullptr, error), 0);
  EXPECT_EQ(Selection("storage").diagnostics.size(), 2u);
  EXPECT_EQ(cli->argsScanned, 0);
  EXPECT_TRUE(cli->duplicatedDevices.empty());
}

}  // namespace
