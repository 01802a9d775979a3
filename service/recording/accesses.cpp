#include "service/recording/accesses.h"

namespace orvan::recording {
namespace {

std::string BytesText(const std::vector<std::uint8_t>& bytes) {
  return {bytes.begin(), bytes.end()};
}

std::uint64_t Milliseconds(std::chrono::milliseconds time) {
  return static_cast<std::uint64_t>(time.count());
}

void WriteIn(FieldWriter& fields, const sdk::AtaCommand& ata) {
  fields.Text("ata")
      .Number(static_cast<std::uint64_t>(ata.protocol))
      .Flag(ata.is48Bit)
      .Number(ata.feature)
      .Number(ata.count)
      .Number(ata.lba)
      .Number(ata.device)
      .Number(ata.command)
      .Flag(ata.uses12Bytes);
}

void WriteIn(FieldWriter& fields, const sdk::ScsiCommand& scsi) {
  fields.Text("scsi").Text(BytesText(scsi.cdb));
}

void WriteIn(FieldWriter& fields, const sdk::NvmeAdminCommand& nvme) {
  fields.Text("nvme").Number(nvme.opcode).Number(nvme.namespaceId);
  for (const std::uint32_t dword : nvme.dwords) fields.Number(dword);
}

}  // namespace

// What a command sends to the drive may be what lies on a medium, so its length stands for it.
void Write(FieldWriter& fields, const sdk::DriveCommand& command) {
  fields.Text(command.device).Number(command.expectedDevice);
  std::visit([&fields](const auto& one) { WriteIn(fields, one); }, command.command);
  fields.Number(static_cast<std::uint64_t>(command.direction))
      .Number(command.bytesIn)
      .Number(command.dataOut.size())
      .Number(Milliseconds(command.timeLimit));
}

void Write(FieldWriter& fields, const sdk::BlockReaderOptions& options) {
  fields.Text(options.device)
      .Number(options.expectedDevice)
      .Number(options.depth)
      .Number(options.queued)
      .Number(options.largestReadBytes)
      .Number(Milliseconds(options.timeLimit))
      .Number(Milliseconds(options.stallLimit))
      .Number(options.fileSectorBytes);
}

void Write(FieldWriter& fields, const sdk::BlockWriterOptions& options) {
  fields.Text(options.device)
      .Number(options.expectedDevice)
      .Number(options.largestTransferBytes)
      .Number(Milliseconds(options.timeLimit));
  if (options.onlyWithoutSignature) fields.Text("without-signature");
}

}  // namespace orvan::recording
