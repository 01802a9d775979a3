#include "tests/contract/machine_contract_support.h"

namespace orvan {
namespace {

void SeeFiles(KeptMachine& machine, std::ostream& seen) {
  const sdk::MachineFiles& files = machine.Files();
  int error = 0;
  for (const char* path : {"/sys/block/sda/size", "/sys/class/block/sda/size",
                           "/sys/block/sda/empty", "/sys/block/sda/serial", "/none"}) {
    const auto bytes = files.ReadBytes(path, 2, &error);
    seen << path << ": " << bytes.value_or("none") << ' ' << error << '\n';
  }
  for (const std::uint64_t offset : {0U, 1U, 2U, 9U}) {
    seen << files.ReadAt("/sys/block/sda/size", offset, 2, &error).value_or("none") << '|';
  }
  seen << files.ReadAt("/sys/block/sda/serial", 1, 2, &error).value_or("none") << ' ' << error
       << '\n';
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
              "12|28|8\n||none 5\n"
              "../../block/sda none\n"
              "empty serial size 10\n"
              "/sys/block/sda 13\n");
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
  const auto probe = machine.MakeProbe(std::chrono::milliseconds(3000));
  const std::pair<const char*, const char*> kAsked[] = {{"/dev/sda1", ""}, {"/dev/sda1", "/home"},
                                                        {"/dev/sdb", ""},  {"/dev/sdc", ""},
                                                        {"/dev/sdc", ""},  {"/dev/sda1", ""}};
  for (const auto& [device, mountPoint] : kAsked) {
    const auto facts = probe->Probe(device, mountPoint, std::chrono::milliseconds(2000), {});
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
  SeeFileSystems(*machine, seen);
  EXPECT_EQ(seen.str(),
            "/sys/block/sda/size: none 42\n/sys/class/block/sda/size: none 42\n"
            "/sys/block/sda/empty: none 42\n/sys/block/sda/serial: none 42\n/none: none 42\n"
            "none|none|none|none|none 42\n"
            "none none\n00\n 42\n"
            "none\nnone\nnone\nnone\nnone\nnone\n");
  sdk::DriveCommand command;
  command.device = "/dev/sda";
  command.command = sdk::ScsiCommand{{0x12, 0, 0, 0, 36, 0}};  // INQUIRY, which needs no grant
  command.direction = sdk::DataDirection::kFromDevice;
  command.bytesIn = 36;
  EXPECT_EQ(machine->Send(command, {}).outcome, sdk::CommandAnswer::Outcome::kNotTried);
  EXPECT_EQ(machine->Send(command, {}).error, sdk::kNotRecorded);
  EXPECT_EQ(machine->LockMemory(4096).error, sdk::kNotRecorded);
  EXPECT_EQ(machine->PinThisThread(0), sdk::kNotRecorded);
  EXPECT_NE(machine->Chance(), machine->Chance());
}

}  // namespace
}  // namespace orvan
