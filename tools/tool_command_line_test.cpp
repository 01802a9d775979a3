#include "tools/tool_command_line.h"

#include <array>

#include "tests/fakes/tool_test.h"

namespace {

using Keys = std::vector<std::string>;
using Ids = std::set<std::string>;

constexpr std::uint32_t kMarked = 256;
constexpr std::array kLongOptions{option{"operate", no_argument, nullptr, 'r'},
                                  option{"list-devices", no_argument, nullptr, 'l'},
                                  option{"help", no_argument, nullptr, 'h'},
                                  option{"output", optional_argument, nullptr, 'o'},
                                  option{"background", no_argument, nullptr, 'b'},
                                  option{"mark", no_argument, nullptr, 'X'},
                                  option{nullptr, 0, nullptr, 0}};
constexpr std::array kRows{ToolOptionRow{'h', kToolFlagHelp | kToolFlagInformation},
                           ToolOptionRow{'l', kToolFlagList | kToolFlagInformation},
                           ToolOptionRow{'r', kToolFlagOperation}, ToolOptionRow{'X', kMarked}};
constexpr char kUnrecognized[] = "|UNRECOGNIZED_OPTION_FOUND";
constexpr char kUnknown[] = "|Following are not available or not applicable devices: ";

class ToolCommandLineTest : public ToolTest {
 protected:
  // Parses what stands behind "-Mstorage".
  bool Parse(const std::vector<std::string>& words, bool adjusts = false) {
    std::vector<std::string> all{"-Mstorage"};
    all.insert(all.end(), words.begin(), words.end());
    return ParseLine(all, adjusts);
  }
  bool ParseLine(const std::vector<std::string>& words, bool adjusts = false) {
    ToolGrammar grammar{"o::rlhb", kLongOptions, kRows, nullptr, "|ALL_INVALID"};
    if (adjusts) {
      grammar.adjustFlags = [](std::uint32_t flags) {
        return (flags & kMarked) != 0 ? flags & ~kToolFlagHelp : flags;
      };
    }
    ToolArgv argv(words);
    const ToolDeviceSource devices{[this] { ++filters; },
                                   [this](const std::string& id) {
                                     EXPECT_EQ(filters, 1);
                                     return known.count(id) != 0;
                                   }};
    return tarvex::ParseToolLine(argv.Count(), argv.Data(), grammar, devices, line);
  }

