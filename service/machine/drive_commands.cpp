#include "service/machine/drive_commands.h"

#include <linux/nvme_ioctl.h>
#include <scsi/sg.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <utility>

#include "os/descriptor.h"
#include "service/machine/ata_pass_through.h"
#include "service/machine/drive_claim.h"
#include "service/machine/drive_node.h"
#include "service/sdk/read_errors.h"

namespace orvan::machine {
namespace {

using sdk::CommandAnswer;
using sdk::DataDirection;
using sdk::DriveCommand;
using Outcome = CommandAnswer::Outcome;
using std::chrono::milliseconds;

// What the kernel takes to give a command up, beyond the command's own time limit.
constexpr milliseconds kGrace{1000};

CommandAnswer Answer(Outcome outcome, int error) {
  CommandAnswer answer;
  answer.outcome = outcome;
  answer.error = error;
  return answer;
}

// What an errno of the opening or the sending says.
CommandAnswer Failed(int error) {
  static constexpr std::array kOurs = {ENOMEM, EMFILE, ENFILE, EFAULT, EINTR, EAGAIN, EBADF};
  if (sdk::MeansGone(error) || error == ENOENT) return Answer(Outcome::kGone, error);
  if (error == ETIMEDOUT || error == ETIME) return Answer(Outcome::kTimedOut, error);
  const bool isOurs = std::find(kOurs.begin(), kOurs.end(), error) != kOurs.end();
  return Answer(isOurs ? Outcome::kNotTried : Outcome::kRefused, error);
}

// What the host adapter says of a command that the drive did not answer.
// Source: Linux, include/scsi/scsi_status.h.
CommandAnswer OfHostStatus(unsigned status) {
  struct Row {
    unsigned status;
    Outcome outcome;
    int error;
  };
  static constexpr std::array kRows = {
      Row{0x01, Outcome::kGone, ENODEV},        // DID_NO_CONNECT
      Row{0x02, Outcome::kRefused, EBUSY},      // DID_BUS_BUSY
      Row{0x03, Outcome::kTimedOut, 0},         // DID_TIME_OUT
      Row{0x04, Outcome::kGone, ENODEV},        // DID_BAD_TARGET
      Row{0x05, Outcome::kRefused, ECANCELED},  // DID_ABORT
  };
  const auto row = std::find_if(kRows.begin(), kRows.end(),
                                [status](const Row& one) { return one.status == status; });
  return row == kRows.end() ? Answer(Outcome::kRefused, EIO) : Answer(row->outcome, row->error);
}

// What the kernel gave up says so by a status of NVMe, too.
// Source: NVM Express Base 2.0, 4.5.1: 007h abort requested, 370h and 371h of the host's path.
bool IsGivenUp(unsigned nvmeStatus) {
  const unsigned code = nvmeStatus & 0x7FF;
  return code == 0x007 || code == 0x370 || code == 0x371;
}

// Whether it came to an end in which the drive need not have had a part.
bool WasBrokenOff(const CommandAnswer& answer) {
  return answer.outcome == Outcome::kRefused || IsGivenUp(answer.nvmeStatus);
}

// A command that is ready to be sent; owned by the call.
struct Parcel {
  DriveCommand command;
  sdk::CommandEffect effect = sdk::CommandEffect::kChangesMedium;
  std::shared_ptr<const sdk::MachineFiles> files;
  bool filesMayBeDrives = false;
  std::vector<std::uint8_t> cdb;   // empty: NVMe
  std::vector<std::uint8_t> data;  // out, or room for what comes in
  bool isBlankOnOptical = false;
};

CommandAnswer SendScsi(Parcel& parcel, const tarvex::Descriptor& drive) {
  std::array<std::uint8_t, 255> sense{};
  sg_io_hdr_t header{};
  header.interface_id = 'S';
  header.cmd_len = static_cast<unsigned char>(parcel.cdb.size());
  header.cmdp = parcel.cdb.data();
  header.mx_sb_len = static_cast<unsigned char>(sense.size());
  header.sbp = sense.data();
  header.dxfer_direction = parcel.command.direction == DataDirection::kNone ? SG_DXFER_NONE
                           : parcel.command.direction == DataDirection::kFromDevice
                               ? SG_DXFER_FROM_DEV
                               : SG_DXFER_TO_DEV;
  header.dxfer_len = static_cast<unsigned>(parcel.data.size());
  header.dxferp = parcel.data.empty() ? nullptr : parcel.data.data();
  header.timeout = static_cast<unsigned>(parcel.command.timeLimit.count());
  if (ioctl(drive.Get(), SG_IO, &header) != 0) return Failed(errno);
  constexpr unsigned kTimedOut = 0x06;  // the suggestions in the upper half are history
  if ((header.driver_status & 0x0F) == kTimedOut) return Answer(Outcome::kTimedOut, 0);
  if (header.host_status != 0) return OfHostStatus(header.host_status);
  CommandAnswer answer = Answer(Outcome::kAnswered, 0);
  answer.scsiStatus = header.status;
  const std::size_t written = std::min<std::size_t>(header.sb_len_wr, sense.size());
  answer.sense.assign(sense.begin(), sense.begin() + static_cast<std::ptrdiff_t>(written));
  if (parcel.command.direction == DataDirection::kFromDevice) {
    // A drive may say that it left out more than there is room for, or that it had more to say.
    const auto missing = static_cast<std::size_t>(
        std::clamp<std::int64_t>(header.resid, 0, static_cast<std::int64_t>(parcel.data.size())));
    parcel.data.resize(parcel.data.size() - missing);
    answer.data = std::move(parcel.data);
  }
  if (std::holds_alternative<sdk::AtaCommand>(parcel.command.command)) {
    const std::optional<sdk::AtaRegisters> registers = AtaRegistersIn(answer.sense);
    answer.hasRegisters = registers.has_value();
    answer.registers = registers.value_or(sdk::AtaRegisters());
  }
  return answer;
}

CommandAnswer SendNvme(Parcel& parcel, const tarvex::Descriptor& drive) {
  const auto& command = std::get<sdk::NvmeAdminCommand>(parcel.command.command);
  nvme_admin_cmd request{};
  request.opcode = command.opcode;
  request.nsid = command.namespaceId;
  request.addr =
      reinterpret_cast<std::uintptr_t>(parcel.data.empty() ? nullptr : parcel.data.data());
  request.data_len = static_cast<std::uint32_t>(parcel.data.size());
  request.cdw10 = command.dwords[0];
  request.cdw11 = command.dwords[1];
  request.cdw12 = command.dwords[2];
  request.cdw13 = command.dwords[3];
  request.cdw14 = command.dwords[4];
  request.cdw15 = command.dwords[5];
  request.timeout_ms = static_cast<std::uint32_t>(parcel.command.timeLimit.count());
  const auto start = std::chrono::steady_clock::now();
  const int status = ioctl(drive.Get(), NVME_IOCTL_ADMIN_CMD, &request);
  const bool isLate = std::chrono::steady_clock::now() - start >= parcel.command.timeLimit;
  // The driver calls off what takes too long, and what a reset of the drive broke off, and says so
  // as if a signal had come; none does here.
  if (status < 0 && errno == EINTR)
    return Answer(isLate ? Outcome::kTimedOut : Outcome::kRefused, EINTR);
  if (status < 0) return Failed(errno);
  if (IsGivenUp(static_cast<unsigned>(status)) && isLate) return Answer(Outcome::kTimedOut, 0);
  CommandAnswer answer = Answer(Outcome::kAnswered, 0);
  answer.nvmeStatus = static_cast<std::uint16_t>(status & 0x7FFF);
  answer.nvmeResult = request.result;
  // How much came in of a command that failed nobody tells.
  if (status == 0 && parcel.command.direction == DataDirection::kFromDevice) {
    answer.data = std::move(parcel.data);
  }
  return answer;
}

CommandAnswer Deliver(Parcel& parcel) {
  const bool isExclusive = parcel.effect == sdk::CommandEffect::kChangesMedium;
  const ClaimedDrive drive =
      ClaimDrive(*parcel.files, {.command = parcel.command,
                                 .isBlankOnOptical = parcel.isBlankOnOptical,
                                 .isExclusive = isExclusive,
                                 .filesMayBeDrives = parcel.filesMayBeDrives});
  if (drive.isRefused) return Answer(Outcome::kNotGranted, drive.error);
  if (drive.error == EINVAL) return Answer(Outcome::kNotTried, EINVAL);
  if (drive.error != 0) return Failed(drive.error);
  CommandAnswer answer =
      parcel.cdb.empty() ? SendNvme(parcel, drive.descriptor) : SendScsi(parcel, drive.descriptor);
  const bool hasLeft = WasBrokenOff(answer) && HasLeft(*parcel.files, drive.descriptor);
  return hasLeft ? Answer(Outcome::kGone, ENODEV) : answer;
}

bool HasItsTime(const DriveCommand& command) {
  // A shorter one would reset a drive that is merely busy with what somebody else asked of it.
  return command.timeLimit >= std::chrono::seconds(1) &&
         command.timeLimit <= std::chrono::hours(24);
}

bool HasItsData(const DriveCommand& command) {
  const bool isOut = command.direction == DataDirection::kToDevice;
  const bool isIn = command.direction == DataDirection::kFromDevice;
  return isOut == !command.dataOut.empty() && isIn == (command.bytesIn != 0) &&
         command.bytesIn <= sdk::kLargestCommandBytes &&
         command.dataOut.size() <= sdk::kLargestCommandBytes;
}

// Source: NVM Express Base 2.0, 5: the two lowest bits of an opcode tell the direction.
bool FitsItsOpcode(const sdk::NvmeAdminCommand& command, DataDirection direction) {
  const int bits = command.opcode & 3;
  return direction == DataDirection::kNone ||
         bits == (direction == DataDirection::kToDevice ? 1 : 2);
}

// Fills in the command descriptor block; false when the command does not fit together.
bool Pack(Parcel& parcel) {
  const DriveCommand& command = parcel.command;
  if (const auto* ata = std::get_if<sdk::AtaCommand>(&command.command)) {
    auto cdb = AtaPassThrough(*ata, command.direction, parcel.data.size());
    parcel.cdb = std::move(cdb).value_or(std::vector<std::uint8_t>());
    parcel.isBlankOnOptical = ata->uses12Bytes;
    return !parcel.cdb.empty();
  }
  if (const auto* scsi = std::get_if<sdk::ScsiCommand>(&command.command)) {
    parcel.cdb = scsi->cdb;
    parcel.isBlankOnOptical = !scsi->cdb.empty() && scsi->cdb[0] == 0xA1;
    return parcel.cdb.size() >= 6 && parcel.cdb.size() <= 32;
  }
  return FitsItsOpcode(std::get<sdk::NvmeAdminCommand>(command.command), command.direction);
}

}  // namespace

CommandAnswer SendCommand(ApartCalls& calls, std::shared_ptr<const sdk::MachineFiles> files,
                          const DriveCommand& command, const CommandRules& rules,
                          std::stop_token stop) {
  const sdk::CommandEffect effect = sdk::EffectOf(command);
  const bool onlyReads = effect == sdk::CommandEffect::kReads;
  if (!rules.mayWrite && !onlyReads) return Answer(Outcome::kNotGranted, 0);
  const bool isNamed = onlyReads || command.expectedDevice != 0;
  if (!isNamed || !HasItsTime(command) || !HasItsData(command)) {
    return Answer(Outcome::kNotTried, EINVAL);
  }
  const auto parcel = std::make_shared<Parcel>();
  parcel->command = command;
  parcel->effect = effect;
  parcel->files = std::move(files);
  parcel->filesMayBeDrives = rules.filesMayBeDrives;
  parcel->data = command.dataOut;
  if (command.bytesIn != 0) parcel->data.resize(command.bytesIn);
  if (!Pack(*parcel)) return Answer(Outcome::kNotTried, EINVAL);
  ApartCalls::End end = ApartCalls::End::kNotTried;
  std::optional<CommandAnswer> answer =
      calls.Ask([parcel] { return Deliver(*parcel); },
                {.time = command.timeLimit + kGrace, .stop = std::move(stop)}, end);
  switch (end) {
    case ApartCalls::End::kDone:
      return std::move(*answer);
    case ApartCalls::End::kHung:
      return Answer(Outcome::kTimedOut, 0);
    case ApartCalls::End::kStopped:
      return Answer(Outcome::kNotTried, ECANCELED);
    case ApartCalls::End::kStalled:
      return Answer(Outcome::kNotTried, ETIME);
    case ApartCalls::End::kNotTried:
      break;
  }
  return Answer(Outcome::kNotTried, EAGAIN);
}

}  // namespace orvan::machine
