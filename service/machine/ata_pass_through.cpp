#include "service/machine/ata_pass_through.h"

#include <bit>
#include <cstddef>

namespace orvan::machine {
namespace {

using sdk::AtaCommand;
using sdk::DataDirection;
using Protocol = AtaCommand::Protocol;

constexpr std::uint64_t kBlockBytes = 512;

std::uint8_t Low(std::uint64_t value, int shift = 0) {
  return static_cast<std::uint8_t>(value >> shift);
}

DataDirection DirectionOf(Protocol protocol) {
  switch (protocol) {
    case Protocol::kNonData:
      return DataDirection::kNone;
    case Protocol::kPioIn:
    case Protocol::kDmaIn:
      return DataDirection::kFromDevice;
    case Protocol::kPioOut:
    case Protocol::kDmaOut:
      return DataDirection::kToDevice;
  }
  return DataDirection::kNone;
}

std::uint8_t ProtocolCode(Protocol protocol) {
  switch (protocol) {
    case Protocol::kNonData:
      return 3;
    case Protocol::kPioIn:
      return 4;
    case Protocol::kPioOut:
      return 5;
    case Protocol::kDmaIn:
    case Protocol::kDmaOut:
      return 6;
  }
  return 3;
}

bool FitsItsRegisters(const AtaCommand& command) {
  if (command.is48Bit) return !command.uses12Bytes && command.lba >> 48 == 0;
  return command.feature <= 0xFF && command.count <= 0xFF && command.lba >> 28 == 0;
}

// Byte 2: whether registers are wanted back, and how the length of the data follows from the count.
std::optional<std::uint8_t> Flags(const AtaCommand& command, std::uint64_t dataBytes) {
  constexpr std::uint8_t kRegisters = 0x20;   // CK_COND
  constexpr std::uint8_t kSectors = 0x10;     // T_TYPE: the drive's own and not of 512 bytes
  constexpr std::uint8_t kFromDevice = 0x08;  // T_DIR
  constexpr std::uint8_t kBlocksInCount = 6;  // BYT_BLOK, and T_LENGTH 2
  const DataDirection direction = DirectionOf(command.protocol);
  if (direction == DataDirection::kNone) return kRegisters;
  const std::uint64_t most = command.is48Bit ? 65536 : 256;
  const std::uint64_t count = command.count == 0 ? most : command.count;
  const std::uint64_t unit = dataBytes / count;
  if (unit * count != dataBytes || unit < kBlockBytes || !std::has_single_bit(unit)) return {};
  return static_cast<std::uint8_t>(kBlocksInCount | (unit == kBlockBytes ? 0 : kSectors) |
                                   (direction == DataDirection::kFromDevice ? kFromDevice : 0));
}

std::uint8_t DeviceRegister(const AtaCommand& command) {
  if (command.is48Bit) return command.device;
  return static_cast<std::uint8_t>((command.device & 0xF0) | (command.lba >> 24 & 0x0F));
}

std::vector<std::uint8_t> Long(const AtaCommand& command, std::uint8_t flags) {
  const std::uint64_t high = command.is48Bit ? command.lba : 0;
  const auto protocol =
      static_cast<std::uint8_t>(ProtocolCode(command.protocol) << 1 | (command.is48Bit ? 1 : 0));
  return {0x85,
          protocol,
          flags,
          Low(command.feature, 8),
          Low(command.feature),
          Low(command.count, 8),
          Low(command.count),
          Low(high, 24),
          Low(command.lba),
          Low(high, 32),
          Low(command.lba, 8),
          Low(high, 40),
          Low(command.lba, 16),
          DeviceRegister(command),
          command.command,
          0};
}

std::vector<std::uint8_t> Short(const AtaCommand& command, std::uint8_t flags) {
  return {0xA1,
          static_cast<std::uint8_t>(ProtocolCode(command.protocol) << 1),
          flags,
          Low(command.feature),
          Low(command.count),
          Low(command.lba),
          Low(command.lba, 8),
          Low(command.lba, 16),
          DeviceRegister(command),
          command.command,
          0,
          0};
}

std::uint64_t Joined(std::uint8_t high, std::uint8_t low, int shift) {
  return (static_cast<std::uint64_t>(high) << (shift + 24)) |
         (static_cast<std::uint64_t>(low) << shift);
}

// The descriptor of 14 bytes that begins at `at`.
sdk::AtaRegisters FromDescriptor(const std::vector<std::uint8_t>& sense, std::size_t at) {
  const auto byte = [&](std::size_t index) { return sense[at + index]; };
  sdk::AtaRegisters registers;
  const bool isExtended = (byte(2) & 1) != 0;
  const auto high = [&](std::size_t index) { return isExtended ? byte(index) : std::uint8_t{0}; };
  registers.error = byte(3);
  registers.count = static_cast<std::uint16_t>(high(4) << 8 | byte(5));
  registers.lba =
      Joined(high(6), byte(7), 0) | Joined(high(8), byte(9), 8) | Joined(high(10), byte(11), 16);
  registers.device = byte(12);
  registers.status = byte(13);
  return registers;
}

std::optional<sdk::AtaRegisters> InDescriptors(const std::vector<std::uint8_t>& sense) {
  constexpr std::size_t kHead = 8;
  constexpr std::uint8_t kStatusReturn = 0x09;
  constexpr std::size_t kStatusReturnBytes = 14;
  if (sense.size() < kHead) return {};
  const std::size_t end = std::min(sense.size(), kHead + sense[7]);
  for (std::size_t at = kHead; at + 2 <= end; at += 2 + std::size_t{sense[at + 1]}) {
    if (sense[at] != kStatusReturn || sense[at + 1] != kStatusReturnBytes - 2) continue;
    if (end - at < kStatusReturnBytes) return {};
    return FromDescriptor(sense, at);
  }
  return {};
}

std::optional<sdk::AtaRegisters> InFixedFormat(const std::vector<std::uint8_t>& sense) {
  // ATA PASS THROUGH INFORMATION AVAILABLE, else these bytes are something else.
  if (sense.size() < 14 || sense[12] != 0x00 || sense[13] != 0x1D) return {};
  sdk::AtaRegisters registers;
  registers.error = sense[3];
  registers.status = sense[4];
  registers.device = sense[5];
  registers.count = sense[6];
  registers.lba = sense[9] | std::uint64_t{sense[10]} << 8 | std::uint64_t{sense[11]} << 16;
  return registers;
}

}  // namespace

std::optional<std::vector<std::uint8_t>> AtaPassThrough(const AtaCommand& command,
                                                        DataDirection direction,
                                                        std::uint64_t dataBytes) {
  if (DirectionOf(command.protocol) != direction || !FitsItsRegisters(command)) return {};
  const std::optional<std::uint8_t> flags = Flags(command, dataBytes);
  if (!flags) return {};
  return command.uses12Bytes ? Short(command, *flags) : Long(command, *flags);
}

std::optional<sdk::AtaRegisters> AtaRegistersIn(const std::vector<std::uint8_t>& sense) {
  if (sense.empty()) return {};
  const int format = sense[0] & 0x7F;
  if (format == 0x72 || format == 0x73) return InDescriptors(sense);
  return format == 0x70 || format == 0x71 ? InFixedFormat(sense) : std::nullopt;
}

}  // namespace orvan::machine
