#include "companions/complete/companion_words.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include "companions/complete/typed_line.h"
#include "companions/history/options.h"
#include "tests/support/test_folder.h"

namespace tarvex::complete {
namespace {

using Words = std::vector<std::string>;

Words Offered(const std::string& line) {
  Words words = SplitLine(line).words;
  Answer answer(words.back());
  words.pop_back();
  (words.front() == "tarvex-report" ? OfferReportWords : OfferHistoryWords)(answer, words);
  Words offered;
  for (const Candidate& candidate : answer.candidates()) offered.push_back(candidate.text);
  return offered;
}

bool Offers(const std::string& line, const std::string& word) {
  const Words words = Offered(line);
  return std::find(words.begin(), words.end(), word) != words.end();
}

TEST(CompanionWordsTest, OffersEachCommandAndOptionOfTheTables) {
  for (const history::CommandRow& row : history::CommandRows()) {
    EXPECT_TRUE(Offers("tarvex-history ", row.word)) << row.word;
  }
  for (const history::OptionRow& row : history::OptionRows()) {
    const std::string name = std::string("--") + row.name;
    EXPECT_TRUE(Offers("tarvex-history -", *row.argument == '\0' ? name : name + "=") ||
                Offers("tarvex-history -", name))
        << name;
  }
}

TEST(CompanionWordsTest, OffersNoCommandBehindOne) {
  EXPECT_FALSE(Offers("tarvex-history list ", "run"));
}

TEST(CompanionWordsTest, OffersTheRunsThatLeftALogTheLatestFirst) {
  const TestFolder folder;
  std::filesystem::create_directory(folder / "log");
  for (const char* name : {"tarvex-1.jsonl", "tarvex-2.jsonl", "odd name.jsonl", "other.txt"}) {
    folder.Write(std::string("log/") + name, "{}");
  }
  const TestVariable state("TARVEX_STATE_DIR", folder.Path());
  EXPECT_EQ(Offered("tarvex-history run t"), (Words{"tarvex-2", "tarvex-1"}));
  EXPECT_EQ(Offered("tarvex-history --json run l"), Words{"last"});
}

TEST(CompanionWordsTest, LooksForRunsWhereTheLineSays) {
  const TestFolder folder;
  for (const char* name : {"usual", "usual/log", "state", "state/log", "one", "two"}) {
    std::filesystem::create_directory(folder / name);
  }
  for (const char* name : {"usual/log/a", "state/log/b", "one/c", "two/d"}) {
    folder.Write(std::string(name) + ".jsonl", "{}");
  }
  const TestVariable state("TARVEX_STATE_DIR", folder / "usual");
  const std::string path = folder.Path();
  const std::map<std::string, std::set<std::string>> runsOf{
      {"tarvex-history run ", {"a"}},
      {"tarvex-history --state " + path + "/state run ", {"b"}},
      {"tarvex-history --state=" + path + "/state run ", {"b"}},
      {"tarvex-history --logs " + path + "/one --logs=" + path + "/two run ", {"c", "d"}},
      {"tarvex-report --logs " + path + "/one ", {"c"}}};
  for (const auto& [line, runs] : runsOf) {
    for (const std::string run : {"a", "b", "c", "d"}) {
      EXPECT_EQ(Offers(line, run), runs.contains(run)) << line << run;
    }
  }
}

TEST(CompanionWordsTest, OffersTheRunsOfAFleetByTheNamesThatFindThem) {
  const TestFolder folder;
  for (const char* name : {"site", "site/machine"}) {
    std::filesystem::create_directory(folder / name);
  }
  for (const char* name : {"site/machine/tarvex-1.crashed", "site/machine/tarvex-2", "tarvex-3"}) {
    folder.Write(std::string(name) + ".jsonl", "{}");
  }
  std::filesystem::create_symlink("/etc/passwd", folder / "tarvex-4.jsonl");
  EXPECT_EQ(Offered("tarvex-history --logs=" + folder.Path() + " run t"),
            (Words{"tarvex-3", "tarvex-2", "tarvex-1"}));
}

TEST(CompanionWordsTest, OffersRunsForAReportAndWhatItTakes) {
  const TestFolder folder;
  std::filesystem::create_directory(folder / "log");
  folder.Write("log/tarvex-1.jsonl", "{}");
  const TestVariable state("TARVEX_STATE_DIR", folder.Path());
  EXPECT_EQ(Offered("tarvex-report last t"), Words{"tarvex-1"});
  EXPECT_EQ(Offered("tarvex-report --o"), Words{"--output="});
  EXPECT_EQ(Offered("tarvex-report last -o "), Words{"/"});
  EXPECT_TRUE(Offers("tarvex-report /et", "/etc/"));
}

TEST(CompanionWordsTest, OffersFoldersWhereAnOptionTakesOne) {
  EXPECT_EQ(Offered("tarvex-history --logs "), Words{"/"});
  EXPECT_EQ(Offered("tarvex-history --logs="), Words{"--logs=/"});
  EXPECT_TRUE(Offers("tarvex-history --state /", "/etc/"));
}

}  // namespace
}  // namespace tarvex::complete
