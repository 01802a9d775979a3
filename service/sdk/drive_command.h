#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

// Commands to a drive itself, past the block layer.
namespace orvan::sdk {

enum class DataDirection : std::uint8_t { kNone, kFromDevice, kToDevice };

// The largest data of one command, in either direction.
inline constexpr std::uint32_t kLargestCommandBytes = 1U << 20;

// The taskfile of an ATA command, sent as ATA PASS-THROUGH. `count` times one size, 512 bytes or a
// larger power of two that is the drive's sector, is what is transferred; 0 stands for 256, or for
// 65536 of a 48-bit command.
// Source: ACS-4, 7 (commands and their inputs); SAT-4, 12.2.2 (ATA PASS-THROUGH (16)).
struct AtaCommand {
  enum class Protocol : std::uint8_t { kNonData, kPioIn, kPioOut, kDmaIn, kDmaOut };
  Protocol protocol = Protocol::kNonData;
  bool is48Bit = false;  // a command of the 48-bit feature set: 16-bit feature and count
  std::uint16_t feature = 0;
  std::uint16_t count = 0;
  std::uint64_t lba = 0;  // 28 or 48 bits
  std::uint8_t device = 0;
  std::uint8_t command = 0;
  // The 12-byte form (A1h), which some bridges know alone; 28-bit commands only. To disks alone,
  // for optical drives are told to blank their disc by that code.
  bool uses12Bytes = false;
};

// What an ATA drive's registers say when a command has ended.
struct AtaRegisters {
  std::uint8_t error = 0;
  std::uint8_t status = 0;
  std::uint8_t device = 0;
  std::uint16_t count = 0;
  std::uint64_t lba = 0;
};

// Source: SPC-5, 4.2.5 (command descriptor blocks). 6 to 32 bytes.
struct ScsiCommand {
  std::vector<std::uint8_t> cdb;
};

// Source: NVM Express Base 2.0, 3.3.3 (submission queue entry), admin command set.
struct NvmeAdminCommand {
  std::uint8_t opcode = 0;
  std::uint32_t namespaceId = 0;
  std::array<std::uint32_t, 6> dwords{};  // command dwords 10 to 15
};

struct DriveCommand {
  std::string device;                // "/dev/sda", "/dev/nvme0n1" or "/dev/nvme0"
  std::uint64_t expectedDevice = 0;  // DeviceNumber(); another device under that name is ENODEV
  std::uint64_t diskSequence = 0;    // as a reader takes it; of a block device alone
  std::variant<AtaCommand, ScsiCommand, NvmeAdminCommand> command;
  DataDirection direction = DataDirection::kNone;
  std::uint32_t bytesIn = 0;               // wanted, with kFromDevice
  std::vector<std::uint8_t> dataOut = {};  // with kToDevice
  // 1 s to 24 h: when it has run out the kernel resets the drive, whoever else uses it.
  std::chrono::milliseconds timeLimit{10000};
};

struct CommandAnswer {
  enum class Outcome : std::uint8_t {
    kAnswered,    // the drive answered; whether with success is for status, sense and completion
    kNotGranted,  // no row says that it writes, though the command does not only read; or it may
                  // change the medium, and somebody uses that, or may: then `error` is not 0
    kRefused,     // the kernel or the driver does not pass the command on; `error` says why
    kTimedOut,    // no answer within the time limit
    kGone,        // the device has left the machine
    kNotTried,    // our own fault; `error` says why
  };
  Outcome outcome = Outcome::kNotTried;
  // Errno of kRefused and kNotTried: EINVAL for a command that does not fit together, ECANCELED
  // when the stop token was set.
  int error = 0;
  std::uint8_t scsiStatus = 0;           // SAM-6, 5.3: 00h GOOD, 02h CHECK CONDITION, ...
  std::vector<std::uint8_t> sense = {};  // as it came; may be cut, empty or nonsense
  // Of an AtaCommand, when the sense data held an ATA Status Return, as a descriptor or in fixed
  // format; that leaves out the upper halves of count and lba. Asked for with kNonData.
  bool hasRegisters = false;
  AtaRegisters registers;
  // Of an NvmeAdminCommand: status field without the phase bit (0: success), and dword 0.
  std::uint16_t nvmeStatus = 0;
  std::uint32_t nvmeResult = 0;
  // What came in, no more than was asked for; shorter when the transfer was.
  std::vector<std::uint8_t> data = {};
};

// What a command does, by lists of those that are known.
enum class CommandEffect : std::uint8_t {
  kReads,          // changes nothing on the drive, neither its data nor what it does
  kChangesDrive,   // changes what the drive does, and none of its data: begins a self-test
  kChangesMedium,  // changes data, or is on no list
};

// All but kReads need a row that says that it writes, and a device that expectedDevice names.
// kChangesMedium is for a block device alone that diskSequence names, too, as for a writer, and
// that nobody uses or holds. Any thread.
CommandEffect EffectOf(const DriveCommand& command);

// True for a command of kReads.
bool OnlyReads(const DriveCommand& command);

}  // namespace orvan::sdk
