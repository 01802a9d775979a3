#include "service/remote/words.h"

#include <gtest/gtest.h>

#include <cstring>

namespace orvan::remote {
namespace {

using Kind = Outcome::Kind;
constexpr std::uint64_t kMebibyte = 1U << 20;

Outcome OfMemory(std::uint64_t resident, std::uint64_t limit) {
  Outcome outcome{Kind::kEnded};
  outcome.memory = protocol::OutOfMemory{resident * kMebibyte, limit * kMebibyte};
  return outcome;
}

TEST(Words, OneThatIsAtItsLimitHasAskedForMore) {
  EXPECT_EQ(WhatBecame(OfMemory(529, 528)), "took 529 MiB of memory, with a limit of 528 MiB");
  EXPECT_EQ(WhatBecame(OfMemory(528, 528)),
            "asked for more memory than its limit of 528 MiB, with 528 MiB in use");
}

TEST(Words, ABacktraceNamesWhatItCan) {
  Outcome outcome{Kind::kEnded};
  outcome.end = {0, 11};
  outcome.crash = protocol::Crashed{11, 0, 2, {}};
  std::memcpy(outcome.crash->frames[0].library.data(), "a.so", 4);
  outcome.crash->frames[0].offset = 0x1f;
  outcome.crash->frames[1].offset = 0x20;
  const std::string signal = "was ended by signal 11 (SIGSEGV)";
  EXPECT_EQ(WhatBecame(outcome), signal);
  EXPECT_EQ(WhatBecameInFull(outcome), signal + "; backtrace: a.so+0x1f < ?+0x20");
  outcome.crash->address = 0x10;
  // A count from a process that has lost its mind.
  outcome.crash->count = UINT32_MAX;
  EXPECT_EQ(WhatBecameInFull(outcome).find(signal + " at address 0x10; backtrace: a.so+0x1f"), 0U);
}

TEST(Words, ATextAsAKeyIsShownAsItIs) {
  EXPECT_EQ(KeyOfText("It took 1 MiB"), "|IT_TOOK_1_|MI|B");
  EXPECT_EQ(KeyOfText("a_b|c"), "A-B-C");
}

}  // namespace
}  // namespace orvan::remote
