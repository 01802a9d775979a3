#include "service/remote/scan_resources.h"

#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

#include "service/remote/remote_test_support.h"
#include "tests/support/test_folder.h"

// What is on the devices of a search: when it is asked for, and what becomes of who does not tell.
namespace orvan::remote {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;
using testing::StopOnce;
using namespace std::chrono_literals;

class ScanResourcesTest : public testing::RemoteModuleTest {
 protected:
  ScanResourcesTest() { settings["asked"] = asked_; }

  std::stop_source stop;

  // "part-0" as the device tells it, the text of what it throws in angle brackets, or nothing.
  std::string Told(std::size_t device, const std::stop_token& stop = {}) {
    std::string text;
    try {
      for (const DiagResource& resource : Found().at(device)->Resources(stop)) {
        EXPECT_EQ(resource.type, "PIECE");
        for (const auto& [label, value] : resource.pairs) text += value;
      }
    } catch (const std::runtime_error& error) {
      return '<' + std::string(error.what()) + '>';
    }
    return text;
  }
  // The numbers of the devices in the order in which they were asked.
  std::string Asked() const {
    std::ifstream file(asked_);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  const TestFolder folder_;

 private:
  const std::string asked_ = folder_ / "asked";
};

const std::string kNotTold =
    "the resources of the devices of module Selftest could not all be looked at: ";

TEST_F(ScanResourcesTest, NoSearchAsksAndTheFirstWhoDoesAsksForAll) {
  settings["devices"] = "3";
  Scan();
  EXPECT_EQ(Asked(), "");
  EXPECT_EQ(Told(2), "part-2");
  EXPECT_EQ(Asked(), "012");
  EXPECT_EQ(Told(0), "part-0");
  EXPECT_EQ(Told(1), "part-1");
  EXPECT_EQ(Asked(), "012");
  EXPECT_TRUE(journal.lines.empty());
  EXPECT_TRUE(journal.told.empty());
}

TEST_F(ScanResourcesTest, EachSearchHasItsOwn) {
  Scan();
  Told(0);
  Scan();
  EXPECT_EQ(Told(1), "part-1");
  EXPECT_EQ(Asked(), "0101");
}

TEST_F(ScanResourcesTest, WhatADeviceThrowsIsItsAlone) {
  settings["resources"] = "throw";
  settings["devices"] = "3";
  Scan();
  EXPECT_EQ(Told(0), "part-0");
  EXPECT_EQ(Told(1), "<thrown on purpose>");
  EXPECT_EQ(Told(2), "part-2");
  EXPECT_TRUE(journal.told.empty());
}

TEST_F(ScanResourcesTest, WhatWasToldBeforeTheWorkerWasGivenUpCountsAndTheRestSaysWhy) {
  const std::string reason = "the worker was ended by signal 11 (SIGSEGV)";
  settings["resources"] = "segv";
  settings["devices"] = "3";
  Scan();
  EXPECT_EQ(Told(2), '<' + reason + '>');
  EXPECT_EQ(Told(0), "part-0");
  EXPECT_EQ(Told(1), '<' + reason + '>');
  EXPECT_EQ(Asked(), "01") << "nobody asks again what crashes";
  EXPECT_THAT(journal.told, ElementsAre(kNotTold + reason));
  EXPECT_THAT(journal.lines,
              ElementsAre(StartsWith("error: resources: the worker of module Selftest was ended by "
                                     "signal 11")));
  EXPECT_EQ(Run("pass", Found()[1].get()).status, kTestPassed) << "another worker finds it again";
}

TEST_F(ScanResourcesTest, WhatMakesNoSenseIsNotTaken) {
  for (const char* deed : {"garbage", "forge", "nothing", "tell-too-little"}) {
    settings["resources"] = deed;
    Forget();
    Scan();
    EXPECT_EQ(Told(1), "<the worker said what is no answer>") << deed;
    EXPECT_EQ(Told(0), "part-0") << deed;
  }
}

TEST_F(ScanResourcesTest, MoreThanThereAreDevicesIsNotTaken) {
  settings["resources"] = "tell-too-much";
  Scan();
  EXPECT_EQ(Told(0), "part-0");
  EXPECT_EQ(Told(1), "");
  EXPECT_THAT(journal.told, ElementsAre(kNotTold + "the worker said what is no answer"));
}

TEST_F(ScanResourcesTest, AnotherWorkerFindsTheDevicesAgainAndTells) {
  const auto& devices = Scan();
  Run("exit", devices[0].get());
  EXPECT_EQ(Told(1), "part-1");
  EXPECT_EQ(Told(0), "part-0");
}

TEST_F(ScanResourcesTest, AnotherWorkerLooksThoughItsSearchDidNot) {
  settings["probed"] = folder_ / "probed";
  const auto& devices = Scan();
  Run("exit", devices[0].get());
  Told(0);
  std::ifstream probed(folder_ / "probed");
  std::string text;
  std::getline(probed, text);
  EXPECT_EQ(text, "ynyy") << "a search, the one that finds the devices again, and the two devices";
}

TEST_F(ScanResourcesTest, ADeviceThatIsGoneKeepsNoOtherFromTelling) {
  settings["marker"] = folder_ / "marker";
  const auto& devices = Scan();
  Run("exit", devices[0].get());
  std::ofstream(folder_ / "marker").put('x');
  EXPECT_EQ(Told(0), "<it was not found again>");
  EXPECT_EQ(Told(1), "part-1");
}

TEST_F(ScanResourcesTest, ALookThatIsToStopAndListensTellsWhatItKnows) {
  settings["resources"] = "slow";
  Scan();
  const std::jthread stopper = StopOnce(folder_ / "asked", stop);
  EXPECT_EQ(Told(1, stop.get_token()), "part-1");
  EXPECT_TRUE(journal.lines.empty());
}

TEST_F(ScanResourcesTest, ALookThatIsToStopAndHangsEndsWithinAScansTime) {
  settings["resources"] = "hang";
  Scan();
  std::chrono::steady_clock::time_point stopped;
  const std::stop_callback note(stop.get_token(),
                                [&] { stopped = std::chrono::steady_clock::now(); });
  const std::jthread stopper = StopOnce(folder_ / "asked", stop);
  EXPECT_EQ(Told(1, stop.get_token()), "");
  EXPECT_LT(std::chrono::steady_clock::now() - stopped, 1500ms);
  EXPECT_EQ(Told(0, stop.get_token()), "part-0");
  EXPECT_THAT(journal.told, IsEmpty());
  EXPECT_THAT(journal.lines, ElementsAre("resources: the worker of module Selftest did not end in "
                                         "time when it was to stop"));
}

TEST_F(ScanResourcesTest, OnceItIsToStopAWorkerThatIsThereTellsAndNoOtherIsStarted) {
  stop.request_stop();
  Scan();
  EXPECT_EQ(Told(0, stop.get_token()), "part-0");
  settings["begun"] = folder_ / "begun";
  Forget();
  Scan();
  Run("exit", Found()[0].get());
  std::filesystem::remove(folder_ / "begun");
  EXPECT_EQ(Told(0, stop.get_token()), "");
  EXPECT_FALSE(std::filesystem::exists(folder_ / "begun")) << "a worker was started and searched";
  EXPECT_THAT(journal.told, IsEmpty());
}

TEST_F(ScanResourcesTest, MoreThanASearchMayFindIsNotTold) {
  settings["devices"] = "300";
  settings["piece-bytes"] = std::to_string(protocol::kLongestText);
  Scan();
  EXPECT_EQ(Told(299), "<more than a search may find>");
  EXPECT_EQ(Told(0).size(), protocol::kLongestText);
}

}  // namespace
}  // namespace orvan::remote
