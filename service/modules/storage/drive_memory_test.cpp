#include "service/modules/storage/drive_memory.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "tests/support/memory_state.h"

namespace orvan::storage {
namespace {

using Numbers = DriveMemory::Numbers;

Disk DiskOf(const std::string& serial, bool isUnique = true) {
  DiskFacts facts;
  facts.busPath = "pci-0000:00:1f.2/ata-1";
  facts.serial = serial;
  return {"0", facts, isUnique};
}

TEST(DriveMemory, GivesBackWhatItKept) {
  sdk::testing::MemoryState state;
  DriveMemory memory(state, DiskOf("SN 1/\n"), "errors");
  EXPECT_FALSE(memory.Read().numbers);
  EXPECT_EQ(memory.Read().trouble, "");
  const Numbers numbers = {{"count", 3}, {"newest", ~std::uint64_t{0}}};
  EXPECT_EQ(memory.Keep(numbers), "");
  EXPECT_EQ(DriveMemory(state, DiskOf("SN 1/\n"), "errors").Read().numbers, numbers);
  EXPECT_EQ(memory.Keep({}), "");
  EXPECT_EQ(memory.Read().numbers, Numbers());
}

TEST(DriveMemory, KeepsDrivesAndTestsApart) {
  sdk::testing::MemoryState state;
  DriveMemory(state, DiskOf("SN1"), "errors").Keep({{"count", 3}});
  EXPECT_FALSE(DriveMemory(state, DiskOf("SN2"), "errors").Read().numbers);
  EXPECT_FALSE(DriveMemory(state, DiskOf("SN1"), "status").Read().numbers);
  EXPECT_FALSE(DriveMemory(state, DiskOf("SN1", false), "errors").Read().numbers);
}

TEST(DriveMemory, KeepsNothingOfADriveThatNothingTellsFromOthers) {
  sdk::testing::MemoryState state;
  DriveMemory memory(state, DiskOf(""), "errors");
  const std::string why =
      "the drive has neither a world-wide name nor a serial number by which it would be known "
      "again";
  EXPECT_EQ(memory.Keep({{"count", 3}}), why);
  EXPECT_FALSE(memory.Read().numbers);
  EXPECT_EQ(memory.Read().trouble, why);
  EXPECT_TRUE(state.files.empty());
}

TEST(DriveMemory, TrustsNoDamagedFile) {
  sdk::testing::MemoryState state;
  DriveMemory memory(state, DiskOf("SN1"), "errors");
  memory.Keep({{"count", 3}});
  ASSERT_EQ(state.files.size(), 1U);
  const std::string name = state.files.begin()->first;
  const std::string good = state.files.begin()->second;
  EXPECT_EQ(name, "errors-SN1");
  for (std::size_t size = 0; size < good.size(); ++size) {
    state.files[name] = good.substr(0, size);
    EXPECT_FALSE(memory.Read().numbers) << size;
    EXPECT_EQ(memory.Read().trouble, "what was kept of the last run is damaged") << size;
  }
  for (std::size_t at = 0; at < good.size(); ++at) {
    state.files[name] = good;
    state.files[name][at] ^= 1;
    EXPECT_FALSE(memory.Read().numbers) << at;
    EXPECT_NE(memory.Read().trouble, "") << at;
  }
  state.files[name] = "of a stranger\n";
  EXPECT_EQ(memory.Read().trouble, "what was kept of the last run is damaged");
}

TEST(DriveMemory, MakesAFileNameOfAnyIdentity) {
  sdk::testing::MemoryState state;
  for (const std::string& serial : {std::string("a/b c\xE4.\n"), std::string(500, 'x')}) {
    DriveMemory memory(state, DiskOf(serial), "errors");
    EXPECT_EQ(memory.Keep({{"count", 3}}), "") << serial;
    EXPECT_EQ(memory.Read().numbers, (Numbers{{"count", 3}})) << serial;
  }
  EXPECT_TRUE(state.files.contains("errors-a-b-c-.-"));
  EXPECT_TRUE(state.files.contains("errors-" + std::string(114, 'x')));
}

TEST(DriveMemory, SaysWhatKeepsItFromReadingAndKeeping) {
  sdk::testing::MemoryState state;
  DriveMemory memory(state, DiskOf("SN1"), "errors");
  memory.Keep({{"count", 3}});
  state.errors[state.files.begin()->first] = EIO;
  EXPECT_FALSE(memory.Read().numbers);
  EXPECT_EQ(memory.Read().trouble,
            "what was kept of the last run cannot be read, error 5 (input/output error)");
  EXPECT_EQ(memory.Keep({}),
            "what was found cannot be kept for the next run, error 5 (input/output error)");
}

}  // namespace
}  // namespace orvan::storage
