#include "service/modules/storage/partitions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <sstream>
#include <string_view>
#include <utility>

#include "service/modules/storage/identity.h"

namespace orvan::storage {
namespace {

constexpr std::uint64_t kSysfsSectorBytes = 512;  // sysfs counts sizes in these, whatever the disk
constexpr std::uint64_t kMountTableBytes = 4U << 20;
constexpr std::size_t kDatabaseBytes = 65536;
constexpr std::uint32_t kMostPrimaryPartitions = 4;
// The kernel gives an extended partition this length, so that only its table can be reached.
constexpr std::uint64_t kExtendedBytes = 1024;

// "\040" as in /proc, "\x20" as in the device manager's database.
std::string Unescaped(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isHex = i + 1 < text.size() && text[i + 1] == 'x';
    const std::size_t begin = i + (isHex ? 2 : 1);
    const std::size_t digits = isHex ? 2 : 3;
    unsigned value = 0;
    if (text[i] == '\\' && begin + digits <= text.size() &&
        std::from_chars(text.data() + begin, text.data() + begin + digits, value, isHex ? 16 : 8)
                .ptr == text.data() + begin + digits) {
      out += static_cast<char>(value);
      i = begin + digits - 1;
    } else {
      out += text[i];
    }
  }
  return out;
}

std::string NodePath(std::string kernelName) {
  std::replace(kernelName.begin(), kernelName.end(), '!', '/');
  return "/dev/" + kernelName;
}

// Whether the kernel opened the source of a mount, so that it names a device. A file system on one
// device has its number, and one of several devices a number that is nobody's. Anybody may mount
// one of FUSE under any source, and what has no device has any.
bool NamesItsDevice(const std::string& number, const std::string& type) {
  static constexpr std::array<std::string_view, 2> kOfSeveralDevices = {"bcachefs", "btrfs"};
  return number.starts_with("0:") && std::find(kOfSeveralDevices.begin(), kOfSeveralDevices.end(),
                                               type) != kOfSeveralDevices.end();
}

}  // namespace

// Source: proc(5), /proc/pid/mountinfo: id, parent, number, root, mount point, options, optional
// fields, "-", file system type, source, super options.
MountTable::MountTable(const sdk::MachineFiles& files) {
  std::istringstream lines(
      files.ReadBytes("/proc/self/mountinfo", kMountTableBytes).value_or(std::string()));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream fields(line);
    std::string id, parent, number, root, point;
    if (!(fields >> id >> parent >> number >> root >> point)) continue;
    std::string field, type, source;
    while (fields >> field && field != "-") continue;
    fields >> type >> source;
    const Mount mount{Unescaped(point), type, root == "/"};
    Keep(byNumber_, number, mount);
    if (NamesItsDevice(number, type) && source.starts_with("/dev/")) {
      Keep(byPath_, Unescaped(source), mount);
    }
  }
}

// The first mount of a device stays, except that one of the whole file system beats one of a part.
void MountTable::Keep(std::map<std::string, Mount>& mounts, const std::string& key,
                      const Mount& mount) {
  const auto [found, isNew] = mounts.try_emplace(key, mount);
  if (!isNew && mount.isWhole && !found->second.isWhole) found->second = mount;
}

Mount MountTable::Find(const std::string& number, const std::string& devicePath) const {
  if (const auto found = byNumber_.find(number); found != byNumber_.end()) return found->second;
  const auto found = byPath_.find(devicePath);
  return found == byPath_.end() ? Mount() : found->second;
}

PartitionSearch::PartitionSearch(const sdk::MachineFiles& files, const MountTable& mounts,
                                 const DiskFacts& facts)
    : sectorBytes_(facts.logicalSectorBytes.value_or(0)) {
  int error = 0;
  for (const std::string& name : files.List(facts.folder, &error)) {
    const std::string folder = facts.folder + '/' + name;
    const auto index = files.ReadNumber(folder + "/partition");
    if (!index || !name.starts_with(facts.kernelName)) continue;
    Read(files, mounts, folder, name, static_cast<std::uint32_t>(*index));
    if (*index != 0 && parts_.back().known.entryScheme.empty()) AskForTable(files, facts);
  }
  if (error == 0 && parts_.empty() && facts.sizeBytes.value_or(0) != 0) {
    Read(files, mounts, facts.folder, facts.kernelName, 0);
  }
}

