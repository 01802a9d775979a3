#include "service/modules/storage/disk_scan.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <string_view>
#include <utility>

#include "service/machine/block_reader.h"
#include "service/modules/storage/hardware_path.h"
#include "service/modules/storage/identity.h"
#include "service/modules/storage/partitions.h"

namespace orvan::storage {
namespace {

constexpr std::uint64_t kSysfsSectorBytes = 512;

// Source: SPC-5, peripheral device types of disks: direct access (00h), optical memory (07h),
// simplified direct access (0Eh), host managed zoned (14h).
constexpr std::array<std::string_view, 4> kScsiDiskTypes = {"0", "7", "14", "20"};

bool IsScsiDisk(const machine::MachineFiles& files, const std::string& name) {
  const std::string type = files.ReadText("/sys/block/" + name + "/device/type");
  return type.empty() ||
         std::find(kScsiDiskTypes.begin(), kScsiDiskTypes.end(), type) != kScsiDiskTypes.end();
}

// Boot and replay-protected areas of a card are disks of their own to the kernel: "mmcblk0boot0".
bool IsCard(const std::string& name) {
  return name.find_first_not_of("0123456789", std::string_view("mmcblk").size()) ==
         std::string::npos;
}

bool IsWanted(const machine::MachineFiles& files, const std::string& name, bool includeLoop) {
  const std::string folder = "/sys/block/" + name;
  if (name.starts_with("loop")) {
    return includeLoop && !files.ReadText(folder + "/loop/backing_file").empty();
  }
  // A hidden disk is one path to a multipath disk.
  if (files.ReadText(folder + "/hidden") == "1") return false;
  if (name.starts_with("sd")) return IsScsiDisk(files, name);
  if (name.starts_with("mmcblk")) return IsCard(name);
  return name.starts_with("nvme") || name.starts_with("vd") || name.starts_with("xvd");
}

std::uint64_t ParseDeviceNumber(const std::string& text) {
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  const char* end = text.data() + text.size();
  const auto colon = std::from_chars(text.data(), end, major);
  if (colon.ec != std::errc() || colon.ptr == end || *colon.ptr != ':') return 0;
  const auto rest = std::from_chars(colon.ptr + 1, end, minor);
  return rest.ec == std::errc() ? machine::DeviceNumber(major, minor) : 0;
}

DiskFacts ReadDisk(const machine::MachineFiles& files, const std::string& name) {
  const std::string folder = "/sys/block/" + name;
  const auto sectorBytes = [&](const char* attribute) {
    return static_cast<std::uint32_t>(files.ReadNumber(folder + attribute).value_or(512));
  };
  DiskFacts facts;
  facts.kernelName = name;
  facts.devicePath = "/dev/" + name;
  std::replace(facts.devicePath.begin(), facts.devicePath.end(), '!', '/');
  facts.deviceNumber = ParseDeviceNumber(files.ReadText(folder + "/dev"));
  facts.sizeBytes = files.ReadNumber(folder + "/size").value_or(0) * kSysfsSectorBytes;
  facts.logicalSectorBytes = sectorBytes("/queue/logical_block_size");
  facts.physicalSectorBytes = sectorBytes("/queue/physical_block_size");
  facts.isRotating = files.ReadText(folder + "/queue/rotational") == "1";
  ReadIdentity(files, facts);
  return facts;
}

}  // namespace

std::vector<std::unique_ptr<Disk>> ScanDisks(const machine::MachineFiles& files,
                                             machine::FilesystemProbe& probe, bool includeLoop,
                                             std::stop_token stop) {
  std::vector<std::pair<std::string, DiskFacts>> found;  // by sort key
  std::map<std::string, int> identities;
  const MountTable mounts(files);
  for (const std::string& name : files.List("/sys/block")) {
    if (stop.stop_requested()) break;
    if (!IsWanted(files, name, includeLoop)) continue;
    DiskFacts facts = ReadDisk(files, name);
    HardwarePath path = ReadHardwarePath(files, name);
    facts.busPath = Shown(path.text);
    facts.partitions = ReadPartitions(files, probe, mounts, facts, stop);
    ++identities[HardwareIdentity(facts)];
    found.emplace_back(std::move(path.sortKey), std::move(facts));
  }
  std::sort(found.begin(), found.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::unique_ptr<Disk>> disks;
  for (auto& [key, facts] : found) {
    const bool isUnique = identities[HardwareIdentity(facts)] == 1;
    disks.push_back(
        std::make_unique<Disk>(std::to_string(disks.size()), std::move(facts), isUnique));
  }
  return disks;
}

}  // namespace orvan::storage
