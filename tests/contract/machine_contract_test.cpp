#include <gtest/gtest.h>

#include <cerrno>
#include <sstream>

#include "service/sdk/read_errors.h"
#include "tests/support/captured_files.h"
#include "tests/support/faulty_machine.h"
#include "tests/support/recording_test_support.h"

// What every machine does alike, whether it is recorded, a recording, or one in memory that fails
// on purpose.
namespace orvan {
namespace {

using machine::KeptMachine;
using recording::TestTape;
using sdk::testing::FaultyMachine;
using sdk::testing::MediumFaults;
using sdk::testing::MemoryDisk;

constexpr sdk::BlockGeometry kGeometry{64U << 10, 512, 4096};
constexpr std::uint64_t kNumber = sdk::DeviceNumber(8, 0);
constexpr std::uint64_t kSequence = 5;
constexpr char kFiles[] =
    "f /sys/block/sda/size 128\\x0a\n"
    "f /sys/block/sda/empty \n"
    "l /sys/class/block/sda ../../block/sda\n"
    "e /sys/block/sda/serial 5\n"
    "b /sys/class/block/sdb 13\n";

std::unique_ptr<FaultyMachine> MakeFaulty(MediumFaults faults = {}) {
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
std::string SeenBy(Kind kind, Case run,
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

void ExpectOfAll(
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

void SeeFiles(KeptMachine& machine, std::ostream& seen) {
  const sdk::MachineFiles& files = machine.Files();
  int error = 0;
  for (const char* path : {"/sys/block/sda/size", "/sys/class/block/sda/size",
                           "/sys/block/sda/empty", "/sys/block/sda/serial", "/none"}) {
    const auto bytes = files.ReadBytes(path, 2, &error);
    seen << path << ": " << bytes.value_or("none") << ' ' << error << '\n';
  }
  seen << files.ReadLink("/sys/class/block/sda").value_or("none") << ' ';
  seen << files.ReadLink("/sys/block/sda").value_or("none") << '\n';
  for (const std::string& name : files.List("/sys/block/sda")) seen << name << ' ';
  seen << files.Exists("/sys/block/sda") << files.Exists("/none") << '\n';
  files.ReadLink("/sys/class/block/sdb", &error);
  seen << files.Resolve("/sys/class/block/sda") << ' ' << error << '\n';
}

TEST(MachineContractTest, FilesAreReadWithTheirErrors) {
  ExpectOfAll(SeeFiles,
              "/sys/block/sda/size: 12 0\n"
              "/sys/class/block/sda/size: 12 0\n"
              "/sys/block/sda/empty:  0\n"
              "/sys/block/sda/serial: none 5\n"
              "/none: none 0\n"
              "../../block/sda none\n"
              "empty serial size 10\n"
              "/sys/block/sda 13\n");
}

// Reads the disk in blocks of 4 KiB and tells each answer by its id.
void SeeReads(KeptMachine& machine, std::ostream& seen) {
  sdk::BlockReaderOptions options;
  options.device = "/dev/sda";
  options.expectedDevice = kNumber;
  options.diskSequence = kSequence;
  options.depth = 4;
  const sdk::OpenedReader opened = machine.OpenReader(options, {});
  seen << NumberOf(opened.failure) << ' ' << opened.error << '\n';
  if (!opened.reader) return;
  seen << opened.reader->Geometry().sizeBytes << ' ' << opened.reader->Capacity() << '\n';
  std::uint64_t next = 0;
  std::size_t outstanding = 0;
  for (int call = 0; call < 100 && (next < 16 || outstanding > 0); ++call) {
    std::vector<sdk::BlockRead> reads;
    for (; next < 16 && outstanding < opened.reader->Capacity(); ++next, ++outstanding) {
      reads.push_back({next, next * 4096, 4096, 0});
    }
    opened.reader->Submit(reads);
    std::vector<sdk::BlockReadResult> results;
    const auto state = opened.reader->Collect(results, std::chrono::milliseconds(100));
    for (const auto& result : results) {
      seen << result.id << ':' << NumberOf(result.outcome) << '/' << result.error << ' ';
    }
    outstanding -= results.size();
    if (state == sdk::ReaderState::kWorking) continue;
    seen << "state " << NumberOf(state);
    break;
  }
  seen << '\n';
}

TEST(MachineContractTest, ReadsEndAsTheDiskSays) {
  ExpectOfAll(
      SeeReads,
      "0 0\n65536 8\n"
      "0:0/0 1:1/61 2:0/0 3:0/0 4:0/0 5:0/0 6:0/0 7:0/0 8:0/0 9:0/0 10:1/5 11:0/0 12:0/0 13:0/0 "
      "14:0/0 15:0/0 \n",
      [] {
        return MakeFaulty({.badSectors = {{9, ENODATA}, {87, EIO}}});
      });
}

TEST(MachineContractTest, AReadThatHangsIsAnsweredInItsTime) {
  ExpectOfAll(SeeReads,
              "0 0\n65536 8\n"
              "0:0/0 1:0/0 3:0/0 4:0/0 5:0/0 6:0/0 7:0/0 8:0/0 9:0/0 10:0/0 11:0/0 12:0/0 13:0/0 "
              "14:0/0 15:0/0 2:2/110 \n",
              [] {
                auto machine = MakeFaulty();
                machine->disks["/dev/sda"].reads.hangingSectors = {16};
                return machine;
              });
}

TEST(MachineContractTest, ADiskVanishesInTheMiddle) {
  ExpectOfAll(SeeReads,
              "0 0\n65536 8\n"
              "0:0/0 1:0/0 2:1/19 3:1/19 4:1/19 5:1/19 6:1/19 7:1/19 8:1/19 9:1/19 10:1/19 11:1/19 "
              "12:1/19 13:1/19 14:1/19 15:1/19 \n",
              [] { return MakeFaulty({.vanishAfter = 16}); });
}

TEST(MachineContractTest, EachEndOfAReaderIsTold) {
  for (const auto state :
       {sdk::ReaderState::kHung, sdk::ReaderState::kStalled, sdk::ReaderState::kLost}) {
    ExpectOfAll(SeeReads,
                "0 0\n65536 8\n0:0/0 1:0/0 state " + std::to_string(NumberOf(state)) + '\n',
                [state] {
                  auto machine = MakeFaulty();
                  machine->disks["/dev/sda"].reads.loseAfterReads = 2;
                  machine->disks["/dev/sda"].reads.lostAs = state;
                  return machine;
                });
  }
}

TEST(MachineContractTest, EachFailureOfAnOpeningIsTold) {
  for (int failure = 1; failure <= NumberOf(sdk::OpenFailure::kStopped); ++failure) {
    ExpectOfAll(SeeReads, std::to_string(failure) + " 7\n", [failure] {
      auto machine = MakeFaulty();
      machine->disks["/dev/sda"].openFailure = static_cast<sdk::OpenFailure>(failure);
      machine->disks["/dev/sda"].openError = 7;
      return machine;
    });
  }
}

void SeeWrites(KeptMachine& machine, std::ostream& seen) {
  const sdk::BlockWriterOptions options{"/dev/sda", kNumber, kSequence};
  seen << NumberOf(machine.OpenWriter(options, {}).refusal) << ' ';
  machine.GrantWriting(true);
  const sdk::OpenedWriter opened = machine.OpenWriter(options, {});
  seen << NumberOf(opened.refusal) << ' ' << opened.error << ' ' << opened.user << '\n';
  if (!opened.writer) return;
  seen << opened.writer->Geometry().sizeBytes << '\n';
  std::vector<std::byte> bytes(512, std::byte{7});
  std::vector<std::byte> back(512);
  const auto tell = [&seen](const sdk::TransferResult& result) {
    seen << NumberOf(result.outcome) << '/' << result.error << ' ';
  };
  for (const std::uint64_t offset : {0U, 512U, 1024U}) {
    tell(opened.writer->Read(offset, back));
    tell(opened.writer->Write(offset, bytes));
    tell(opened.writer->Read(offset, back));
    seen << (back == bytes) << ' ';
  }
  tell(opened.writer->Flush());
  tell(opened.writer->Write(1, bytes));
  machine.GrantWriting(false);
  tell(opened.writer->Write(0, bytes));
  machine.GrantWriting(true);
  tell(opened.writer->Read(0, back));
  machine.GrantWriting(false);
  seen << NumberOf(machine.OpenWriter(options, {}).refusal) << '\n';
}

TEST(MachineContractTest, WritesAreReadAgainWhereTheRowSaysThatItWrites) {
  ExpectOfAll(SeeWrites,
              "1 0 0 \n65536\n"
              "0/0 0/0 0/0 1 0/0 0/0 0/0 1 0/0 0/0 0/0 1 0/0 3/22 3/1 3/1 1\n");
}

TEST(MachineContractTest, AnotherMediumUnderTheSameNumberIsNotOpened) {
  const auto make = [] {
    auto machine = MakeFaulty();
    machine->disks["/dev/sda"].diskSequence = kSequence + 1;
    return machine;
  };
  ExpectOfAll(SeeReads, "2 19\n", make);
  ExpectOfAll(SeeWrites, "1 6 19 \n", make);
}

TEST(MachineContractTest, AWriteHealsFailsOrHangs) {
  ExpectOfAll(SeeWrites,
              "1 0 0 \n65536\n"
              "1/5 0/0 0/0 1 0/0 1/28 0/0 0 0/0 2/0 3/108 0 3/108 3/108 3/1 3/1 1\n",
              [] {
                return MakeFaulty({.badSectors = {{0, EIO}},
                                   .healsOnWrite = true,
                                   .failingWrites = {{1, ENOSPC}},
                                   .hangingWrites = {2}});
              });
}

TEST(MachineContractTest, EachRefusalToWriteIsTold) {
  for (int refusal = 1; refusal <= NumberOf(sdk::WriteRefusal::kStopped); ++refusal) {
    ExpectOfAll(SeeWrites, "1 " + std::to_string(refusal) + " 7 /home\n", [refusal] {
      auto machine = MakeFaulty();
      sdk::testing::FaultyDisk& disk = machine->disks["/dev/sda"];
      disk.refusal = static_cast<sdk::WriteRefusal>(refusal);
      disk.refusalError = 7;
      disk.user = "/home";
      return machine;
    });
  }
}

void SeeParts(KeptMachine& machine, std::ostream& seen) {
  machine.GrantWriting(true);
  const sdk::OpenedWriter opened = machine.OpenWriter({"/dev/sda", kNumber, kSequence}, {});
  std::vector<std::byte> bytes(8192), back(4096);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::byte>(i / 100);
  opened.writer->Write(0, bytes);
  const auto tell = [&](std::uint64_t offset) {
    opened.writer->Read(offset, back);
    const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
    seen << std::equal(back.begin(), back.end(), at) << ' ';
  };
  for (const std::uint64_t offset : {0U, 4096U, 2048U}) tell(offset);
  // Two writes side by side, of which one lies over the first.
  std::reverse(bytes.begin() + 2048, bytes.begin() + 4096);
  opened.writer->Write(2048, std::span(bytes).subspan(2048, 1024));
  opened.writer->Write(3072, std::span(bytes).subspan(3072, 1024));
  for (const std::uint64_t offset : {0U, 2048U}) tell(offset);
}

TEST(MachineContractTest, WhatWasWrittenIsReadAgainInOtherParts) {
  ExpectOfAll(SeeParts, "1 1 1 1 1 ");
}

void SeeCommands(KeptMachine& machine, std::ostream& seen) {
  sdk::DriveCommand command;
  command.device = "/dev/sda";
  command.expectedDevice = kNumber;
  // SMART READ DATA.
  command.command =
      sdk::AtaCommand{sdk::AtaCommand::Protocol::kPioIn, false, 0xD0, 1, 0xC24F00, 0, 0xB0, false};
  command.direction = sdk::DataDirection::kFromDevice;
  command.bytesIn = 4;
  for (int i = 0; i < 3; ++i) {
    const sdk::CommandAnswer answer = machine.Send(command, {});
    seen << NumberOf(answer.outcome) << '/' << answer.error << ' ' << int{answer.scsiStatus} << ' '
         << answer.sense.size() << ' ' << answer.hasRegisters << ' ' << int{answer.registers.status}
         << ' ' << answer.nvmeStatus << ' ';
    for (const std::uint8_t byte : answer.data) seen << int{byte} << ',';
    seen << '\n';
  }
  command.direction = sdk::DataDirection::kToDevice;
  command.bytesIn = 0;
  command.dataOut = {1, 2};
  command.command = sdk::ScsiCommand{{0x2A, 0, 0, 0, 0, 0, 0, 0, 1, 0}};
  seen << NumberOf(machine.Send(command, {}).outcome) << '\n';
}

TEST(MachineContractTest, CommandsAreAnsweredInTheirOrder) {
  ExpectOfAll(SeeCommands,
              "0/0 2 3 1 81 0 1,2,3,4,\n"
              "3/0 0 0 0 0 0 \n"
              "2/25 0 0 0 0 0 \n"
              "1\n",
              [] {
                auto machine = MakeFaulty();
                sdk::CommandAnswer answered;
                answered.outcome = sdk::CommandAnswer::Outcome::kAnswered;
                answered.scsiStatus = 2;
                answered.sense = {0x72, 1, 0};
                answered.hasRegisters = true;
                answered.registers.status = 0x51;
                answered.data = {1, 2, 3, 4};
                sdk::CommandAnswer timedOut;
                timedOut.outcome = sdk::CommandAnswer::Outcome::kTimedOut;
                machine->commands = {{{}, answered, 1, {}}, {{}, timedOut, 1, {}}};
                return machine;
              });
}

TEST(MachineContractTest, EachOutcomeOfACommandIsTold) {
  for (int outcome = 0; outcome <= NumberOf(sdk::CommandAnswer::Outcome::kNotTried); ++outcome) {
    const std::string line = std::to_string(outcome) + "/7 0 0 0 0 0 \n";
    ExpectOfAll(SeeCommands, line + line + line + "1\n", [outcome] {
      auto machine = MakeFaulty();
      sdk::CommandAnswer answer;
      answer.outcome = static_cast<sdk::CommandAnswer::Outcome>(outcome);
      answer.error = 7;
      machine->commands = {{{}, answer, -1, {}}};
      return machine;
    });
  }
}

void SeeFileSystems(KeptMachine& machine, std::ostream& seen) {
  const auto probe =
      machine.MakeProbe(std::chrono::milliseconds(2000), std::chrono::milliseconds(3000));
  const std::pair<const char*, const char*> kAsked[] = {{"/dev/sda1", ""}, {"/dev/sda1", "/home"},
                                                        {"/dev/sdb", ""},  {"/dev/sdc", ""},
                                                        {"/dev/sdc", ""},  {"/dev/sda1", ""}};
  for (const auto& [device, mountPoint] : kAsked) {
    const auto facts = probe->Probe(device, mountPoint, {});
    if (!facts) {
      seen << "none\n";
      continue;
    }
    seen << facts->tableType << ' ' << facts->fileSystem << ' ' << facts->label;
    if (facts->use) seen << ' ' << facts->use->usedBytes << ' ' << facts->use->freeBytes;
    seen << '\n';
  }
}

TEST(MachineContractTest, FileSystemsAreTold) {
  ExpectOfAll(SeeFileSystems,
              " ext4 a label\n"
              " ext4 a label 1 2\n"
              "  \n"
              "none\n"
              "none\n"
              "none\n",
              [] {
                auto machine = MakeFaulty();
                machine->fileSystems["/dev/sda1"] = {"", "ext4", "a label", {}};
                machine->fileSystems["/home"] = {"", "", "", {{1, 2}}};
                machine->hangingFileSystems = {"/dev/sdc"};
                return machine;
              });
}

void SeeState(KeptMachine& machine, std::ostream& seen) {
  sdk::ModuleState& state = machine.State();
  int error = 0;
  const auto tell = [&](const char* name) {
    seen << state.Read(name, error).value_or("none") << ' ' << error << ' ';
  };
  tell("before");
  tell("a");
  seen << state.Replace("a", "one") << ' ';
  tell("a");
  seen << state.Append("a", " two") << ' ';
  tell("a");
  for (const std::string& name : state.List(error)) seen << name << ' ';
  seen << state.Remove("a") << ' ';
  tell("a");
  seen << state.Replace(".a", "x") << ' ' << state.Replace("full", "x") << '\n';
}

TEST(MachineContractTest, StateStays) {
  ExpectOfAll(SeeState,
              "left by an earlier run 0 none 0 0 one 0 0 one two 0 a before 0 none 0 22 28\n", [] {
                auto machine = MakeFaulty();
                machine->state.files["before"] = "left by an earlier run";
                machine->state.errors["full"] = ENOSPC;
                return machine;
              });
}

void SeeTheRest(KeptMachine& machine, std::ostream& seen) {
  const std::uint64_t first = machine.Chance();
  const std::uint64_t second = machine.Chance();
  seen << (first != second) << ' ' << first << '\n';
  seen << machine.PinThisThread(0) << ' ' << machine.PinThisThread(9) << '\n';
  seen << machine.LockMemory(std::size_t{1} << 40).error << ' ' << machine.LeftBehind() << '\n';
  const auto before = machine.Now();
  seen << (machine.Now() >= before) << '\n';
}

TEST(MachineContractTest, ChanceProcessorsAndClock) {
  ExpectOfAll(SeeTheRest, "1 77\n0 22\n12 3\n1\n", [] {
    auto machine = MakeFaulty();
    machine->chance = 77;
    machine->leftBehind = 3;
    return machine;
  });
}

void SeeMemory(KeptMachine& machine, std::ostream& seen) {
  const auto locked = machine.LockMemory(4096);
  seen << locked.error << ' ';
  if (!locked.memory) return;
  locked.memory->Bytes()[4095] = std::byte{1};
  seen << locked.memory->Bytes().size() << ' ' << locked.memory->PhysicalAddress(0).value_or(0)
       << ' ' << locked.memory->PhysicalAddress(1).has_value();
}

// A test of it would test the machine that replays.
TEST(MachineContractTest, NoReplayHasMemory) {
  const auto make = [] {
    auto machine = MakeFaulty();
    machine->physicalAddresses = {{0, 65536}};
    return machine;
  };
  EXPECT_EQ(SeenBy(Kind::kFaulty, SeeMemory, make), "0 4096 65536 0");
  EXPECT_EQ(SeenBy(Kind::kRecording, SeeMemory, make), "0 4096 65536 0");
  EXPECT_EQ(SeenBy(Kind::kReplay, SeeMemory, make), std::to_string(sdk::kNotRecorded) + ' ');
}

// Of what was never recorded no verdict may come.
TEST(MachineContractTest, WhatWasNeverRecordedIsNotThereOrNotTried) {
  const auto machine = TestTape::ReplayOf(std::string(recording::kFirstLine));
  std::ostringstream seen;
  SeeFiles(*machine, seen);
  SeeReads(*machine, seen);
  SeeWrites(*machine, seen);
  SeeFileSystems(*machine, seen);
  EXPECT_EQ(seen.str(),
            "/sys/block/sda/size: none 42\n/sys/class/block/sda/size: none 42\n"
            "/sys/block/sda/empty: none 42\n/sys/block/sda/serial: none 42\n/none: none 42\n"
            "none none\n00\n 42\n"
            "1 42\n"
            "1 9 42 \n"
            "none\nnone\nnone\nnone\nnone\nnone\n");
  sdk::DriveCommand command;
  command.device = "/dev/sda";
  EXPECT_EQ(machine->Send(command, {}).outcome, sdk::CommandAnswer::Outcome::kNotTried);
  EXPECT_EQ(machine->Send(command, {}).error, sdk::kNotRecorded);
  EXPECT_EQ(machine->LockMemory(4096).error, sdk::kNotRecorded);
  EXPECT_EQ(machine->PinThisThread(0), sdk::kNotRecorded);
  EXPECT_NE(machine->Chance(), machine->Chance());
}

}  // namespace
}  // namespace orvan
