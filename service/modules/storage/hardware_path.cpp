#include "service/modules/storage/hardware_path.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace orvan::storage {
namespace {

constexpr char kDevicesFolder[] = "/sys/devices/";
constexpr std::size_t kWidestNumber = 20;  // digits of the largest 64-bit number

bool IsDigit(char c) {
  return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::size_t begin = 0;
  while (begin <= text.size()) {
    const std::size_t end = std::min(text.find(separator, begin), text.size());
    parts.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return parts;
}

std::string Padded(const std::string& digits) {
  return std::string(kWidestNumber - std::min(kWidestNumber, digits.size()), '0') + digits;
}

// Every run of decimal digits widened, so that comparing bytes compares numbers.
std::string NaturalKey(const std::string& text) {
  std::string key;
  for (std::size_t i = 0; i < text.size();) {
    std::size_t end = i;
    while (end < text.size() && IsDigit(text[end])) ++end;
    key += end > i ? Padded(text.substr(i, end - i)) : std::string(1, text[i]);
    i = std::max(end, i + 1);
  }
  return key;
}

// "prefix" followed by digits only.
bool IsNumbered(const std::string& part, std::string_view prefix) {
  return part.size() > prefix.size() && part.starts_with(prefix) &&
         std::all_of(part.begin() + static_cast<std::ptrdiff_t>(prefix.size()), part.end(),
                     IsDigit);
}

// Numbers joined by ":", as in the kernel's SCSI names; `count` of them.
bool IsTuple(const std::string& part, std::size_t count) {
  const std::vector<std::string> numbers = Split(part, ':');
  return numbers.size() == count &&
         std::all_of(numbers.begin(), numbers.end(),
                     [](const std::string& number) { return IsNumbered(number, ""); });
}

// "0000:00:1f.2". The parts are hexadecimal.
bool IsPciAddress(const std::string& part) {
  const std::vector<std::string> numbers = Split(part, ':');
  return numbers.size() == 3 && numbers[0].size() >= 4 && numbers[1].size() == 2 &&
         numbers[2].size() == 4 && numbers[2][2] == '.';
}

std::string PciKey(const std::string& address) {
  std::string key = "pci-";
  for (const std::string& text : Split(address, ':')) {
    for (const std::string& field : Split(text, '.')) {
      std::uint64_t number = 0;
      std::from_chars(field.data(), field.data() + field.size(), number, 16);
      key += Padded(std::to_string(number)) + ':';
    }
  }
  return key;
}

// The part behind the first ':', or nothing.
std::string WithoutFirstNumber(const std::string& tuple) {
  return tuple.substr(std::min(tuple.find(':'), tuple.size() - 1) + 1);
}

// What one folder of the path says; both texts empty for one that says nothing that lasts.
struct Step {
  std::string text;
  std::string key;
  // Set when an attribute that it hangs on, and every such folder has, is missing or of no use.
  std::optional<sdk::FileTrouble> trouble;
};

Step Named(const std::string& text) {
  return {text, NaturalKey(text), {}};
}

// A kernel number in place of the attribute would follow the order of detection.
Step Unknown(const std::string& attribute, const std::string& said) {
  return {{}, {}, sdk::FileTrouble{attribute, said.empty() ? ENOENT : 0}};
}

Step Numbered(const sdk::MachineFiles& files, const std::string& prefix,
              const std::string& attribute) {
  const std::string said = files.ReadText(attribute);
  const auto number = sdk::MachineFiles::ParseNumber(said);
  return number ? Named(prefix + std::to_string(*number)) : Unknown(attribute, said);
}

// ATA ports are numbered over all controllers; the port's own number stands in its class folder.
// Source: Linux, Documentation/ABI/testing/sysfs-ata: port_no.
Step AtaStep(const sdk::MachineFiles& files, const std::string& folder, const std::string& part) {
  return Numbered(files, "ata-", folder + "/ata_port/" + part + "/port_no");
}

// "port-6:0", "end_device-6:0:1", "expander-6:0": the first number is the host's.
Step SasStep(const std::string& part) {
  const std::size_t dash = part.find('-');
  return Named(part.substr(0, dash + 1) + WithoutFirstNumber(part.substr(dash + 1)));
}

bool IsUsbPort(const std::string& part) {
  const std::size_t dash = part.find('-');
  return dash != std::string::npos && dash > 0 && dash + 1 < part.size() &&
         std::all_of(part.begin(), part.begin() + static_cast<std::ptrdiff_t>(dash), IsDigit) &&
         std::all_of(part.begin() + static_cast<std::ptrdiff_t>(dash) + 1, part.end(),
                     [](char c) { return IsDigit(c) || c == '.' || c == ':'; });
}

// The root hubs of a controller differ in their speed; the number of the bus is none of theirs.
// Source: Linux, Documentation/ABI/stable/sysfs-bus-usb: speed in Mbit/s.
Step RootHubStep(const sdk::MachineFiles& files, const std::string& folder) {
  const std::string attribute = folder + "/speed";
  const std::string said = files.ReadText(attribute);
  const std::uint64_t speed = sdk::MachineFiles::ParseNumber(said).value_or(0);
  if (speed == 0) return Unknown(attribute, said);
  return Named(speed >= 5000 ? "usb3" : speed >= 480 ? "usb2" : "usb1");
}

bool IsSilent(const std::string& part) {
  static constexpr std::array<std::string_view, 7> kNumbered = {
      "host", "virtio", "nvme", "nvme-subsys", "link", "dev", "mmc"};
  static constexpr std::array<std::string_view, 6> kNames = {
      "block", "nvme", "mmc_host", "virtual", "nvme-subsystem", "devices"};
  return std::any_of(kNumbered.begin(), kNumbered.end(),
                     [&](std::string_view prefix) { return IsNumbered(part, prefix); }) ||
         std::any_of(kNames.begin(), kNames.end(),
                     [&](std::string_view name) { return part == name; });
}

Step ReadStep(const sdk::MachineFiles& files, const std::string& folder, const std::string& part) {
  if (IsSilent(part) || part.starts_with("pci0") || part.starts_with("pci1")) return {};
  if (IsPciAddress(part)) return {"pci-" + part, PciKey(part), {}};
  if (IsNumbered(part, "ata")) return AtaStep(files, folder, part);
  if (part.starts_with("target") && IsTuple(part.substr(6), 3)) return {};
  if (IsTuple(part, 4)) return Named("scsi-" + WithoutFirstNumber(part));
  if (part.starts_with("port-") || part.starts_with("end_device-") ||
      part.starts_with("expander-")) {
    return SasStep(part);
  }
  if (IsNumbered(part, "usb")) return RootHubStep(files, folder);
  if (IsUsbPort(part)) return Named("port-" + part.substr(part.find('-') + 1));
  if (part.starts_with("mmc") && part.find(':') != std::string::npos) return {};
  return Named(part);
}

// The last step: what tells disks of one controller apart.
Step DiskStep(const sdk::MachineFiles& files, const std::string& kernelName,
              const std::string& blockFolder) {
  if (!kernelName.starts_with("nvme")) return {};
  return Numbered(files, "namespace-", blockFolder + "/nsid");
}

// The steps to a folder below /sys/devices, or to one of no such place.
std::vector<Step> StepsTo(const sdk::MachineFiles& files, const std::string& folder) {
  const bool isBelow = folder.starts_with(kDevicesFolder);
  std::string reached = "/sys/devices";
  std::vector<Step> steps;
  for (const std::string& part :
       Split(isBelow ? folder.substr(std::size(kDevicesFolder) - 1) : folder, '/')) {
    reached += '/' + part;
    steps.push_back(ReadStep(files, reached, part));
  }
  return steps;
}

// What a multipath NVMe disk lies below in place of its hardware.
std::string SubsystemOf(const std::string& blockFolder) {
  if (blockFolder.find("/nvme-subsystem/") == std::string::npos) return {};
  return blockFolder.substr(0, blockFolder.find_last_of('/'));
}

// The controllers of a subsystem are links of it. One that is none, or leads nowhere, is in doubt.
struct Controllers {
  std::string first;
  std::optional<sdk::FileTrouble> trouble;
};

Controllers ReadControllers(const sdk::MachineFiles& files, const std::string& subsystem) {
  std::vector<std::pair<std::string, std::string>> controllers;
  Controllers result;
  for (const std::string& name : files.List(subsystem)) {
    const std::string folder = subsystem + '/' + name;
    if (!IsNumbered(name, "nvme")) continue;
    const std::string resolved = files.Resolve(folder);
    if (resolved.empty() || resolved == folder) {
      result.trouble = {folder, ENOENT};
      continue;
    }
    std::string key;
    for (const Step& step : StepsTo(files, resolved)) key += step.key + '/';
    controllers.emplace_back(key, resolved);
  }
  std::sort(controllers.begin(), controllers.end());
  if (controllers.empty()) {
    result.trouble = {subsystem, ENOENT};
  } else {
    result.first = controllers.front().second;
  }
  return result;
}

}  // namespace

std::string BlockFolder(const sdk::MachineFiles& files, const std::string& kernelName, int& error) {
  std::string found;
  int firstError = 0;
  // Several roads lead there, of a loop device the last one, too.
  for (const char* road : {"/sys/block/", "/sys/class/block/", "/sys/devices/virtual/block/"}) {
    std::string folder = files.Resolve(road + kernelName, &error);
    firstError = firstError == 0 ? error : firstError;
    if (error != 0 || !files.Exists(folder)) continue;
    error = 0;
    if (folder.starts_with(kDevicesFolder)) return folder;
    // No link, which is one of the signs of one that could not be read.
    if (found.empty()) found = std::move(folder);
  }
  error = !found.empty() ? 0 : firstError != 0 ? firstError : ENOENT;
  return found;
}

HardwarePath ReadHardwarePath(const sdk::MachineFiles& machine, const std::string& kernelName,
                              const std::string& blockFolder) {
  const sdk::WatchedFiles files(machine);
  const bool isLoop = kernelName.starts_with("loop");
  HardwarePath path;
  path.sortKey = isLoop ? "~" : "";
  const auto doubt = [&path](const std::optional<sdk::FileTrouble>& trouble) {
    if (!path.trouble) path.trouble = trouble;
  };
  path.folder = blockFolder;
  if (const std::string subsystem = SubsystemOf(blockFolder); !subsystem.empty()) {
    const Controllers controllers = ReadControllers(files, subsystem);
    doubt(controllers.trouble);
    if (!controllers.first.empty()) path.folder = controllers.first + '/' + kernelName;
  }
  std::vector<Step> steps = StepsTo(files, path.folder);
  if (!isLoop) steps.pop_back();  // the kernel's name
  steps.push_back(DiskStep(files, kernelName, blockFolder));
  for (const Step& step : steps) {
    doubt(step.trouble);
    if (step.text.empty()) continue;
    path.text += (path.text.empty() ? "" : "/") + step.text;
    path.sortKey += step.key + '/';
  }
  // Only where the hardware tells nothing more apart.
  path.sortKey += '\x01' + NaturalKey(path.folder);
  // What was there and could not be read says more than that something is missing.
  const auto troubles = files.TakeTroubles();
  if (!troubles.empty()) path.trouble = troubles.front();
  return path;
}

}  // namespace orvan::storage
