#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include "service/sdk/read_errors.h"
#include "tests/support/captured_files.h"
#include "tests/support/faulty_machine.h"
#include "tests/support/recording_test_support.h"

// What every machine does alike, whether it is recorded, a recording, or one in memory that fails
// on purpose.
namespace orvan {

using machine::KeptMachine;
using recording::TestTape;
using sdk::testing::FaultyMachine;
using sdk::testing::MediumFaults;
using sdk::testing::MemoryDisk;

inline constexpr sdk::BlockGeometry kGeometry{64U << 10, 512, 4096};
inline constexpr std::uint64_t kNumber = sdk::DeviceNumber(8, 0);
inline constexpr std::uint64_t kSequence = 5;
inline constexpr char kFiles[] =
    "f /sys/block/sda/size 128\\x0a\n"
    "f /sys/block/sda/empty \n"
    "l /sys/class/block/sda ../../block/sda\n"
    "e /sys/block/sda/serial 5\n"
    "b /sys/class/block/sdb 13\n";

inline std::unique_ptr<FaultyMachine> MakeFaulty(MediumFaults faults = {}) {
  auto machine =
      std::make_unique<FaultyMachine>(std::make_unique<sdk::testing::CapturedFiles>(kFiles));
  machine->disks["/dev/sda"].medium = std::make_shared<MemoryDisk>(kGeometry, std::move(faults));
  machine->disks["/dev/sda"].diskSequence = kSequence;
  return machine;
}

enum class Kind { kFaulty, kRecording, kReplay };

// What a case does with a machine, and what it saw.
using Case = void (*)(KeptMachine& machine, std::ostream& seen);

// Runs a case on a machine of each kind made from the same one in memory, and gives what each saw.
inline std::string SeenBy(Kind kind, Case run,
                          const std::function<std::unique_ptr<FaultyMachine>()>& make) {
  std::ostringstream seen;
  if (kind == Kind::kFaulty) {
    run(*make(), seen);
    return seen.str();
  }
  const TestTape tape;
  run(*tape.Record(make()), seen);
  if (kind == Kind::kRecording) return seen.str();
  seen.str("");
  run(*tape.Replay(), seen);
  return seen.str();
}

inline void ExpectOfAll(
    Case run, const std::string& expected,
    const std::function<std::unique_ptr<FaultyMachine>()>& make = [] { return MakeFaulty(); }) {
  EXPECT_EQ(SeenBy(Kind::kFaulty, run, make), expected) << "in memory";
  EXPECT_EQ(SeenBy(Kind::kRecording, run, make), expected) << "recording";
  EXPECT_EQ(SeenBy(Kind::kReplay, run, make), expected) << "replay";
}

template <typename Enum>
int NumberOf(Enum value) {
  return static_cast<int>(value);
}

}  // namespace orvan
