#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "service/recording/redactor.h"

namespace {

using namespace orvan;

void Require(bool holds) {
  if (!holds) std::abort();
}

sdk::DriveCommand CommandOf(std::uint8_t which) {
  sdk::DriveCommand command;
  sdk::AtaCommand identify;
  identify.command = 0xEC;
  sdk::AtaCommand log;
  log.command = 0x2F;
  log.lba = 0x0530;
  sdk::NvmeAdminCommand nvme;
  nvme.opcode = 6;
  nvme.dwords[0] = which % 4U;
  const std::array<decltype(command.command), 7> commands = {
      identify,
      log,
      nvme,
      sdk::ScsiCommand{{0x12, 1, 0x80, 0, 255, 0}},
      sdk::ScsiCommand{{0x12, 1, 0x83, 0, 255, 0}},
      sdk::ScsiCommand{{0x12, 1, 0x89, 0, 255, 0}},
      sdk::ScsiCommand{{0x12, 0, 0, 0, 255, 0}}};
  command.command = commands[which / 4U % commands.size()];
  return command;
}

}  // namespace

// Whatever a file or a drive says, what a module is shown is as long, and the same each time.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  recording::Redactor redactor(recording::Key(std::array<unsigned char, recording::Key::kBytes>{}));
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  for (const char* path : {"/sys/block/sda/serial", "/proc/self/mountinfo", "/sys/block/sda/uevent",
                           "/sys/block/sda/device/vpd_pg83", "/sys/block/sda/device/identify"}) {
    // None: its form is unknown, and nothing of it is told.
    const std::optional<std::string> shown = redactor.FileContent(path, text);
    Require(!shown || shown->size() == text.size());
    Require(redactor.FileContent(path, text).has_value() == shown.has_value());
  }
  for (const char* folder : {"/dev/disk/by-id", "/dev/disk/by-uuid", "/sys/block"}) {
    const std::vector<std::string> names = redactor.Names(folder, {text});
    Require(names.size() == 1 && names[0].size() == text.size());
  }
  Require(redactor.LinkTarget(text).size() == text.size());
  std::vector<std::uint8_t> answer(data + 1, data + size);
  redactor.CommandData(CommandOf(data[0]), answer);
  Require(answer.size() == size - 1);
  return 0;
}
