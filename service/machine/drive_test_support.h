#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "service/sdk/drive_command.h"

namespace orvan::machine {

using Bytes = std::vector<std::uint8_t>;
using sdk::DataDirection;
using sdk::DriveCommand;

inline DriveCommand Scsi(Bytes cdb, std::uint32_t bytesIn = 0) {
  DriveCommand command;
  command.command = sdk::ScsiCommand{std::move(cdb)};
  command.direction = bytesIn == 0 ? DataDirection::kNone : DataDirection::kFromDevice;
  command.bytesIn = bytesIn;
  return command;
}

inline DriveCommand Inquiry() {
  return Scsi({0x12, 0, 0, 0, 36, 0}, 36);
}

inline DriveCommand SmartStatus() {
  sdk::AtaCommand ata;
  ata.feature = 0xDA;
  ata.lba = 0xC24F00;
  ata.command = 0xB0;
  DriveCommand command;
  command.command = ata;
  return command;
}

// Identify of the controller.
inline DriveCommand NvmeIdentify() {
  DriveCommand command;
  sdk::NvmeAdminCommand nvme;
  nvme.opcode = 0x06;
  nvme.dwords = {1, 2, 3, 4, 5, 6};
  nvme.namespaceId = 7;
  command.command = nvme;
  command.direction = DataDirection::kFromDevice;
  command.bytesIn = 4;
  return command;
}

// Begins a short self-test.
inline DriveCommand SelfTest() {
  return Scsi({0x1D, 0x20, 0, 0, 0, 0});
}

// "7:0" as the kernel writes it.
inline std::string TextOf(std::uint64_t number) {
  return std::to_string(number >> 32) + ':' + std::to_string(number & 0xFFFFFFFF);
}

// A machine on which the device of that number is called so, and nobody uses it.
inline std::string MachineWith(std::uint64_t number, const std::string& name) {
  const std::string text = TextOf(number);
  return "l /sys/dev/block/" + text + " ../../devices/a/block/" + name +
         "\nf /sys/devices/a/block/" + name + "/dev " + text + "\\x0a\n" +
         "d /sys/devices/a/block/" + name + "/holders\n" +
         "f /proc/self/mountinfo 22 1 254:1 / / rw - ext4 /dev/vda1 rw\\x0a\n";
}

// The same of the only namespace of a controller.
inline std::string MachineWithNvme(std::uint64_t number) {
  const std::string text = TextOf(number);
  const std::string folder = "/sys/devices/a/nvme/nvme0/nvme0n1";
  return "l /sys/class/nvme-subsystem/nvme-subsys0 ../../devices/s/nvme-subsys0\n"
         "l /sys/devices/s/nvme-subsys0/nvme0 ../../a/nvme/nvme0\n"
         "l /sys/dev/block/" +
         text + " ../.." + folder.substr(4) + "\nf " + folder + "/dev " + text + "\\x0a\nd " +
         folder + "/holders\nd /sys/block\n" +
         "f /proc/self/mountinfo 22 1 254:1 / / rw - ext4 /dev/vda1 rw\\x0a\n";
}

}  // namespace orvan::machine
