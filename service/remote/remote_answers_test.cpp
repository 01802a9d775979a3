#include <gmock/gmock.h>

#include <fstream>

#include "service/remote/remote_test_support.h"
#include "service/remote/testing_talk.h"
#include "tests/support/test_folder.h"

// What of a worker's answers is taken, and what it is asked for.
namespace orvan::remote {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;
using testing::TestedContext;

class RemoteAnswersTest : public testing::RemoteModuleTest {};

const std::string kInvalid = std::to_string(kTestInvalid);

TEST_F(RemoteAnswersTest, AWorkerOfAnotherVersionEndsAtItsStart) {
  version = protocol::kVersion + 1;
  EXPECT_EQ(Shown(Run("pass", nullptr)),
            kInvalid +
                " |THE_TEST_DID_NOT_BEGIN:_ITS_WORKER_ENDED_BY_ITSELF,_WITH_STATUS_101_(ITS_"
                "CONNECTION_WAS_LOST)");
}

TEST_F(RemoteAnswersTest, AWorkerThatHasNoModuleIsToldAndLeftAtOnce) {
  file = "gone.so";
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(Shown(Run("pass", nullptr)),
                StartsWith(kInvalid + " |THE_TEST_DID_NOT_BEGIN:_ITS_WORKER_HAS_NO_MODULE:_"));
  }
  EXPECT_TRUE(journal.lines.empty());
}

TEST_F(RemoteAnswersTest, ARowThatIsAnotherTestInTheWorkerIsNotRun) {
  TestedContext context(nullptr);
  const std::shared_ptr<WorkerHost> host = Module().Host().lock();
  const std::uint64_t identifier = Module().Diagnostics()[1].tests[0].key.identifier;
  EXPECT_EQ(RunTestRemotely(*host, {1, 0, identifier}, "pass", context).status, kTestPassed);
  for (const protocol::RowName& row :
       {protocol::RowName{1, 0, identifier + 1}, {9, 0, identifier}, {1, 999, identifier}}) {
    EXPECT_THAT(RunTestRemotely(*host, row, "pass", context).message, HasSubstr("STATUS_101"));
  }
}

TEST_F(RemoteAnswersTest, DevicesWithRowsOfOtherTablesAreNoAnswer) {
  ofWorker["tests"] = "2";
  try {
    Scan();
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "the worker said what is no answer");
  }
  EXPECT_TRUE(Found().empty());
}

TEST_F(RemoteAnswersTest, ADeviceOfAnotherRequestIsNone) {
  settings["scan"] = "forge-device";
  EXPECT_THROW(Scan(), std::runtime_error);
  EXPECT_TRUE(Found().empty());
}

TEST_F(RemoteAnswersTest, DevicesBeyondWhatASearchMayFindAreNoAnswer) {
  settings["scan"] = "find-without-end";
  try {
    Scan();
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "the worker said what is no answer");
  }
  // Of 30,000 bytes and what a record takes.
  EXPECT_GT(Found().size(), protocol::kMostScanBytes / 32000);
  EXPECT_LT(Found().size(), protocol::kMostScanBytes / 30000);
}

TEST_F(RemoteAnswersTest, OnlyTheFirstSearchLooksAtWhatMayHang) {
  const TestFolder folder;
  settings["probed"] = folder / "probed";
  const auto& devices = Scan();
  Run("exit", devices[0].get());
  EXPECT_EQ(Run("pass", devices[0].get()).status, kTestPassed);
  std::ifstream probed(folder / "probed");
  std::string text;
  std::getline(probed, text);
  EXPECT_EQ(text, "yn");
}

TEST_F(RemoteAnswersTest, EventsOfBeforeReachTheTest) {
  const auto& devices = Scan();
  TestedContext context(devices[0].get());
  context.events = 9;
  EXPECT_EQ(Run("events", context).message, "|EVENTS_9");
}

TEST_F(RemoteAnswersTest, AChildThatTalksForEverHidesNoEnd) {
  const auto& devices = Scan();
  EXPECT_EQ(Shown(Run("leave-talker-and-exit", devices[0].get())),
            kInvalid + " |THE_TEST'S_WORKER_ENDED_BY_ITSELF,_WITH_STATUS_3");
}

TEST_F(RemoteAnswersTest, AChildThatTalksFasterThanAnybodyListensHidesNoEndEither) {
  constexpr std::size_t kFarTooMany = 4096;
  const auto& devices = Scan();
  TestedContext context(devices[0].get());
  journal.onNote = [&] {
    // While this lasts the child says more, so that there is always something to hear.
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    if (journal.lines.size() == kFarTooMany) context.stop.request_stop();
  };
  EXPECT_EQ(Shown(Run("leave-free-talker-and-exit", context)),
            kInvalid + " |THE_TEST'S_WORKER_ENDED_BY_ITSELF,_WITH_STATUS_3");
  EXPECT_LT(journal.lines.size(), kFarTooMany);
}

}  // namespace
}  // namespace orvan::remote
