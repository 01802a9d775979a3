#include "host/key_decoder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "boundary/hostlayer_console.h"

namespace tarvex {
namespace {

using std::chrono::milliseconds;
using Keys = std::vector<int>;

// A decoder with a clock that only the test moves.
class KeyDecoderTest : public testing::Test {
 protected:
  void Read(const std::string& bytes) {
    for (const char byte : bytes) decoder_.Feed(static_cast<unsigned char>(byte), now_);
  }
  void Pass(int time) { now_ += milliseconds(time); }
  int Next() { return decoder_.Next(now_); }
  Keys All() {
    Keys keys;
    for (int key = Next(); key != kNoKey; key = Next()) keys.push_back(key);
    return keys;
  }
  // All keys, also an Escape that is still to come.
  Keys AllInTheEnd() {
    Keys keys = All();
    Pass(1000);
    const Keys late = All();
    keys.insert(keys.end(), late.begin(), late.end());
    return keys;
  }

  KeyDecoder decoder_;
  KeyDecoder::TimePoint now_{std::chrono::seconds(1000)};
};

TEST_F(KeyDecoderTest, HasNoKeyAtFirst) {
  EXPECT_FALSE(decoder_.HasKey());
  EXPECT_EQ(Next(), kNoKey);
  Pass(1000);
  EXPECT_EQ(Next(), kNoKey);
}

TEST_F(KeyDecoderTest, GivesEveryPlainByteAsItsOwnKeyInOrder) {
  for (int byte = 0; byte < 256; ++byte) {
    if (byte == kKeyEscape || byte == 0x7F) continue;
    Read(std::string(1, static_cast<char>(byte)));
    EXPECT_TRUE(decoder_.HasKey());
    EXPECT_EQ(Next(), byte);
    EXPECT_EQ(Next(), kNoKey);
  }
  Read("yn\r");
  EXPECT_EQ(All(), (Keys{'y', 'n', '\r'}));
}

TEST_F(KeyDecoderTest, GivesABackspaceForWhatTheBackspaceKeySends) {
  Read("\x7F\b");
  EXPECT_EQ(All(), (Keys{8, 8}));
}

TEST_F(KeyDecoderTest, GivesALoneEscapeAfterFiftyMillisecondsAndOnce) {
  Read("\x1b");
  EXPECT_EQ(Next(), kNoKey);
  Pass(49);
  EXPECT_EQ(Next(), kNoKey);
  Pass(1);
  EXPECT_EQ(Next(), kKeyEscape);
  EXPECT_EQ(AllInTheEnd(), Keys{});
}

TEST_F(KeyDecoderTest, PendingEscapeIsNoKeyYet) {
  Read("\x1b");
  EXPECT_FALSE(decoder_.HasKey());
}

TEST_F(KeyDecoderTest, GivesEscapeBehindTypedKeys) {
  Read("ab\x1b");
  EXPECT_EQ(All(), (Keys{'a', 'b'}));
  Pass(50);
  EXPECT_EQ(All(), Keys{kKeyEscape});
}

struct Sequence {
  const char* name;
  std::string bytes;
};

class KeySequenceTest : public KeyDecoderTest, public testing::WithParamInterface<Sequence> {};

TEST_P(KeySequenceTest, IsOneKeyThatIsNoEscape) {
  Read(GetParam().bytes + "q");
  EXPECT_EQ(AllInTheEnd(), Keys{'q'});
}

TEST_P(KeySequenceTest, IsOneKeyHoweverItsBytesAreSplit) {
  const std::string& bytes = GetParam().bytes;
  for (std::size_t cut = 1; cut < bytes.size(); ++cut) {
    Read(bytes.substr(0, cut));
    EXPECT_EQ(Next(), kNoKey);
    Pass(49);
    EXPECT_EQ(Next(), kNoKey) << "cut after " << cut;
    Read(bytes.substr(cut) + "q");
    EXPECT_EQ(AllInTheEnd(), Keys{'q'}) << "cut after " << cut;
  }
}

TEST_P(KeySequenceTest, IsOneKeyByteByByte) {
  for (const char byte : GetParam().bytes) {
    Read(std::string(1, byte));
    Pass(10);
    EXPECT_EQ(Next(), kNoKey);
  }
  EXPECT_EQ(AllInTheEnd(), Keys{});
}

TEST_P(KeySequenceTest, IsFollowedByALoneEscape) {
  Read(GetParam().bytes + "\x1b");
  EXPECT_EQ(All(), Keys{});
  Pass(50);
  EXPECT_EQ(All(), Keys{kKeyEscape});
}

INSTANTIATE_TEST_SUITE_P(
    Keys, KeySequenceTest,
    testing::Values(Sequence{"Up", "\x1b[A"}, Sequence{"Home", "\x1b[1~"},
                    Sequence{"F5", "\x1b[15~"}, Sequence{"ControlRight", "\x1b[1;5C"},
                    Sequence{"ConsoleF1", "\x1b[[A"}, Sequence{"ApplicationUp", "\x1bOA"},
                    Sequence{"F1", "\x1bOP"}, Sequence{"ShiftF1", "\x1bO2P"},
                    Sequence{"Private", "\x1b[?62;1c"}, Sequence{"Intermediate", "\x1b[0 q"},
                    Sequence{"AltX", "\x1bx"}, Sequence{"AltUmlaut", "\x1b\xfc"},
                    Sequence{"AltEnter", "\x1b\r"}),
    [](const auto& row) { return row.param.name; });

TEST_F(KeyDecoderTest, EscapeTwiceCountsOnce) {
  Read("\x1b\x1b");
  EXPECT_EQ(All(), Keys{});
  Pass(50);
  EXPECT_EQ(All(), Keys{kKeyEscape});
}

TEST_F(KeyDecoderTest, SecondEscapeBeginsTheDelayAnew) {
  Read("\x1b");
  Pass(40);
  Read("\x1b");
  Pass(49);
  EXPECT_EQ(Next(), kNoKey);
  Pass(1);
  EXPECT_EQ(All(), Keys{kKeyEscape});
}

TEST_F(KeyDecoderTest, AltWithAnArrowIsOneKey) {
  Read("\x1b\x1b[Aq");
  EXPECT_EQ(AllInTheEnd(), Keys{'q'});
}

TEST_F(KeyDecoderTest, EscapeThatNobodyLookedAtCountsBeforeALaterKey) {
  Read("\x1b");
  Pass(50);
  Read("x");
  EXPECT_EQ(All(), (Keys{kKeyEscape, 'x'}));
}

TEST_F(KeyDecoderTest, EscapeThatNobodyLookedAtCountsBeforeALaterEscape) {
  Read("\x1b");
  Pass(50);
  Read("\x1b");
  EXPECT_EQ(All(), Keys{kKeyEscape});
  Pass(50);
  EXPECT_EQ(All(), Keys{kKeyEscape});
}

TEST_F(KeyDecoderTest, RestOfASequenceIsNoEscapeHoweverLateItIsRead) {
  Read("\x1b");
  Pass(250);
  Read("[A");
  EXPECT_EQ(AllInTheEnd(), Keys{});
  Read("\x1b");
  Pass(250);
  Read("OP");
  EXPECT_EQ(AllInTheEnd(), Keys{});
}

TEST_F(KeyDecoderTest, UnfinishedSequenceWaitsForItsFinalByteWithoutEnd) {
  Read("\x1b[1;");
  EXPECT_EQ(AllInTheEnd(), Keys{});
  Read("5Cq");
  EXPECT_EQ(AllInTheEnd(), Keys{'q'});
}

TEST_F(KeyDecoderTest, EscapeInsideASequenceEndsIt) {
  Read("\x1b[1;\x1b");
  Pass(50);
  EXPECT_EQ(All(), Keys{kKeyEscape});
  Read("\x1bO\x1b[Aq");
  EXPECT_EQ(AllInTheEnd(), Keys{'q'});
}

TEST_F(KeyDecoderTest, ControlOrHighByteInsideASequenceEndsItAndCounts) {
  Read("\x1b[1\rq");
  EXPECT_EQ(AllInTheEnd(), (Keys{'\r', 'q'}));
  Read("\x1b[\xc3q");
  EXPECT_EQ(AllInTheEnd(), (Keys{0xc3, 'q'}));
  Read("\x1bO\x7fq");
  EXPECT_EQ(AllInTheEnd(), (Keys{8, 'q'}));
  Read("\x1b[[1q");
  EXPECT_EQ(AllInTheEnd(), (Keys{'1', 'q'}));
}

TEST_F(KeyDecoderTest, LongGarbageInASequenceIsSkippedToItsFinalByte) {
  Read("\x1b[");
  for (int i = 0; i < 100000; ++i) Read("0;? ");
  EXPECT_FALSE(decoder_.HasKey());
  Read("mq");
  EXPECT_EQ(AllInTheEnd(), Keys{'q'});
}

TEST_F(KeyDecoderTest, EveryPairOfBytesAfterEscapeLeavesTheDecoderUsable) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      decoder_ = KeyDecoder();
      Read({'\x1b', static_cast<char>(first), static_cast<char>(second)});
      const Keys keys = AllInTheEnd();
      EXPECT_LE(keys.size(), 2U);
      // A final byte for what is open, then a key that must come through.
      Read("~~q");
      ASSERT_EQ(AllInTheEnd().back(), 'q') << first << " " << second;
    }
  }
}

}  // namespace
}  // namespace tarvex
