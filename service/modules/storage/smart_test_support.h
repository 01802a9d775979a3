#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "service/modules/storage/ata/ata_test_support.h"
#include "service/modules/storage/drive/drive_test_support.h"
#include "service/modules/storage/hex_test_support.h"
#include "service/sdk/tool.h"

// What the unit tests of a drive's health and of the tool that shows it share.
namespace orvan::storage {

// A tool's surroundings that remember what they were told.
class RememberingTool final : public sdk::ToolContext {
 public:
  bool HasListener() const override { return hasListener; }
  const std::vector<const sdk::Device*>& Devices() const override { return devices; }
  const std::vector<const sdk::Device*>& Candidates() const override { return candidates; }
  void SetProperty(const std::string& key, const std::vector<std::string>& values) override {
    properties[key] = values;
  }
  std::vector<std::string> GetProperty(const std::string& key) const override {
    const auto found = properties.find(key);
    return found == properties.end() ? std::vector<std::string>() : found->second;
  }
  bool Fire(const std::string& event) override {
    events.push_back(event);
    if (event == "OnDeviceInit") events.back() += ' ' + properties["DeviceInit"].at(0);
    if (event == "OnProgress") events.back() += ' ' + properties["Progress"].at(0);
    if (event == "OnDeviceFinish") finishes.push_back(properties["DeviceFinish"]);
    return true;
  }
  void Withdraw(const sdk::Device& device) override { withdrawn.push_back(device.Id()); }
  std::stop_token StopToken() const override { return stop.get_token(); }
  void Log(sdk::LogLevel level, const std::string& text) override {
    levels.push_back(level);
    log.push_back(text);
  }

  bool hasListener = true;
  std::vector<const sdk::Device*> devices;
  std::vector<const sdk::Device*> candidates;
  std::map<std::string, std::vector<std::string>> properties;
  std::vector<std::string> events;
  std::vector<std::vector<std::string>> finishes;
  std::vector<std::string> withdrawn;
  std::vector<std::string> log;
  std::vector<sdk::LogLevel> levels;  // of the lines of the log
  std::stop_source stop;
};

// IDENTIFY DEVICE of a drive "MODEL" that rotates, with SMART that is on.
inline ata::Pages HealthyIdentity() {
  ata::Pages pages;
  pages.PutWord(0, 0x0040).PutText(10, 10, "SN1").PutText(23, 4, "FW1").PutText(27, 20, "MODEL");
  pages.PutWord(82, 0x0001).PutWord(83, 0x4000).PutWord(84, 0x4003).PutWord(85, 0x0001);
  pages.PutWord(87, 0x4003).PutWord(217, 7200);
  return pages;
}

inline RawBytes BytesOf(Bytes bytes) {
  return {bytes.begin(), bytes.end()};
}

// Attributes 5 and 194, and their thresholds 36 and none.
inline RawBytes HealthySmartData() {
  ata::Pages pages;
  pages.Put(0, {0x10, 0});
  pages.Put(2, {5, 0x33, 0, 100, 99, 7, 0, 0, 0, 0, 0, 0});
  pages.Put(14, {194, 0x22, 0, 36, 45, 36, 0, 20, 0, 41, 0, 0});
  return BytesOf(pages.Seal());
}
inline RawBytes HealthyThresholds() {
  ata::Pages pages;
  pages.Put(0, {0x10, 0}).Put(2, {5, 36}).Put(14, {194, 0});
  return BytesOf(pages.Seal());
}

// What a command asks for, as "EC", "B0/D0", "4D/2F" or "NVMe 02/02".
inline std::string NameOf(const sdk::DriveCommand& command) {
  std::string name;
  const auto hex = [](std::uint32_t byte) {
    const std::string text = HexByte(static_cast<std::uint8_t>(byte));
    return text.substr(0, text.size() - 1);
  };
  if (const auto* ata = std::get_if<sdk::AtaCommand>(&command.command)) {
    return hex(ata->command) + (ata->command == 0xB0 ? '/' + hex(ata->feature) : std::string());
  }
  if (const auto* nvme = std::get_if<sdk::NvmeAdminCommand>(&command.command)) {
    return "NVMe " + hex(nvme->opcode) + '/' + hex(nvme->dwords[0] & 0xFF);
  }
  const auto& cdb = std::get<sdk::ScsiCommand>(command.command).cdb;
  return hex(cdb[0]) + (cdb[0] == 0x4D ? '/' + hex(cdb[2] & 0x3F) : std::string());
}

// A drive that has an answer to each command that it knows by that name.
struct HealthBench : DriveBench {
  explicit HealthBench(Transport transport, const std::string& files = kOrdinaryFiles)
      : DriveBench(transport, files) {}

  // Takes the place of an earlier answer to the same command.
  void Answer(const std::string& name, sdk::CommandAnswer answer) {
    machine.commands.insert(machine.commands.begin(), {[name](const sdk::DriveCommand& command) {
                                                         return NameOf(command) == name;
                                                       },
                                                       std::move(answer),
                                                       -1,
                                                       {}});
  }
  void Answer(const std::string& name, const RawBytes& data) { Answer(name, Good(data)); }
  // Of what a run asks, the answer to the command at that place and to those like it behind it.
  void AnswerFrom(const std::vector<std::string>& asked, std::size_t place,
                  sdk::CommandAnswer answer) {
    auto before =
        std::count(asked.begin(), asked.begin() + static_cast<std::ptrdiff_t>(place), asked[place]);
    machine.commands.insert(
        machine.commands.begin(),
        {[before, name = asked[place]](const sdk::DriveCommand& command) mutable {
           return NameOf(command) == name && before-- <= 0;
         },
         std::move(answer),
         -1,
         {}});
  }

  std::vector<std::string> Sent() const {
    std::vector<std::string> names;
    for (const sdk::DriveCommand& command : machine.sent) names.push_back(NameOf(command));
    return names;
  }
};

struct AtaBench : HealthBench {
  explicit AtaBench(Transport transport = Transport::kSata) : HealthBench(transport) {
    Answer("EC", BytesOf(HealthyIdentity()));
    Answer("B0/D0", HealthySmartData());
    Answer("B0/D1", HealthyThresholds());
  }
};

struct NvmeBench : HealthBench {
  NvmeBench() : HealthBench(Transport::kNvme) {
    Answer("NVMe 02/02", FromHexFile("nvme/health_log.hex"));
    Answer("NVMe 06/01", FromHexFile("nvme/identify_controller.hex"));
  }
};

// Has the pages 00h, 03h, 0Dh, 0Eh, 10h and 2Fh.
struct ScsiBench : HealthBench {
  ScsiBench() : HealthBench(Transport::kSas) {
    Answer("4D/00", FromHex("00 00 00 06 00 03 0D 0E 10 2F"));
    Answer("4D/03", FromHexFile("scsi/log_03_read_errors.hex"));
    Answer("4D/0D", FromHex("0D 00 00 0C 00 00 03 02 00 24 00 01 03 02 00 3C"));
    Answer("4D/0E", FromHexFile("scsi/log_0e_start_stop.hex"));
    Answer("4D/2F", FromHex("2F 00 00 08 00 00 03 04 00 00 23 00"));
  }
};

}  // namespace orvan::storage
