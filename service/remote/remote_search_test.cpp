#include <gmock/gmock.h>

#include <thread>

#include "service/remote/remote_device.h"
#include "service/remote/remote_test_support.h"
#include "tests/support/test_folder.h"

// What becomes of a search for devices, and of what it has found.
namespace orvan::remote {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using testing::StopOnce;
using testing::TestedContext;
using namespace std::chrono_literals;

class RemoteSearchTest : public testing::RemoteModuleTest {};

const std::string kInvalid = std::to_string(kTestInvalid);

TEST_F(RemoteSearchTest, ASearchThatThrewIsMadeAgainBeforeTheNextTest) {
  const TestFolder folder;
  settings["throwing"] = folder / "throwing";
  const auto& devices = Scan();
  Run("exit", devices[0].get());
  std::ofstream(folder / "throwing").put('x');
  EXPECT_EQ(Shown(Run("pass", devices[0].get())),
            kInvalid + " |THE_TEST_DID_NOT_BEGIN:_THROWN_ON_PURPOSE");
  std::filesystem::remove(folder / "throwing");
  EXPECT_EQ(Run("pass", devices[0].get()).status, kTestPassed);
}

TEST_F(RemoteSearchTest, AScanThatThrowsThrowsItsWords) {
  settings["scan"] = "throw";
  try {
    Scan();
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "thrown on purpose");
  }
}

TEST_F(RemoteSearchTest, AScanThatCrashesSaysSoAndTheNextOneIsAnotherWorkers) {
  settings["scan"] = "segv";
  for (int i = 0; i < 2; ++i) {
    try {
      Scan();
      FAIL();
    } catch (const std::runtime_error& error) {
      EXPECT_STREQ(error.what(), "the worker was ended by signal 11 (SIGSEGV)");
    }
  }
  ASSERT_EQ(journal.lines.size(), 2U);
  EXPECT_THAT(journal.lines[1],
              StartsWith("error: scan: the worker of module Selftest was ended by signal 11"));
  EXPECT_THAT(journal.lines[1], HasSubstr("backtrace: selftest.so+0x"));
}

TEST_F(RemoteSearchTest, WhatASearchFoundBeforeItBrokeCounts) {
  settings["scan-at"] = "2";
  settings["devices"] = "3";
  for (const char* deed : {"throw", "segv", "kill", "exit", "garbage", "close-all-and-hang"}) {
    settings["scan"] = deed;
    Forget();
    EXPECT_THROW(Scan(), std::runtime_error) << deed;
    ASSERT_EQ(Found().size(), 2U) << deed;
    EXPECT_EQ(Found()[1]->Id(), "1") << deed;
    EXPECT_EQ(Found()[1]->UniqueId(), "part-1") << deed;
  }
}

TEST_F(RemoteSearchTest, WhatASearchFoundBeforeItBrokeIsFoundAgainByOneThatDoesNot) {
  const TestFolder folder;
  settings["throwing"] = folder / "throwing";
  settings["scan-at"] = "1";
  std::ofstream(folder / "throwing").put('x');
  EXPECT_THROW(Scan(), std::runtime_error);
  ASSERT_EQ(Found().size(), 1U);
  // The worker that has thrown knows it, and another one would have to find it.
  EXPECT_EQ(Run("device", Found()[0].get()).message, "|DEVICE_Part part-0");
  Run("exit", Found()[0].get());
  EXPECT_EQ(Shown(Run("pass", Found()[0].get())),
            kInvalid + " |THE_TEST_DID_NOT_BEGIN:_THROWN_ON_PURPOSE");
  std::filesystem::remove(folder / "throwing");
  EXPECT_EQ(Run("device", Found()[0].get()).message, "|DEVICE_Part part-0");
}

TEST_F(RemoteSearchTest, ASearchWithoutEndHasOne) {
  settings["devices"] = "1000000000";
  try {
    Scan();
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "more than a search may find");
  }
  EXPECT_GT(Found().size(), 10000U);
  EXPECT_TRUE(journal.lines.empty());
}

TEST_F(RemoteSearchTest, AScanThatIsToStopAndLooksKeepsItsDevices) {
  const TestFolder folder;
  settings["scan"] = "slow";
  settings["begun"] = folder / "begun";
  const std::jthread stopper = StopOnce(folder / "begun", scanStop);
  EXPECT_EQ(Scan().size(), 2U);
}

TEST_F(RemoteSearchTest, AScanThatIsToStopAndHangsKeepsWhatItHasFound) {
  const TestFolder folder;
  settings["scan"] = "hang";
  settings["scan-at"] = "1";
  settings["begun"] = folder / "begun";
  const std::jthread stopper = StopOnce(folder / "begun", scanStop);
  EXPECT_THROW(Scan(), std::runtime_error);
  ASSERT_EQ(Found().size(), 1U);
  EXPECT_EQ(Found()[0]->UniqueId(), "part-0");
}

TEST_F(RemoteSearchTest, OnceItIsToStopNoWorkerIsStartedForAScan) {
  const TestFolder folder;
  settings["scan"] = "hang";
  settings["begun"] = folder / "begun";
  std::chrono::steady_clock::time_point stopped;
  const std::stop_callback note(scanStop.get_token(),
                                [&] { stopped = std::chrono::steady_clock::now(); });
  const std::jthread stopper = StopOnce(folder / "begun", scanStop);
  std::vector<std::string> reasons;
  for (int i = 0; i < 5; ++i) {
    try {
      Scan();
    } catch (const std::runtime_error& error) {
      reasons.emplace_back(error.what());
    }
  }
  EXPECT_LT(std::chrono::steady_clock::now() - stopped, 1500ms);
  const std::string before = "it was to stop before it began";
  EXPECT_THAT(reasons, ElementsAre("the worker did not end in time when it was to stop", before,
                                   before, before, before));
  EXPECT_EQ(journal.lines.size(), 1U);
}

}  // namespace
}  // namespace orvan::remote