  ToolCommandLine line;
  Ids known{"0", "1", "2"};
  int filters = 0;
};

TEST_F(ToolCommandLineTest, ThreeArgumentsAreNotParsedAndAskForHelp) {
  EXPECT_TRUE(Parse({"-Tsome"}));
  EXPECT_EQ(line.flags, kToolFlagHelp | kToolFlagInformation);
  EXPECT_EQ(line.warnings, Keys{});
  EXPECT_EQ(filters, 0);
}

TEST_F(ToolCommandLineTest, OptionsBehindTheToolAreParsed) {
  EXPECT_TRUE(Parse({"-Tsome", "-r"}));
  EXPECT_EQ(line.flags, kToolFlagOperation);
  EXPECT_TRUE(Parse({"-Tsome", "--list-devices"}));
  EXPECT_EQ(line.flags, kToolFlagList | kToolFlagInformation);
}

TEST_F(ToolCommandLineTest, OptionsInFrontOfTheToolAreNot) {
  EXPECT_TRUE(ParseLine({"-Mstorage", "0", "-Tsome", "-r"}));
  EXPECT_EQ(line.flags, kToolFlagOperation);
  EXPECT_EQ(line.devices, Ids{"0"});
}

TEST_F(ToolCommandLineTest, WordsInFrontOfTheModuleAreNoDevices) {
  EXPECT_TRUE(ParseLine({"0", "-Mstorage", "-Tsome", "-r"}));
  EXPECT_EQ(line.flags, kToolFlagOperation);
  EXPECT_EQ(line.devices, Ids{});
}

TEST_F(ToolCommandLineTest, RefusedOptionsEndTheScan) {
  EXPECT_FALSE(Parse({"-Tsome", "-r", "-z", "-b"}));
  EXPECT_EQ(line.errors, Keys{kUnrecognized});
  EXPECT_FALSE(Parse({"-Tsome", "-b"}));
  EXPECT_EQ(line.errors, Keys{"IT_IS_NOT_POSSIBLE_TO_A_TOOL_IN_BACKGROUND_MODE"});
  EXPECT_FALSE(Parse({"-Tsome", "--output=file"}));
  EXPECT_EQ(line.errors, Keys{"IT_IS_NOT_POSSIBLE_TO_REDIRECT_THE_OUTPUT_WHILE_RUNNING_A_TOOL"});
  EXPECT_EQ(line.flags, 0U);
  EXPECT_EQ(filters, 0);
}

TEST_F(ToolCommandLineTest, AnArgumentThatAnOptionDoesNotTakeIsRefused) {
  EXPECT_FALSE(Parse({"-Tsome", "--help=x"}));
  EXPECT_EQ(line.errors, Keys{kUnrecognized});
}

TEST_F(ToolCommandLineTest, ALineWithoutAnyOptionWarnsAndAsksForHelp) {
  EXPECT_TRUE(Parse({"-Tsome", "A", "b,c"}));
  EXPECT_EQ(line.flags, kToolFlagHelp | kToolFlagInformation);
  EXPECT_EQ(line.warnings, (Keys{"|IGNORING: A, b,c", "|NO_VALID_OPTION_SPECIFIED"}));
  EXPECT_EQ(filters, 0);
}

TEST_F(ToolCommandLineTest, HelpIgnoresDevicesWithAWarning) {
  EXPECT_TRUE(Parse({"-Tsome", "-h", "0"}));
  EXPECT_EQ(line.warnings, Keys{"|IGNORING: 0"});
  EXPECT_EQ(filters, 0);
}

TEST_F(ToolCommandLineTest, NoDeviceMeansAll) {
  EXPECT_TRUE(Parse({"-Tsome", "-r"}));
  EXPECT_EQ(line.devices, Ids{});
  EXPECT_EQ(filters, 1);
}

TEST_F(ToolCommandLineTest, DevicesAreSplitAtCommasAndCountOnce) {
  EXPECT_TRUE(Parse({"-Tsome", "-r", "0,0", "1"}));
  EXPECT_EQ(line.devices, (Ids{"0", "1"}));
  EXPECT_EQ(line.warnings, Keys{});
}

TEST_F(ToolCommandLineTest, UnknownDevicesAreNamedOnceAndTheOthersStay) {
  EXPECT_TRUE(Parse({"-Tsome", "-r", "x,0", "Y_z", "x"}));
  EXPECT_EQ(line.devices, Ids{"0"});
  EXPECT_EQ(line.warnings, Keys{std::string(kUnknown) + "^x, Y_z$"});
}

TEST_F(ToolCommandLineTest, OnlyUnknownDevicesAreAnError) {
  EXPECT_FALSE(Parse({"-Tsome", "-r", "x,x"}));
  EXPECT_EQ(line.warnings, Keys{std::string(kUnknown) + "^x$"});
  EXPECT_EQ(line.errors, Keys{"|ALL_INVALID"});
}

TEST_F(ToolCommandLineTest, AnIdThatIsTheLastWordOfAnUnknownOneIsTakenForIt) {
  EXPECT_FALSE(Parse({"-Tsome", "-r", "a b", "b"}));
  EXPECT_EQ(line.warnings, Keys{std::string(kUnknown) + "^a b$"});
  filters = 0;
  EXPECT_FALSE(Parse({"-Tsome", "-r", "ab", "b"}));
  EXPECT_EQ(line.warnings, Keys{std::string(kUnknown) + "^ab, b$"});
}

TEST_F(ToolCommandLineTest, EmptyTokensAreSeenAndSkipped) {
  EXPECT_FALSE(Parse({"-Tsome", "-r", ","}));
  EXPECT_EQ(line.warnings, Keys{});
  EXPECT_EQ(line.errors, Keys{"|ALL_INVALID"});
  filters = 0;
  EXPECT_TRUE(Parse({"-Tsome", "-r", ",0"}));
  EXPECT_EQ(line.devices, Ids{"0"});
}

TEST_F(ToolCommandLineTest, APlaceholderIsIgnoredAndNotSeen) {
  EXPECT_TRUE(Parse({"-Tsome", "-r", "_"}));
  EXPECT_EQ(line.warnings, Keys{"|IGNORING: ^_$"});
  EXPECT_EQ(line.devices, Ids{});
}

TEST_F(ToolCommandLineTest, AListIgnoresEachDeviceAndIsShown) {
  EXPECT_TRUE(Parse({"-Tsome", "-l", "7", "0,0"}));
  EXPECT_EQ(line.warnings, (Keys{"|IGNORING: ^7$", "|IGNORING: ^0$", "|IGNORING: ^0$"}));
  EXPECT_EQ(line.errors, Keys{});
  EXPECT_EQ(line.devices, Ids{});
  EXPECT_EQ(filters, 1);
}

TEST_F(ToolCommandLineTest, AListBesideAnOperationLooksTheDevicesUp) {
  EXPECT_TRUE(Parse({"-Tsome", "-l", "-r", "0"}));
  EXPECT_EQ(line.devices, Ids{"0"});
  EXPECT_EQ(line.warnings, Keys{});
}

TEST_F(ToolCommandLineTest, FlagsAreAdjustedBeforeALineWithoutOptionsAsksForHelp) {
  EXPECT_TRUE(Parse({"-Tsome", "-h", "--mark"}, true));
  EXPECT_EQ(line.flags, kToolFlagInformation | kMarked);
  EXPECT_TRUE(Parse({"-Tsome", "--mark"}, true));
  EXPECT_EQ(line.flags, kToolFlagHelp | kToolFlagInformation | kMarked);
}

TEST_F(ToolCommandLineTest, AnEarlierLineIsForgotten) {
  EXPECT_FALSE(Parse({"-Tsome", "-r", "x"}));
  filters = 0;
  EXPECT_TRUE(Parse({"-Tsome", "-r", "0"}));
  EXPECT_EQ(line.errors, Keys{});
  EXPECT_EQ(line.warnings, Keys{});
}

}  // namespace
