#pragma once

#include <cerrno>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "service/modules/storage/drive/drive_link.h"
#include "tests/support/captured_files.h"
#include "tests/support/faulty_machine.h"

// What the unit tests of commands to drives share.
namespace orvan::storage {

using Kind = DriveAnswer::Kind;
using Outcome = sdk::CommandAnswer::Outcome;
using RawBytes = std::vector<std::uint8_t>;

inline sdk::CommandAnswer OutcomeOf(Outcome outcome, int error = 0) {
  sdk::CommandAnswer answer;
  answer.outcome = outcome;
  answer.error = error;
  return answer;
}

inline sdk::CommandAnswer Good(RawBytes data = {}) {
  sdk::CommandAnswer answer = OutcomeOf(Outcome::kAnswered);
  answer.data = std::move(data);
  return answer;
}

// CHECK CONDITION, with sense data in fixed format.
inline sdk::CommandAnswer Condition(std::uint8_t key, std::uint8_t code, std::uint8_t qualifier) {
  sdk::CommandAnswer answer = Good();
  answer.scsiStatus = 0x02;
  answer.sense = {0x70, 0, key, 0, 0, 0, 0, 10, 0, 0, 0, 0, code, qualifier, 0, 0, 0, 0};
  return answer;
}

inline sdk::CommandAnswer ConditionWithoutSense() {
  sdk::CommandAnswer answer = Good();
  answer.scsiStatus = 0x02;
  return answer;
}

// The registers come as RECOVERED ERROR, ATA PASS THROUGH INFORMATION AVAILABLE.
inline sdk::CommandAnswer WithRegisters(std::uint8_t status, std::uint8_t error, std::uint64_t lba,
                                        RawBytes data = {}) {
  sdk::CommandAnswer answer = Condition(0x01, 0x00, 0x1D);
  answer.hasRegisters = true;
  answer.registers.status = status;
  answer.registers.error = error;
  answer.registers.lba = lba;
  answer.data = std::move(data);
  return answer;
}

inline sdk::CommandAnswer Completion(std::uint16_t status, RawBytes data = {}) {
  sdk::CommandAnswer answer = Good(std::move(data));
  answer.nvmeStatus = status;
  return answer;
}

// IDENTIFY DEVICE of a drive "MD" with serial number "SN", and a checksum.
inline RawBytes IdentityOfDrive() {
  RawBytes data(512, 0);
  data[0] = 0x40;  // word 0: an ATA device, not removable
  const auto put = [&data](std::size_t word, std::size_t words, char first, char second) {
    for (std::size_t i = 0; i < 2 * words; ++i) data[2 * word + i] = ' ';
    data[2 * word + 1] = static_cast<std::uint8_t>(first);
    data[2 * word] = static_cast<std::uint8_t>(second);
  };
  put(10, 10, 'S', 'N');
  put(23, 4, 'F', 'W');
  put(27, 20, 'M', 'D');
  data[510] = 0xA5;
  std::uint8_t sum = 0;
  for (const std::uint8_t byte : data) sum = static_cast<std::uint8_t>(sum + byte);
  data[511] = static_cast<std::uint8_t>(0x100 - sum);
  return data;
}

inline bool IsIdentify(const sdk::DriveCommand& command) {
  const auto* ata = std::get_if<sdk::AtaCommand>(&command.command);
  return ata != nullptr && ata->command == 0xEC;
}
inline bool IsShortForm(const sdk::DriveCommand& command) {
  const auto* ata = std::get_if<sdk::AtaCommand>(&command.command);
  return ata != nullptr && ata->uses12Bytes;
}

inline RawBytes Without(RawBytes data, std::size_t at, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) data[at + i] = 0;
  return data;
}

// A drive's identity without a checksum.
inline RawBytes OldIdentity() {
  return Without(IdentityOfDrive(), 510, 2);
}

// Without a serial number, and with the checksum that belongs to that.
inline RawBytes WithoutSerial(RawBytes data) {
  data[511] = static_cast<std::uint8_t>(data[511] + 'S' + 'N' + 18 * ' ');
  return Without(std::move(data), 20, 20);
}

inline RawBytes WrongIdentity() {
  RawBytes data = IdentityOfDrive();
  data[100] ^= 1;
  return data;
}

inline DiskFacts FactsOf(Transport transport) {
  DiskFacts facts;
  facts.devicePath = transport == Transport::kNvme ? "/dev/nvme0n1" : "/dev/sdx";
  facts.folder = "/sys/x";
  facts.deviceNumber = sdk::DeviceNumber(8, 16);
  facts.diskSequence = 29;
  facts.busPath = "pci-0000:00:1f.2/ata-1";
  facts.serial = "SN";
  facts.transport = transport;
  return facts;
}

// A disk that is no removable one, and is namespace 3.
inline constexpr char kOrdinaryFiles[] =
    "f /sys/x/removable 0\\x0a\n"
    "f /sys/x/nsid 3\\x0a\n";
// One that says besides that it is one of ATA.
inline constexpr char kAtaFiles[] =
    "f /sys/x/removable 0\\x0a\n"
    "f /sys/x/device/vendor ATA     \\x0a\n";

// One drive of a machine in memory, whose answers a test writes.
struct DriveBench {
  explicit DriveBench(Transport transport, const std::string& files = kOrdinaryFiles)
      : machine(std::make_unique<sdk::testing::CapturedFiles>(files)), facts(FactsOf(transport)) {
    machine.GrantWriting(true);
  }

  void Script(sdk::CommandAnswer answer, int times = -1,
              std::function<bool(const sdk::DriveCommand&)> matches = {}) {
    machine.commands.push_back({std::move(matches), std::move(answer), times, {}});
  }
  DriveLink Link() { return DriveLink({&machine, &hung}, facts, stop.get_token()); }

  sdk::testing::FaultyMachine machine;
  DiskFacts facts;
  HungDrives hung;
  std::stop_source stop;
};

// In which forms IDENTIFY DEVICE was sent, and what else.
inline std::string FormsSent(const DriveBench& bench) {
  std::string forms;
  for (const sdk::DriveCommand& command : bench.machine.sent) {
    forms += IsIdentify(command) ? (IsShortForm(command) ? "short " : "long ") : "other ";
  }
  return forms;
}

// What a drive of that row's protocol is, for a link that opens: the first answer says so.
inline void ScriptOpening(DriveBench& bench) {
  if (bench.facts.transport == Transport::kSata || bench.facts.transport == Transport::kUsb) {
    bench.Script(Good(IdentityOfDrive()), 1, IsIdentify);
  }
}

inline Transport TransportFor(const DriveCommandRow& row) {
  switch (row.Protocol()) {
    case DriveProtocol::kAta:
      return Transport::kSata;
    case DriveProtocol::kNvme:
      return Transport::kNvme;
    case DriveProtocol::kScsi:
    case DriveProtocol::kNone:
      break;
  }
  return Transport::kScsi;
}

}  // namespace orvan::storage