PartitionSearch::Known PartitionSearch::ReadDeviceDatabase(const sdk::MachineFiles& files,
                                                           const std::string& number) {
  Known known;
  const std::map<std::string, std::string*> wanted = {
      {"E:ID_FS_TYPE", &known.facts.fileSystem},
      {"E:ID_FS_LABEL_ENC", &known.facts.label},
      {"E:ID_PART_TABLE_TYPE", &known.facts.tableType},
      {"E:ID_PART_ENTRY_SCHEME", &known.entryScheme},
      {"E:ID_PART_ENTRY_TYPE", &known.entryType},
  };
  std::istringstream lines(
      files.ReadBytes("/run/udev/data/b" + number, kDatabaseBytes).value_or(std::string()));
  for (std::string line; std::getline(lines, line);) {
    const std::size_t equals = line.find('=');
    const auto field = wanted.find(line.substr(0, equals));
    if (field != wanted.end() && equals != std::string::npos) {
      *field->second = Unescaped(line.substr(equals + 1));
    }
  }
  return known;
}

void PartitionSearch::Read(const sdk::MachineFiles& files, const MountTable& mounts,
                           const std::string& folder, const std::string& name,
                           std::uint32_t index) {
  const std::string number = files.ReadText(folder + "/dev");
  const std::string path = NodePath(name);
  Part one;
  one.partition.index = index;
  if (const auto sectors = files.ReadNumber(folder + "/size")) {
    one.partition.sizeBytes = *sectors * kSysfsSectorBytes;
  }
  one.mount = mounts.Find(number, path);
  one.known = ReadDeviceDatabase(files, number);
  const bool mustProbe = one.known.facts.fileSystem.empty() && one.known.entryScheme.empty();
  if (mustProbe || !one.mount.point.empty()) {
    looks_.push_back({parts_.size(), mustProbe ? path : std::string(), one.mount.point});
  }
  parts_.push_back(std::move(one));
}

void PartitionSearch::AskForTable(const sdk::MachineFiles& files, const DiskFacts& facts) {
  if (tableType_) return;
  tableType_ = ReadDeviceDatabase(files, files.ReadText(facts.folder + "/dev")).facts.tableType;
  if (tableType_->empty()) looks_.push_back({.device = facts.devicePath, .isForTable = true});
}

void PartitionSearch::Look(sdk::FilesystemProbe& probe, std::chrono::milliseconds limit,
                           std::stop_token stop) {
  if (looks_.empty()) return;
  const Due due = std::move(looks_.front());
  looks_.pop_front();
  const bool isStopped = stop.stop_requested();
  const std::optional<sdk::FilesystemFacts> facts =
      isStopped ? std::nullopt : probe.Probe(due.device, due.mountPoint, limit, std::move(stop));
  if (!facts) {
    looks_.clear();
  } else if (due.isForTable) {
    tableType_ = facts->tableType;
  } else {
    sdk::FilesystemFacts& known = parts_[due.part].known.facts;
    if (due.device.empty()) {
      known.use = facts->use;
    } else {
      known = *facts;
    }
  }
}

std::string PartitionSearch::TypeOf(const Part& one) const {
  const Partition& part = one.partition;
  const Known& known = one.known;
  if (part.index == 0) return "PRIMARY";
  const std::string scheme =
      known.entryScheme.empty() ? tableType_.value_or("") : known.entryScheme;
  if (scheme != "dos") return "PRIMARY";
  if (part.index > kMostPrimaryPartitions) return "LOGICAL";
  const bool saysExtended =
      known.entryType == "0x5" || known.entryType == "0xf" || known.entryType == "0x85";
  const bool looksExtended = known.entryType.empty() && part.sizeBytes &&
                             *part.sizeBytes <= std::max(kExtendedBytes, sectorBytes_);
  return saysExtended || looksExtended ? "EXTENDED" : "PRIMARY";
}

Partition PartitionSearch::Finished(const Part& one) const {
  Partition part = one.partition;
  const sdk::FilesystemFacts& facts = one.known.facts;
  part.mountPoint = one.mount.point;
  part.type = TypeOf(one);
  part.fileSystem = part.type == "EXTENDED" ? "" : Trimmed(facts.fileSystem);
  if (part.fileSystem.empty()) part.fileSystem = one.mount.fileSystem;
  part.label = Trimmed(facts.label);
  part.hasUse = facts.use.has_value();
  if (part.hasUse) {
    part.usedBytes = facts.use->usedBytes;
    part.freeBytes = facts.use->freeBytes;
  }
  return part;
}

std::vector<Partition> PartitionSearch::Found() const {
  std::vector<Partition> partitions;
  for (const Part& one : parts_) {
    Partition part = Finished(one);
    const bool isPartition = part.index != 0;
    if (isPartition || !part.fileSystem.empty() || !part.mountPoint.empty()) {
      partitions.push_back(std::move(part));
    }
  }
  std::sort(partitions.begin(), partitions.end(),
            [](const Partition& a, const Partition& b) { return a.index < b.index; });
  return partitions;
}

}  // namespace orvan::storage
