#include "service/modules/storage/disk_scan.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <map>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "service/modules/storage/disk_contents.h"
#include "service/modules/storage/drive_features.h"
#include "service/modules/storage/hardware_path.h"
#include "service/modules/storage/identity.h"
#include "service/modules/storage/partitions.h"
#include "service/modules/storage/words.h"
#include "service/sdk/block_reader.h"

namespace orvan::storage {
namespace {

constexpr std::uint64_t kSysfsSectorBytes = 512;
constexpr char kBlockFolder[] = "/sys/block";
constexpr char kLast[] = "\x7f";  // sorts behind every path

// Source: SPC-5, peripheral device types of disks: direct access (00h), optical memory (07h),
// simplified direct access (0Eh), host managed zoned (14h).
constexpr std::array<std::string_view, 4> kScsiDiskTypes = {"0", "7", "14", "20"};

bool IsScsiDisk(const sdk::MachineFiles& files, const std::string& folder) {
  const std::string type = files.ReadText(folder + "/device/type");
  return type.empty() ||
         std::find(kScsiDiskTypes.begin(), kScsiDiskTypes.end(), type) != kScsiDiskTypes.end();
}

// Boot and replay-protected areas of a card are disks of their own to the kernel: "mmcblk0boot0".
bool IsCard(const std::string& name) {
  return name.find_first_not_of("0123456789", std::string_view("mmcblk").size()) ==
         std::string::npos;
}

// "nvme0c1n1": one path to a multipath disk.
bool IsNvmePath(const std::string& name) {
  return name.find('c', std::string_view("nvme").size()) != std::string::npos;
}

bool MayBeDisk(const std::string& name, bool includeLoop) {
  if (name.starts_with("loop")) return includeLoop;
  if (name.starts_with("mmcblk")) return IsCard(name);
  if (name.starts_with("nvme")) return !IsNvmePath(name);
  return name.starts_with("sd") || name.starts_with("vd") || name.starts_with("xvd");
}

// What cannot be read speaks for a disk: none that is there may lose its place.
bool IsDisk(const sdk::MachineFiles& files, const std::string& name, const std::string& folder) {
  if (files.ReadText(folder + "/hidden") == "1") return false;
  return !name.starts_with("sd") || IsScsiDisk(files, folder);
}

// Whether a loop device has a file; none when that cannot be found out. Its size decides, for an
// unbound one has none and an empty file has nothing to read.
std::optional<bool> HasFile(const sdk::MachineFiles& files, const std::string& folder) {
  if (const auto sectors = files.ReadNumber(folder + "/size")) return *sectors != 0;
  // There for as long as a file is bound. Two looks, for one may miss what is there.
  bool isKnown = true;
  for (const char* name : {"/loop", "/loop/backing_file"}) {
    int error = 0;
    if (files.Exists(folder + name, &error)) return true;
    isKnown = isKnown && error == 0;
  }
  return isKnown ? std::optional<bool>(false) : std::nullopt;
}

std::uint64_t ParseDeviceNumber(const std::string& text) {
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  const char* end = text.data() + text.size();
  const auto colon = std::from_chars(text.data(), end, major);
  if (colon.ec != std::errc() || colon.ptr == end || *colon.ptr != ':') return 0;
  const auto rest = std::from_chars(colon.ptr + 1, end, minor);
  return rest.ec == std::errc() ? sdk::DeviceNumber(major, minor) : 0;
}

// What every disk has and this one does not tell.
using Lacking = std::vector<sdk::FileTrouble>;

Lacking ReadDisk(const sdk::MachineFiles& files, const std::string& hardwareFolder,
                 DiskFacts& facts) {
  const std::string& folder = facts.folder;
  const std::string number = files.ReadText(folder + "/dev");
  facts.deviceNumber = ParseDeviceNumber(number);
  const std::string size = files.ReadText(folder + "/size");
  if (const auto sectors = sdk::MachineFiles::ParseNumber(size)) {
    facts.sizeBytes = *sectors * kSysfsSectorBytes;
  }
  facts.logicalSectorBytes = files.ReadNumber(folder + "/queue/logical_block_size");
  facts.physicalSectorBytes = files.ReadNumber(folder + "/queue/physical_block_size");
  if (const auto rotational = files.ReadNumber(folder + "/queue/rotational")) {
    facts.isRotating = *rotational == 1;
  }
  ReadIdentity(files, hardwareFolder, facts);
  Lacking lacking;
  if (facts.deviceNumber == 0) lacking.push_back({"dev", number.empty() ? ENOENT : 0});
  if (!facts.sizeBytes) lacking.push_back({"size", size.empty() ? ENOENT : 0});
  if (facts.transport == Transport::kLoop && facts.backingFile.empty()) {
    lacking.push_back({"loop/backing_file", ENOENT});
  }
  return lacking;
}

// What could not be read at all is told already.
void AddLacking(const Lacking& lacking, DiskFacts& facts) {
  for (const sdk::FileTrouble& one : lacking) {
    const auto isIt = [&one](const sdk::FileTrouble& other) { return other.path == one.path; };
    if (std::none_of(facts.unread.begin(), facts.unread.end(), isIt)) facts.unread.push_back(one);
  }
}

struct FoundDisk {
  std::string sortKey;
  DiskFacts facts;
  PartitionSearch partitions = {};
};

std::vector<Partition> ContentAt(DiskContents& contents, std::size_t place, ContentLook look,
                                 std::stop_token stop) {
  if (look == ContentLook::kAll) {
    contents.LookAtAll(std::move(stop));
  } else {
    contents.LookAt(place, std::move(stop));
  }
  return contents.Of(place);
}

// The scan of one machine.
class Scan {
 public:
  Scan(sdk::Machine& machine, bool includeLoop)
      : machine_(machine), files_(machine.Files()), includeLoop_(includeLoop), mounts_(files_) {}

