#include "companions/complete/program_words.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "boundary/orvan_service.h"
#include "companions/complete/typed_line.h"
#include "frontend/options.h"
#include "tests/fakes/fake_service.h"

namespace tarvex::complete {
namespace {

using Words = std::vector<std::string>;

class ProgramWordsTest : public ::testing::Test {
 protected:
  ProgramWordsTest() {
    FakeDiagnostic& quick = module_.AddDiagnostic("QUICK_TEST", "Q", "quick", 1);
    FakeTest& funnel = quick.AddTest("FUNNEL_READ_TEST", "f", "funnel-read");
    funnel.Parameter("blocks", kParameterInteger).Parameter("block_kib", kParameterInteger);
    funnel.parameters[0].initialValue = "64";
    funnel.parameters[0].detail = "|NUMBER_OF_BLOCKS";
    funnel.parameters[0].extra = "1-1024";
    quick.AddTest("RANDOM_READ_TEST", "r", "random-read");
    FakeDiagnostic& extended = module_.AddDiagnostic("EXTENDED_TEST", "E", "extended", 2);
    extended.AddTest("WRITE_TEST", "w", "write").Parameter("destructive", kParameterBoolean);
    module_.AddDevice("0", "Disk A");
    module_.AddDevice("1", "Disk B");
    module_.AddTool("smart_tool", "SHOWS_ATTRIBUTES", "smart").refusedDevices = {"1"};
    other_.AddDiagnostic("COUNTER_TEST", "K", "counters", 1);
    offer_.modules = {&module_, &other_};
    offer_.devicesOf = [](DiagModule& module) { return *module.GetDevices(); };
  }

  std::vector<Candidate> CandidatesFor(const std::string& line) const {
    Words words = SplitLine(line).words;
    Answer answer(words.back());
    words.pop_back();
    OfferProgramWords(answer, words, offer_);
    return answer.candidates();
  }
  Words Offered(const std::string& line) const {
    Words words;
    for (const Candidate& candidate : CandidatesFor(line)) words.push_back(candidate.text);
    return words;
  }
  bool Offers(const std::string& line, const std::string& word) const {
    const Words words = Offered(line);
    return std::find(words.begin(), words.end(), word) != words.end();
  }

