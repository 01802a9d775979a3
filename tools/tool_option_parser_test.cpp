#include "tools/tool_option_parser.h"

#include <array>
#include <atomic>
#include <chrono>
#include <future>

#include "tests/fakes/tool_test.h"
#include "tools/tool_devices.h"
#include "tools/tool_keyboard.h"
#include "tools/tool_spinner.h"

namespace {

constexpr std::array kLongOptions{option{nullptr, 0, nullptr, 0}};
constexpr std::array kRows{ToolOptionRow{'h', kToolFlagHelp | kToolFlagInformation},
                           ToolOptionRow{'l', kToolFlagList | kToolFlagInformation},
                           ToolOptionRow{'r', kToolFlagOperation}};
constexpr ToolGrammar kGrammar{"rlh", kLongOptions, kRows, nullptr, "|ALL_INVALID"};

class SomeDevices : public ToolDevices {
 public:
  using ToolDevices::ToolDevices;
  void Read() { ReadRecords({}); }
};

class SomeParser : public ToolOptionParser {
 public:
  SomeParser(SomeDevices& devices, std::function<void()> search, bool bootable = false)
      : ToolOptionParser(kGrammar, devices, std::move(search), bootable) {}
};

class ToolOptionParserTest : public ToolTest {
 protected:
  ToolOptionParserTest() : devices(Target()) { AddDevice("0", "Disk A"); }
  bool Parse(const SomeParser& parser, ToolSpinner& spinner, const char* option) {
    ToolArgv argv({"-Mstorage", "-Tsome", option, "0,1"});
    return parser.Parse(argv.Count(), argv.Data(), spinner, keyboard, line);
  }

  SomeDevices devices;
  ToolKeyboard keyboard;
  ToolCommandLine line;
};

TEST_F(ToolOptionParserTest, ArgumentsAreLookedUpAmongTheDevicesOfTheSearch) {
  ToolSpinner spinner([] {}, [] {});
  const SomeParser parser(devices, [this] { devices.Read(); });
  EXPECT_TRUE(Parse(parser, spinner, "-r"));
  EXPECT_EQ(line.devices, std::set<std::string>{"0"});
  EXPECT_EQ(line.warnings.size(), 1U);
}

TEST_F(ToolOptionParserTest, WhatIsNotAboutDevicesSearchesNone) {
  ToolSpinner spinner([] {}, [] {});
  const SomeParser parser(devices, [] { FAIL(); });
  EXPECT_TRUE(Parse(parser, spinner, "-h"));
}

TEST_F(ToolOptionParserTest, TheSpinnerDrawsDuringTheSearch) {
  std::promise<void> drawn;
  std::atomic<bool> first{true};
  ToolSpinner spinner([] {},
                      [&] {
                        if (first.exchange(false)) drawn.set_value();
                      });
  const SomeParser parser(devices, [&drawn] {
    EXPECT_EQ(drawn.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
  });
  Parse(parser, spinner, "-r");
}

TEST_F(ToolOptionParserTest, AnOperationTakesTheKeyboardBeforeTheSearch) {
  std::vector<std::string> steps;
  TheFakeHost().console.onTake = [&steps] { steps.push_back("taken"); };
  ToolSpinner spinner([] {}, [] {});
  const SomeParser parser(devices, [&steps] { steps.push_back("searched"); });
  Parse(parser, spinner, "-r");
  EXPECT_EQ(steps, (std::vector<std::string>{"taken", "searched"}));
}

TEST_F(ToolOptionParserTest, AListTakesNoKeyboard) {
  bool searched = false;
  TheFakeHost().console.onTake = [] { FAIL(); };
  ToolSpinner spinner([] {}, [] {});
  const SomeParser parser(devices, [&searched] { searched = true; });
  Parse(parser, spinner, "-l");
  EXPECT_TRUE(searched);
}

TEST_F(ToolOptionParserTest, WhetherTheSystemIsBootableIsKept) {
  EXPECT_FALSE(SomeParser(devices, {}).bootable());
  EXPECT_TRUE(SomeParser(devices, {}, true).bootable());
}

}  // namespace
