#include "service/modules/storage/partitions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <sstream>
#include <string_view>

#include "service/modules/storage/identity.h"

namespace orvan::storage {
namespace {

constexpr std::uint64_t kSysfsSectorBytes = 512;  // sysfs counts sizes in these, whatever the disk
constexpr std::uint64_t kMountTableBytes = 4U << 20;
constexpr std::uint32_t kMostPrimaryPartitions = 4;
// The kernel gives an extended partition this length, so that only its table can be reached.
constexpr std::uint64_t kExtendedBytes = 1024;

using Facts = sdk::FilesystemFacts;

// "\040" as in /proc, "\x20" as in the device manager's database.
std::string Decoded(const std::string& text) {
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

// What the device manager has stored about a block device.
struct Known {
  Facts facts;
  std::string entryScheme;  // of the table that the partition stands in
  std::string entryType;    // e.g. "0xf"
};

std::optional<Known> ReadDeviceDatabase(const sdk::MachineFiles& files, const std::string& number) {
  const auto text = files.ReadBytes("/run/udev/data/b" + number, 65536);
  if (!text) return {};
  Known known;
  const std::map<std::string, std::string*> wanted = {
      {"E:ID_FS_TYPE", &known.facts.fileSystem},
      {"E:ID_FS_LABEL_ENC", &known.facts.label},
      {"E:ID_PART_TABLE_TYPE", &known.facts.tableType},
      {"E:ID_PART_ENTRY_SCHEME", &known.entryScheme},
      {"E:ID_PART_ENTRY_TYPE", &known.entryType},
  };
  std::istringstream lines(*text);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t equals = line.find('=');
    const auto field = wanted.find(line.substr(0, equals));
    if (field != wanted.end() && equals != std::string::npos) {
      *field->second = Decoded(line.substr(equals + 1));
    }
  }
  return known;
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

class PartitionReader {
 public:
  PartitionReader(const sdk::MachineFiles& files, sdk::FilesystemProbe& probe,
                  const MountTable& mounts, const DiskFacts& disk, std::stop_token stop)
      : files_(files), probe_(probe), mounts_(mounts), disk_(disk), stop_(std::move(stop)) {}

  std::vector<Partition> Read() {
    std::vector<Partition> partitions;
    const std::string& folder = disk_.folder;
    int error = 0;
    for (const std::string& name : files_.List(folder, &error)) {
      const auto index = files_.ReadNumber(folder + '/' + name + "/partition");
      if (!index || !name.starts_with(disk_.kernelName)) continue;
      partitions.push_back(ReadOne(folder + '/' + name, name, static_cast<std::uint32_t>(*index)));
    }
    std::sort(partitions.begin(), partitions.end(),
              [](const Partition& a, const Partition& b) { return a.index < b.index; });
    if (error == 0 && partitions.empty() && disk_.sizeBytes.value_or(0) != 0) {
      Partition whole = ReadOne(folder, disk_.kernelName, 0);
      if (!whole.fileSystem.empty() || !whole.mountPoint.empty()) {
        partitions.push_back(std::move(whole));
      }
    }
    return partitions;
  }

 private:
  Partition ReadOne(const std::string& folder, const std::string& name, std::uint32_t index) {
    const std::string number = files_.ReadText(folder + "/dev");
    const std::string path = NodePath(name);
    Partition part;
    part.index = index;
    if (const auto sectors = files_.ReadNumber(folder + "/size")) {
      part.sizeBytes = *sectors * kSysfsSectorBytes;
    }
    const Mount mount = mounts_.Find(number, path);
    part.mountPoint = mount.point;
    Known known = ReadDeviceDatabase(files_, number).value_or(Known());
    const bool mustProbe = known.facts.fileSystem.empty() && known.entryScheme.empty();
    if (mustProbe || !mount.point.empty()) {
      const Facts probed = Probe(mustProbe ? path : std::string(), mount.point);
      if (mustProbe) known.facts = probed;
      known.facts.use = probed.use;
    }
    part.type = TypeOf(part, known);
    part.fileSystem = part.type == "EXTENDED" ? "" : Trimmed(known.facts.fileSystem);
    if (part.fileSystem.empty()) part.fileSystem = mount.fileSystem;
    part.label = Trimmed(known.facts.label);
    part.hasUse = known.facts.use.has_value();
    if (part.hasUse) {
      part.usedBytes = known.facts.use->usedBytes;
      part.freeBytes = known.facts.use->freeBytes;
    }
    return part;
  }

  std::string TypeOf(const Partition& part, const Known& known) {
    if (part.index == 0) return "PRIMARY";
    const std::string scheme = known.entryScheme.empty() ? TableType() : known.entryScheme;
    if (scheme != "dos") return "PRIMARY";
    if (part.index > kMostPrimaryPartitions) return "LOGICAL";
    const bool saysExtended =
        known.entryType == "0x5" || known.entryType == "0xf" || known.entryType == "0x85";
    const bool looksExtended =
        known.entryType.empty() && part.sizeBytes &&
        *part.sizeBytes <=
            std::max<std::uint64_t>(kExtendedBytes, disk_.logicalSectorBytes.value_or(0));
    return saysExtended || looksExtended ? "EXTENDED" : "PRIMARY";
  }

  // A disk that did not answer once is not asked again: each probe may take its whole limit.
  Facts Probe(const std::string& device, const std::string& mountPoint) {
    if (gaveUp_ || stop_.stop_requested()) return {};
    std::optional<Facts> facts = probe_.Probe(device, mountPoint, stop_);
    gaveUp_ = !facts;
    return std::move(facts).value_or(Facts());
  }

  // The kind of the disk's partition table, asked once.
  const std::string& TableType() {
    if (!tableType_) {
      const auto known = ReadDeviceDatabase(files_, files_.ReadText(disk_.folder + "/dev"));
      tableType_ = known && !known->facts.tableType.empty() ? known->facts.tableType
                                                            : Probe(disk_.devicePath, "").tableType;
    }
    return *tableType_;
  }

  const sdk::MachineFiles& files_;
  sdk::FilesystemProbe& probe_;
  const MountTable& mounts_;
  const DiskFacts& disk_;
  std::stop_token stop_;
  std::optional<std::string> tableType_;
  bool gaveUp_ = false;
};

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
    const Mount mount{Decoded(point), type, root == "/"};
    Keep(byNumber_, number, mount);
    if (NamesItsDevice(number, type) && source.starts_with("/dev/")) {
      Keep(byPath_, Decoded(source), mount);
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

std::vector<Partition> ReadPartitions(const sdk::MachineFiles& files, sdk::FilesystemProbe& probe,
                                      const MountTable& mounts, const DiskFacts& facts,
                                      std::stop_token stop) {
  return PartitionReader(files, probe, mounts, facts, std::move(stop)).Read();
}

}  // namespace orvan::storage