  FakeService service_;
  FakeModule module_{service_, "Storage"};
  FakeModule other_{service_, "MEMORY"};
  Offer offer_;
};

TEST_F(ProgramWordsTest, OffersTheModulesThatAreThere) {
  EXPECT_EQ(Offered("p -M"), (Words{"-Mstorage", "-Mmemory"}));
  EXPECT_EQ(Offered("p --module=m"), Words{"--module=memory"});
  EXPECT_EQ(Offered("p --mod=s"), Words{"--mod=storage"});
  EXPECT_EQ(Offered("p -AM"), (Words{"-AMstorage", "-AMmemory"}));
}

TEST_F(ProgramWordsTest, OffersEachOptionOfTheTableButThoseThatNobodyTypes) {
  const Words words = Offered("p -");
  for (const OptionRow& row : FixedOptions()) {
    const std::string letter = std::string("-") + row.letter;
    const std::string name = std::string("--") + row.longName;
    const auto begins = [&words](const std::string& text) {
      return std::any_of(words.begin(), words.end(),
                         [&text](const std::string& word) { return word.starts_with(text); });
    };
    const bool isForPeople = row.shortForm != ShortForm::kNever;
    // A tool needs a module.
    EXPECT_EQ(begins(letter), isForPeople && row.letter != 'T') << letter;
    EXPECT_EQ(begins(name), isForPeople) << name;
  }
}

TEST_F(ProgramWordsTest, SaysWhatAnOptionDoes) {
  const std::vector<Candidate> candidates = CandidatesFor("p --list-mod");
  ASSERT_EQ(candidates.size(), 1U);
  EXPECT_EQ(candidates[0], (Candidate{"--list-modules", "Lists available modules"}));
}

TEST_F(ProgramWordsTest, OffersTheDiagnosticsOfTheModuleInHandAlone) {
  EXPECT_TRUE(Offers("p -Mstorage -", "-Q"));
  EXPECT_TRUE(Offers("p -Mstorage --", "--extended"));
  EXPECT_FALSE(Offers("p -Mstorage -", "-K"));
  EXPECT_TRUE(Offers("p -Mstorage -Mmemory -", "-K"));
  EXPECT_FALSE(Offers("p -Mstorage -Mmemory -", "-Q"));
  EXPECT_FALSE(Offers("p -", "-Q"));
}

TEST_F(ProgramWordsTest, OffersTheTestsOfADiagnostic) {
  EXPECT_EQ(Offered("p -Mstorage -Q"), (Words{"-Qf", "-Qr"}));
  EXPECT_EQ(Offered("p -Mstorage --quick="), (Words{"--quick=f", "--quick=r"}));
  EXPECT_EQ(Offered("p -Mstorage -Qra"), Words{"-Qrandom-read"});
  EXPECT_EQ(Offered("p -Mstorage -Qf,"), Words{"-Qf,r"});
}

TEST_F(ProgramWordsTest, OffersParametersInParentheses) {
  EXPECT_EQ(Offered("p -Mstorage -Qf"), (Words{"-Qf", "-Qfunnel-read", "-Qf(", "-Qfunnel-read("}));
  EXPECT_EQ(Offered("p -Mstorage -Q\"f("), (Words{"-Qf(blocks=", "-Qf(block_kib="}));
  EXPECT_EQ(Offered("p -Mstorage -Q\"f(blocks="), (Words{"-Qf(blocks=64)", "-Qf(blocks=64,"}));
  EXPECT_EQ(Offered("p -Mstorage -Q\"f(blocks=8"), (Words{"-Qf(blocks=8)", "-Qf(blocks=8,"}));
  EXPECT_EQ(Offered("p -Mstorage -Q\"f(blocks=8,block_kib=4"), Words{"-Qf(blocks=8,block_kib=4)"});
  EXPECT_EQ(Offered("p -Mstorage -E\"w(destructive="),
            (Words{"-Ew(destructive=yes)", "-Ew(destructive=no)"}));
}

// With its default, for bash closes a quote behind a word that stands alone.
TEST_F(ProgramWordsTest, OffersTheOnlyParameterThatIsLeftWithItsDefault) {
  EXPECT_EQ(Offered("p -Mstorage -Q\"r,f(block_kib=4,"),
            (Words{"-Qr,f(block_kib=4,blocks=", "-Qr,f(block_kib=4,blocks=64"}));
}

TEST_F(ProgramWordsTest, GoesOnBehindParentheses) {
  EXPECT_EQ(Offered("p -Mstorage -Q\"f(blocks=8)"), (Words{"-Qf(blocks=8)", "-Qf(blocks=8),"}));
  EXPECT_EQ(Offered("p -Mstorage -Q\"f(blocks=8),"), Words{"-Qf(blocks=8),r"});
  EXPECT_EQ(Offered("p -Mstorage -Q\"r,f(blocks=8)"), Words{"-Qr,f(blocks=8)"});
}

TEST_F(ProgramWordsTest, SaysWhatAParameterIs) {
  EXPECT_EQ(CandidatesFor("p -Mstorage -Q\"f(blocks").front().summary,
            "Number of blocks, 1-1024, default 64");
}

TEST_F(ProgramWordsTest, OffersNothingForATestThatIsNotThere) {
  EXPECT_EQ(Offered("p -Mstorage -Q\"x("), Words{});
  EXPECT_EQ(Offered("p -Mnone -Q"), Words{});
  EXPECT_EQ(Offered("p -Q"), Words{});
}

TEST_F(ProgramWordsTest, OffersDevicesOfTheModuleThatAreNotNamedYet) {
  EXPECT_TRUE(Offers("p -Mstorage -Q ", "0"));
  EXPECT_FALSE(Offers("p -Mstorage 0 ", "0"));
  EXPECT_EQ(Offered("p -Mstorage 0 -- "), Words{"1"});
  EXPECT_EQ(Offered("p -Mmemory -- "), Words{});
  EXPECT_EQ(CandidatesFor("p -Mstorage 0").front().summary, "Disk A");
}

TEST_F(ProgramWordsTest, OffersToolsAndWhatTheyTake) {
  EXPECT_EQ(Offered("p -Mstorage -T"), Words{"-Tsmart"});
  EXPECT_EQ(Offered("p -T"), Words{});
  EXPECT_EQ(Offered("p -Mstorage -Tsmart "), (Words{"0", "-h", "-l", "-i"}));
  EXPECT_EQ(Offered("p -Mstorage -Tsmart --i"), Words{"--info"});
}

TEST_F(ProgramWordsTest, OffersTheWordsOfRunAllEachOnce) {
  EXPECT_EQ(Offered("p -Uq"), (Words{"-Uq", "-Uquick"}));
  EXPECT_EQ(Offered("p -Uq,"), (Words{"-Uq,e", "-Uq,extended", "-Uq,o", "-Uq,only-unattended"}));
}

TEST_F(ProgramWordsTest, OffersPathsForAReportAlsoBehindABlank) {
  EXPECT_EQ(Offered("p -o"), Words{"-o/"});
  EXPECT_TRUE(Offers("p -o /", "/etc/"));
  EXPECT_EQ(Offered("p --save="), Words{"--save=/"});
  EXPECT_EQ(Offered("p -e"), (Words{"-e0", "-e1"}));
}

TEST_F(ProgramWordsTest, WhatIsNoPlainNameIsOfferedNowhere) {
  module_.displayName = "a$(reboot)";
  other_.AddDevice("`reboot`", "x");
  other_.AddDevice("-r", "x");
  other_.AddDevice("2", "x");
  FakeDiagnostic& odd = other_.AddDiagnostic("ODD", "O", "o;reboot", 1);
  odd.AddTest("BAD", "'", "\"");
  odd.AddTest("GOOD", "g", "good").Parameter("a b", kParameterText).Parameter("c", kParameterText);
  EXPECT_EQ(Offered("p -M"), Words{"-Mmemory"});
  EXPECT_EQ(Offered("p -Mmemory -- "), Words{"2"});
  EXPECT_EQ(Offered("p -Mmemory --o"), Words{"--output="});
  EXPECT_EQ(Offered("p -Mmemory -O"), (Words{"-Og", "-Og(", "-Ogood("}));
  EXPECT_EQ(Offered("p -Mmemory -O\"g("), (Words{"-Og(c=", "-Og(c=initial"}));
}

// What the user typed is not offered again, either.
TEST_F(ProgramWordsTest, AWordWithMoreThanWordsInItIsLeftAlone) {
  EXPECT_EQ(Offered("p -Mstorage -Q\"$(reboot),"), Words{});
  EXPECT_EQ(Offered("p -Mstorage -Q'`x`,r'"), Words{});
}

}  // namespace
}  // namespace tarvex::complete
