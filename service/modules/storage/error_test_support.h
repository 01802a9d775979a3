#pragma once

#include <cstdint>
#include <vector>

#include "service/modules/storage/smart_test_support.h"

// Drives that remember errors, for unit tests.
namespace orvan::storage {

struct AtaError {
  int command;
  int error;
  int hour;
};
inline constexpr AtaError kUnreadable{0xC8, 0x40, 300};  // READ DMA, at LBA 4096
inline constexpr AtaError kRefused{0xB0, 0x04, 301};

// Has a summary of no errors until it is given some.
struct LoggingAta : AtaBench {
  explicit LoggingAta(Transport transport = Transport::kSata) : AtaBench(transport) { Log({}, 0); }

  // The oldest first, five at most; so many errors were ever.
  void Log(const std::vector<AtaError>& errors, int count) {
    ata::Pages page;
    page.Put(0, {1, static_cast<int>(errors.size())}).Put(452, {count & 0xFF, count >> 8});
    std::size_t at = 2;
    for (const AtaError& error : errors) {
      page.Put(at + 48, {0, 0, 8, 0, 0x10, 0, 0xE0, error.command, error.hour & 0xFF, 0, 0, 0});
      page.Put(at + 60, {0, error.error, 8, 0, 0x10, 0, 0xE0, 0x51});
      page.Put(at + 87, {3, error.hour & 0xFF, error.hour >> 8});
      at += 90;
    }
    Answer("B0/D5", BytesOf(page.Seal()));
  }
  // From now on it has logs, and its extended error log so many pages, with one error.
  void HasExtendedLog(std::uint16_t pages) {
    ata::Pages identity = HealthyIdentity();
    Answer("EC", BytesOf(identity.PutWord(84, 0x4023).PutWord(87, 0x4023)));
    ata::Pages directory;
    logs = BytesOf(directory.PutWord(0, 1).PutWord(3, pages));
    ata::Pages log(pages);
    if (pages > 0) {
      log.Put(0, {1, 0, 1, 0}).Put(500, {1, 0});
      log.Put(4 + 72, {0, 0, 0, 8, 0, 0, 0, 0, 2, 0, 0, 0xE0, 0x25, 0, 1, 0, 0, 0});
      log.Put(4 + 90, {0, 0x40, 8, 0, 0, 0, 0, 2, 0, 0, 0xE0, 0x51}).Put(4 + 121, {3, 0x2C, 1});
      log.Seal();
    }
    extended = BytesOf(log);
    machine.commands.insert(
        machine.commands.begin(),
        {[](const sdk::DriveCommand& command) { return NameOf(command) == "2F"; },
         {},
         -1,
         [this](const sdk::DriveCommand& command) {
           const auto& ata = std::get<sdk::AtaCommand>(command.command);
           return Good((ata.lba & 0xFF) == 0 ? logs : extended);
         }});
  }
  RawBytes logs;
  RawBytes extended;
};

// Has two errors, the newer of which is an unreadable block.
struct LoggingNvme : NvmeBench {
  LoggingNvme() {
    RawBytes log = FromHexFile("nvme/error_log.hex");
    log.resize(64 * 64);
    Answer("NVMe 02/01", log);
  }
};

// Has two reads that it could not correct, and two blocks that its scan has met.
struct LoggingScsi : ScsiBench {
  LoggingScsi() {
    Answer("4D/00", FromHex("00 00 00 04 03 0D 15 2F"));
    Answer("4D/15", FromHexFile("scsi/log_15_background_scan.hex"));
  }
};

}  // namespace orvan::storage
