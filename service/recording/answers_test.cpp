#include "service/recording/answers.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "service/recording/accesses.h"
#include "service/recording/recording.h"

namespace orvan::recording {
namespace {

template <typename Answer>
std::string LineOf(const Answer& answer) {
  FieldWriter fields;
  Write(fields, answer);
  return fields.Line();
}

// What is written, read and written again, is the same.
template <typename Answer>
void ExpectKept(const Answer& answer) {
  const std::string line = LineOf(answer);
  EXPECT_EQ(LineOf(AnswerOf<Answer>(line)), line);
}

TEST(AnswersTest, ComeBackAsTheyWere) {
  ExpectKept(TextAnswer{0, std::string("\0x \xFF", 4)});
  ExpectKept(TextAnswer{0, std::string()});
  ExpectKept(TextAnswer{5, {}});
  ExpectKept(NamesAnswer{0, {"a", "b c", "-"}});
  ExpectKept(NamesAnswer{13, {}});
  ExpectKept(FlagAnswer{0, true});
  ExpectKept(
      CollectAnswer{sdk::ReaderState::kHung, {{4096, 512, 3, sdk::ReadOutcome::kFailed, 61}}});
  ExpectKept(ReaderAnswer{sdk::OpenFailure::kDevice, 6, {}, {}, 0});
  ExpectKept(ReaderAnswer{sdk::OpenFailure::kNone, 0, "r0", {1 << 20, 4096, 8192}, 128});
  ExpectKept(WriterAnswer{sdk::WriteRefusal::kMounted, 0, "/home/a b", {}, {}});
  ExpectKept(WriterAnswer{sdk::WriteRefusal::kNone, 0, {}, "w0", {1 << 20, 512, 512}});
  ExpectKept(TransferAnswer{{sdk::TransferResult::Outcome::kTimedOut, 0}, {}});
  ExpectKept(std::optional<sdk::FilesystemFacts>());
  ExpectKept(std::optional<sdk::FilesystemFacts>({"gpt", "", "a label", {{1, 2}}}));
  ExpectKept(MemoryAnswer{12, {}});
  ExpectKept(StateAnswer{0, "text", {}});
  ExpectKept(StateAnswer{0, {}, "00112233"});
  ExpectKept(std::optional<std::uint64_t>(~std::uint64_t{0}));
}

TEST(AnswersTest, OfADriveComeBackAsTheyWere) {
  SentAnswer sent;
  sent.answer.outcome = sdk::CommandAnswer::Outcome::kAnswered;
  sent.answer.scsiStatus = 2;
  sent.answer.sense = {0x72, 0, 0xFF};
  sent.answer.hasRegisters = true;
  sent.answer.registers = {1, 0x50, 0x40, 0xFFFF, 0xFFFFFFFFFFFF};
  sent.answer.nvmeStatus = 0x7FFF;
  sent.answer.nvmeResult = 0xFFFFFFFF;
  sent.answer.data = {0, 32, 255};
  ExpectKept(sent);
  const auto read = AnswerOf<SentAnswer>(LineOf(sent));
  EXPECT_EQ(read.answer.sense, sent.answer.sense);
  EXPECT_EQ(read.answer.data, sent.answer.data);
  EXPECT_EQ(read.answer.registers.lba, 0xFFFFFFFFFFFFU);
  EXPECT_EQ(read.answer.nvmeStatus, 0x7FFF);
  sent.answer.data.clear();
  sent.hiddenBytes = 512;
  sent.hash = "00112233";
  ExpectKept(sent);
}

TEST(AnswersTest, TimesOfReadsAreKept) {
  using std::chrono::microseconds;
  const ReadTimesAnswer said{
      {{microseconds(7), microseconds(9)}, {microseconds(0), microseconds(1)}}};
  ExpectKept(said);
  const auto read = AnswerOf<ReadTimesAnswer>(LineOf(said));
  ASSERT_EQ(read.reads.size(), 2U);
  EXPECT_EQ(read.reads[0].took, microseconds(7));
  EXPECT_EQ(read.reads[0].ended, microseconds(9));
}

TEST(AnswersTest, ReachEveryOutcome) {
  for (int i = 0; i <= static_cast<int>(sdk::OpenFailure::kStopped); ++i) {
    ExpectKept(ReaderAnswer{static_cast<sdk::OpenFailure>(i), 0, "r", {0, 512, 512}, 2});
  }
  for (int i = 0; i <= static_cast<int>(sdk::ReaderState::kLost); ++i) {
    ExpectKept(CollectAnswer{static_cast<sdk::ReaderState>(i), {}});
  }
  for (int i = 0; i <= static_cast<int>(sdk::ReadOutcome::kNotTried); ++i) {
    ExpectKept(CollectAnswer{{}, {{0, 512, 1, static_cast<sdk::ReadOutcome>(i), 0}}});
  }
  for (int i = 0; i <= static_cast<int>(sdk::kLastWriteRefusal); ++i) {
    ExpectKept(WriterAnswer{static_cast<sdk::WriteRefusal>(i), 0, {}, "w", {0, 512, 512}});
  }
  using Transfer = sdk::TransferResult::Outcome;
  for (int i = 0; i <= static_cast<int>(Transfer::kStopped); ++i) {
    ExpectKept(TransferAnswer{{static_cast<Transfer>(i), 0}, {}});
  }
  using Sent = sdk::CommandAnswer::Outcome;
  for (int i = 0; i <= static_cast<int>(Sent::kNotTried); ++i) {
    SentAnswer sent;
    sent.answer.outcome = static_cast<Sent>(i);
    ExpectKept(sent);
  }
}

TEST(AnswersTest, OfEachKindStandInTheCorpus) {
  std::string all;
  for (const char* name : {"files", "disks", "commands", "the_rest"}) {
    std::ifstream file(std::string(TARVEX_SOURCE_DIR) + "/fuzz/corpus/recording_fuzzer/" + name);
    std::ostringstream text;
    text << file.rdbuf();
    EXPECT_NO_THROW(Recording::Parse(text.str())) << name;
    all += text.str();
  }
  for (const char* kind :
       {kind::kBegin,     kind::kNow,          kind::kBytes,      kind::kPart,
        kind::kLink,      kind::kList,         kind::kExists,     kind::kOpenReader,
        kind::kCollect,   kind::kReadTimes,    kind::kOpenWriter, kind::kWrite,
        kind::kRead,      kind::kFlush,        kind::kProbe,      kind::kSend,
        kind::kChance,    kind::kPin,          kind::kLockMemory, kind::kPhysical,
        kind::kStateRead, kind::kStateReplace, kind::kStateList,  kind::kLeftBehind}) {
    EXPECT_NE(all.find(std::string(" ") + kind + ' '), std::string::npos) << kind;
  }
}

}  // namespace
}  // namespace orvan::recording