  std::vector<std::unique_ptr<Disk>> Run() {
    for (const std::string& name : Names()) {
      if (MayBeDisk(name, includeLoop_)) Look(name);
    }
    std::stable_sort(found_.begin(), found_.end(),
                     [](const auto& a, const auto& b) { return a.sortKey < b.sortKey; });
    std::map<std::string, int> identities;
    for (const FoundDisk& disk : found_) ++identities[HardwareIdentity(disk.facts)];
    const auto contents = std::make_shared<DiskContents>(machine_, TakeSearches());
    std::vector<std::unique_ptr<Disk>> disks;
    for (FoundDisk& disk : found_) {
      const bool isUnique = identities[HardwareIdentity(disk.facts)] == 1;
      disk.facts.disorderedBy = disorderedBy_;
      const std::size_t place = disks.size();
      disks.push_back(
          std::make_unique<Disk>(std::to_string(place), std::move(disk.facts), isUnique,
                                 [contents, place](ContentLook look, std::stop_token stop) {
                                   return ContentAt(*contents, place, look, std::move(stop));
                                 }));
    }
    return disks;
  }

 private:
  std::vector<std::string> Names() const {
    int error = 0;
    std::vector<std::string> names = files_.List(kBlockFolder, &error);
    if (error == 0 && names.empty() && !files_.Exists(kBlockFolder, &error) && error == 0) {
      error = ENOENT;
    }
    if (error != 0) throw std::runtime_error(kBlockFolder + (": " + words::ErrorText(error)));
    return names;
  }

  void Look(const std::string& name) {
    const sdk::WatchedFiles watched(files_);
    DiskFacts facts;
    facts.kernelName = name;
    facts.devicePath = "/dev/" + name;
    std::replace(facts.devicePath.begin(), facts.devicePath.end(), '!', '/');
    int error = 0;
    facts.folder = BlockFolder(files_, name, error);
    if (facts.folder.empty()) {
      if (error != ENOENT || files_.ReadLink(kBlockFolder + ('/' + name))) Displace(facts, error);
      return;
    }
    const bool isLoop = name.starts_with("loop");
    const std::optional<bool> isDisk =
        isLoop ? HasFile(watched, facts.folder) : IsDisk(watched, name, facts.folder);
    if (isDisk == false) return;
    const HardwarePath path = LookForPath(facts);
    facts.busPath = path.text;
    const Lacking lacking = ReadDisk(watched, path.folder, facts);
    facts.features = ReadFeatures(files_, path.folder, facts);
    // One more check where it is known, and no lack where it is not.
    facts.diskSequence = files_.ReadNumber(facts.folder + "/diskseq").value_or(0);
    PartitionSearch partitions(watched, mounts_, facts);
    KeepTroubles(watched.TakeTroubles(), facts);
    AddLacking(lacking, facts);
    // What was pulled out while we looked is no disk of the machine any more.
    if ((path.trouble || !facts.unread.empty()) && IsGone(facts.folder)) return;
    if (path.trouble) {
      Displace(facts, path.trouble->error);
    } else if (!isDisk) {
      Displace(facts, facts.unread.front().error);
    } else {
      found_.push_back({path.sortKey, std::move(facts)});
    }
    found_.back().partitions = std::move(partitions);
  }

  // What was in the way for a moment only is looked at again, for on this hang all ids.
  HardwarePath LookForPath(const DiskFacts& facts) const {
    HardwarePath path = ReadHardwarePath(files_, facts.kernelName, facts.folder);
    return path.trouble ? ReadHardwarePath(files_, facts.kernelName, facts.folder) : path;
  }

  // In the order of the disks.
  std::vector<PartitionSearch> TakeSearches() {
    std::vector<PartitionSearch> searches;
    for (FoundDisk& disk : found_) searches.push_back(std::move(disk.partitions));
    return searches;
  }

  bool IsGone(const std::string& folder) const {
    int error = 0;
    return !files_.Exists(folder, &error) && error == 0;
  }

  // Nobody knows where it stands among the others.
  void Displace(DiskFacts& facts, int error) {
    facts.unread.push_back({"hardware path", error});
    if (disorderedBy_.empty()) disorderedBy_ = facts.kernelName;
    found_.push_back({kLast + facts.kernelName, std::move(facts)});
  }

  // What /proc and the device manager do not tell is shown as unknown and keeps nobody from
  // reading.
  static void KeepTroubles(std::vector<sdk::FileTrouble> troubles, DiskFacts& facts) {
    for (sdk::FileTrouble& trouble : troubles) {
      if (!trouble.path.starts_with("/sys/")) continue;
      if (trouble.path.starts_with(facts.folder + '/')) {
        trouble.path.erase(0, facts.folder.size() + 1);
      }
      facts.unread.push_back(std::move(trouble));
    }
  }

  sdk::Machine& machine_;
  const sdk::MachineFiles& files_;
  bool includeLoop_;
  const MountTable mounts_;
  std::vector<FoundDisk> found_;
  std::string disorderedBy_;  // see DiskFacts
};

}  // namespace

std::vector<std::unique_ptr<Disk>> ScanDisks(sdk::Machine& machine, bool includeLoop) {
  return Scan(machine, includeLoop).Run();
}

}  // namespace orvan::storage
