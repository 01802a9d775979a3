#include "service/log/log_folder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "service/log/log_file.h"
#include "tests/support/log_test_support.h"

namespace orvan::log {
namespace {

using testing::TemporaryFolder;
using Names = std::vector<std::string>;

constexpr char kVersion[] = "{\"sequenceNumber\":0,\"timestamp\":\"t\",\"schemaVersion\":{}}\n";
constexpr char kEnd[] =
    "{\"sequenceNumber\":1,\"timestamp\":\"t\",\"testRunArtifact\":{\"testRunEnd\":{}}}\n";

std::string NameOf(int day, const std::string& ending = ".jsonl") {
  return "tarvex-2020010" + std::to_string(day) + "T000000.000Z-7" + ending;
}

TEST(IsLogName, IsTrueForOurOwnNamesOnly) {
  EXPECT_TRUE(IsLogName("tarvex-20241121T080000.007Z-1.jsonl"));
  EXPECT_TRUE(IsLogName("tarvex-20241121T080000.007Z-4194304.crashed.jsonl"));
  for (const char* name :
       {"", "tarvex-", "tarvex-20241121T080000.007Z-.jsonl", "tarvex-20241121T080000.007Z-1",
        "tarvex-20241121T080000.007Z-1.json", "tarvex-20241121T080000.007Z-1.jsonl.gz",
        "xtarvex-20241121T080000.007Z-1.jsonl", "tarvex-20241121T080000Z-1.jsonl",
        "tarvex-2024112T080000.007Z-1.jsonl", "tarvex-20241121T080000.007Z-12345678901.jsonl",
        "tarvex-20241121T080000.007Z-1..jsonl", "tarvex-../../../etc/passwd-1.jsonl"}) {
    EXPECT_FALSE(IsLogName(name)) << name;
  }
}

TEST(TakeUnfinishedLogs, TakesThoseWithoutTheirEndOnce) {
  TemporaryFolder folder;
  folder.Write(NameOf(1), kVersion);
  folder.Write(NameOf(2), std::string(kVersion) + kEnd);
  folder.Write(NameOf(3), std::string(kVersion) + std::string(kEnd).substr(0, 40));
  folder.Write(NameOf(4), "");
  folder.Write("other.jsonl", kVersion);
  const std::vector<UnfinishedLog> taken = TakeUnfinishedLogs(folder.Path());
  ASSERT_EQ(taken.size(), 2U);
  EXPECT_EQ(taken[0].name, NameOf(1, ".crashed.jsonl"));
  EXPECT_EQ(taken[0].tail, kVersion);
  EXPECT_EQ(taken[1].name, NameOf(3, ".crashed.jsonl"));
  EXPECT_EQ(testing::FileText(folder.Path(taken[0].name)), kVersion);
  EXPECT_TRUE(TakeUnfinishedLogs(folder.Path()).empty());
  EXPECT_EQ(testing::NamesIn(folder.Path()),
            (Names{"other.jsonl", NameOf(1, ".crashed.jsonl"), NameOf(2),
                   NameOf(3, ".crashed.jsonl"), NameOf(4)}));
}

TEST(TakeUnfinishedLogs, LeavesTheLogOfALiveRunAlone) {
  TemporaryFolder folder;
  LogFile live;
  ASSERT_TRUE(live.Create(folder.Path(), 0));
  ASSERT_TRUE(live.Append(kVersion));
  EXPECT_TRUE(TakeUnfinishedLogs(folder.Path()).empty());
  live.Close();
  EXPECT_EQ(TakeUnfinishedLogs(folder.Path()).size(), 1U);
}

TEST(TakeUnfinishedLogs, FollowsNoLinkAndWaitsForNoPipe) {
  TemporaryFolder folder;
  TemporaryFolder other;
  other.Write("victim", kVersion);
  ASSERT_EQ(symlink(other.Path("victim").c_str(), folder.Path(NameOf(1)).c_str()), 0);
  ASSERT_EQ(mkfifo(folder.Path(NameOf(2)).c_str(), 0600), 0);
  std::filesystem::create_directory(folder.Path(NameOf(3)));
  EXPECT_TRUE(TakeUnfinishedLogs(folder.Path()).empty());
  EXPECT_EQ(testing::NamesIn(folder.Path()), (Names{NameOf(1), NameOf(2), NameOf(3)}));
}

TEST(TakeUnfinishedLogs, GoesOverNoStrangersLink) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give a link away";
  TemporaryFolder folder;
  TemporaryFolder other;
  other.Write(NameOf(1), kVersion);
  const std::string link = folder.Path("link");
  ASSERT_EQ(symlink(other.Path().c_str(), link.c_str()), 0);
  ASSERT_EQ(lchown(link.c_str(), 12345, 12345), 0);
  EXPECT_TRUE(TakeUnfinishedLogs(link).empty());
  PruneLogs(link, {0, 0}, "");
  EXPECT_EQ(testing::NamesIn(other.Path()), Names{NameOf(1)});
}

TEST(TakeUnfinishedLogs, ReadsNoMoreThanTheTail) {
  TemporaryFolder folder;
  const std::string line = std::string(1023, 'x') + '\n';
  std::string text;
  for (int i = 0; i < 1500; ++i) {
    text += line;
  }
  folder.Write(NameOf(1), text);
  const std::vector<UnfinishedLog> taken = TakeUnfinishedLogs(folder.Path());
  ASSERT_EQ(taken.size(), 1U);
  EXPECT_EQ(taken[0].tail.size(), 1048576U);
}

// Files that look like logs, of others or under a second name.
class StrangersLogs : public ::testing::Test {
 protected:
  StrangersLogs() {
    folder.Write(NameOf(1), kVersion);
    EXPECT_EQ(link(folder.Path(NameOf(1)).c_str(), folder.Path("second").c_str()), 0);
    if (geteuid() == 0) {
      folder.Write(NameOf(2), kVersion);
      EXPECT_EQ(chown(folder.Path(NameOf(2)).c_str(), 12345, 12345), 0);
    }
    before = testing::NamesIn(folder.Path());
  }
  TemporaryFolder folder;
  Names before;
};

TEST_F(StrangersLogs, AreNoLogsOfCrashedRuns) {
  EXPECT_TRUE(TakeUnfinishedLogs(folder.Path()).empty());
  EXPECT_EQ(testing::NamesIn(folder.Path()), before);
}

TEST_F(StrangersLogs, NeitherCountNorGo) {
  folder.Write(NameOf(3), "x");
  before.push_back(NameOf(3));
  PruneLogs(folder.Path(), {1, 1}, "");
  EXPECT_EQ(testing::NamesIn(folder.Path()), before);
  PruneLogs(folder.Path(), {0, 0}, "");
  before.pop_back();
  EXPECT_EQ(testing::NamesIn(folder.Path()), before);
}

std::string ManyNames(int number, const std::string& ending = ".jsonl") {
  return "tarvex-20200101T000000.000Z-" + std::to_string(100000 + number) + ending;
}

TEST(TakeUnfinishedLogs, TakesAFewAndLeavesTheRestToTheNextRuns) {
  TemporaryFolder folder;
  for (int number = 0; number < 40; ++number) {
    folder.Write(ManyNames(number), kVersion);
  }
  Names taken;
  for (const std::size_t expected : {16U, 16U, 8U, 0U}) {
    const std::vector<UnfinishedLog> found = TakeUnfinishedLogs(folder.Path());
    EXPECT_EQ(found.size(), expected);
    for (const UnfinishedLog& log : found) {
      taken.push_back(log.name);
    }
  }
  ASSERT_EQ(taken.size(), 40U);
  EXPECT_EQ(taken.front(), ManyNames(0, ".crashed.jsonl"));
  EXPECT_EQ(taken.back(), ManyNames(39, ".crashed.jsonl"));
}

TEST(TakeUnfinishedLogs, LooksIntoTheNewestOnly) {
  TemporaryFolder folder;
  folder.Write(ManyNames(0), kVersion);
  for (int number = 1; number <= 500; ++number) {
    folder.Write(ManyNames(number), std::string(kVersion) + kEnd);
  }
  EXPECT_TRUE(TakeUnfinishedLogs(folder.Path()).empty());
  PruneLogs(folder.Path(), {500, 1 << 20}, ManyNames(500));
  EXPECT_FALSE(std::filesystem::exists(folder.Path(ManyNames(0))));
}

TEST(PruneLogs, RemovesTheOldestUntilTheirNumberFits) {
  TemporaryFolder folder;
  for (int day = 1; day <= 5; ++day) {
    folder.Write(NameOf(day), "x");
  }
  PruneLogs(folder.Path(), {3, 1000}, NameOf(5));
  EXPECT_EQ(testing::NamesIn(folder.Path()), (Names{NameOf(3), NameOf(4), NameOf(5)}));
}

TEST(PruneLogs, RemovesTheOldestUntilTheirBytesFit) {
  TemporaryFolder folder;
  for (int day = 1; day <= 4; ++day) {
    folder.Write(NameOf(day), std::string(100, 'x'));
  }
  PruneLogs(folder.Path(), {100, 400}, NameOf(4));
  EXPECT_EQ(testing::NamesIn(folder.Path()).size(), 4U);
  PruneLogs(folder.Path(), {100, 399}, NameOf(4));
  EXPECT_EQ(testing::NamesIn(folder.Path()), (Names{NameOf(2), NameOf(3), NameOf(4)}));
}

TEST(PruneLogs, KeepsItsOwnAndThoseOfLiveRuns) {
  TemporaryFolder folder;
  LogFile live;
  ASSERT_TRUE(live.Create(folder.Path(), 0));  // older than all others
  folder.Write(NameOf(1), "x");
  folder.Write(NameOf(2), "x");
  PruneLogs(folder.Path(), {0, 0}, NameOf(2));
  EXPECT_EQ(testing::NamesIn(folder.Path()), (Names{live.Name(), NameOf(2)}));
}

TEST(PruneLogs, TouchesNothingButLogs) {
  TemporaryFolder folder;
  TemporaryFolder other;
  other.Write("victim", "x");
  folder.Write("precious.jsonl", "x");
  ASSERT_EQ(symlink(other.Path("victim").c_str(), folder.Path(NameOf(1)).c_str()), 0);
  std::filesystem::create_directory(folder.Path(NameOf(2)));
  PruneLogs(folder.Path(), {0, 0}, "");
  EXPECT_EQ(testing::NamesIn(folder.Path()), (Names{"precious.jsonl", NameOf(1), NameOf(2)}));
  EXPECT_EQ(testing::FileText(other.Path("victim")), "x");
}

TEST(PruneLogs, AMissingFolderIsNone) {
  TemporaryFolder folder;
  PruneLogs(folder.Path("missing"), {0, 0}, "");
  EXPECT_TRUE(TakeUnfinishedLogs(folder.Path("missing")).empty());
}

}  // namespace
}  // namespace orvan::log
