#include "service/machine/device_use.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <set>
#include <sstream>
#include <string_view>
#include <vector>

#include "os/descriptor.h"

namespace orvan::machine {
namespace {

using sdk::WriteRefusal;

constexpr std::size_t kMountTableBytes = 16U << 20;
constexpr std::size_t kSwapTableBytes = 1U << 20;
constexpr char kClassFolder[] = "/sys/class/block/";

// "8:1" as the kernel writes it.
std::string NumberText(std::uint64_t device) {
  return std::to_string(device >> 32) + ':' + std::to_string(device & 0xFFFFFFFF);
}

// Blanks, tabs, line feeds and backslashes in the kernel's tables are written as \ooo.
std::string Decoded(const std::string& text) {
  const auto isOctal = [](char c) { return c >= '0' && c <= '7'; };
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 3 < text.size() && isOctal(text[i + 1]) && isOctal(text[i + 2]) &&
        isOctal(text[i + 3])) {
      out += static_cast<char>((text[i + 1] - '0') * 64 + (text[i + 2] - '0') * 8 +
                               (text[i + 3] - '0'));
      i += 3;
    } else {
      out += text[i];
    }
  }
  return out;
}

class UseFinder {
 public:
  UseFinder(const sdk::MachineFiles& files, std::uint64_t device, const LoopGround& ground)
      : files_(files), ground_(ground) {
    folder_ = files_.Resolve("/sys/dev/block/" + NumberText(device), &error_);
  }

  DeviceUse Find() {
    // A device of no folder has no holders that could be seen.
    if (error_ == 0 && !files_.Exists(folder_, &error_) && error_ == 0) error_ = ENOENT;
    if (error_ == 0) Gather();
    if (error_ == 0 && use_.refusal == WriteRefusal::kNone) FindLoops();
    if (error_ == 0 && use_.refusal == WriteRefusal::kNone) FindMount();
    if (error_ == 0 && use_.refusal == WriteRefusal::kNone) FindSwap();
    if (error_ != 0) return {WriteRefusal::kUnknownUse, error_};
    return use_;
  }

 private:
  void Refuse(WriteRefusal refusal, const std::string& user) {
    if (use_.refusal == WriteRefusal::kNone) use_ = {refusal, 0, user};
  }

  // The device, the disk that it is a partition of, and its own partitions, with their holders.
  void Gather() {
    Take(folder_);
    if (Has(folder_ + "/partition")) Take(folder_.substr(0, folder_.find_last_of('/')));
    int error = 0;
    for (const std::string& name : files_.List(folder_, &error)) {
      if (Has(folder_ + '/' + name + "/partition")) Take(folder_ + '/' + name);
    }
    Keep(error);
  }

  // By the kernel's word and not by the name of what lies under it, which may be any node's, or no
  // longer there.
  void FindLoops() {
    int error = 0;
    for (const std::string& name : files_.List("/sys/block", &error)) {
      if (!name.starts_with("loop") || !Has("/sys/block/" + name + "/loop")) continue;
      std::uint64_t device = 0;
      Keep(ground_(name, device));
      if (device != 0 && numbers_.contains(NumberText(device))) Refuse(WriteRefusal::kHeld, name);
    }
    Keep(error);
  }

  bool Has(const std::string& path) {
    int error = 0;
    const bool exists = files_.Exists(path, &error);
    Keep(error);
    return exists;
  }

  void Take(const std::string& folder) {
    const std::string number = files_.ReadText(folder + "/dev");
    if (number.empty()) Keep(ENOENT);
    numbers_.insert(number);
    int error = 0;
    const std::vector<std::string> holders = files_.List(folder + "/holders", &error);
    Keep(error);
    if (!holders.empty()) Refuse(WriteRefusal::kHeld, holders.front());
  }

  void Keep(int error) {
    if (error_ == 0) error_ = error;
  }

  std::string Table(const char* path, std::size_t limit) {
    int error = 0;
    std::string text = files_.ReadBytes(path, limit, &error).value_or(std::string());
    Keep(error);
    if (text.size() >= limit) Keep(EFBIG);  // cut, so somebody may be missing
    return text;
  }

  // Source: proc(5), /proc/pid/mountinfo: id, parent, number, root, mount point, options, optional
  // fields, "-", file system type, source, super options.
  void FindMount() {
    const std::string table = Table("/proc/self/mountinfo", kMountTableBytes);
    if (table.empty()) Keep(ENOENT);  // the root at least is mounted
    std::istringstream lines(table);
    for (std::string line; std::getline(lines, line);) {
      std::istringstream fields(line);
      std::string id, parent, number, root, point, field, type, source;
      if (!(fields >> id >> parent >> number >> root >> point)) continue;
      while (fields >> field && field != "-") continue;
      fields >> type >> source;
      if (numbers_.contains(number) || (OpensItsSource(type) && IsOneOfThem(Decoded(source)))) {
        Refuse(WriteRefusal::kMounted, Decoded(point));
      }
    }
  }

  // File systems of several devices have a number of their own; the kernel itself opened what is
  // named as their source.
  static bool OpensItsSource(const std::string& type) {
    static constexpr std::array<std::string_view, 2> kTypes = {"bcachefs", "btrfs"};
    return std::find(kTypes.begin(), kTypes.end(), type) != kTypes.end();
  }

  // Source: proc(5), /proc/swaps: a head, then file, type and more for each.
  void FindSwap() {
    std::istringstream lines(Table("/proc/swaps", kSwapTableBytes));
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line)) {
      std::istringstream fields(line);
      std::string file, type;
      fields >> file >> type;
      if (type == "partition" && IsOneOfThem(Decoded(file))) {
        Refuse(WriteRefusal::kSwap, Decoded(file));
      }
    }
  }

  // Whether a node, reached over links too, is one of these devices. By the kernel's name, for any
  // node could be called so; a device that has left the machine is none of them.
  bool IsOneOfThem(const std::string& node) {
    int error = 0;
    const std::string path = files_.Resolve(node, &error);
    Keep(error);
    constexpr std::string_view kNodes = "/dev/";
    if (!path.starts_with(kNodes)) return false;
    std::string name = path.substr(kNodes.size());
    std::replace(name.begin(), name.end(), '/', '!');
    const std::string number = files_.ReadText(kClassFolder + name + "/dev");
    return !number.empty() && numbers_.contains(number);
  }

  const sdk::MachineFiles& files_;
  const LoopGround& ground_;
  std::string folder_;
  std::set<std::string> numbers_;  // of all whose use counts
  DeviceUse use_;
  int error_ = 0;
};

}  // namespace

int AskLoopGround(const std::string& name, std::uint64_t& device) {
  device = 0;
  const std::string path = "/dev/" + name;
  const tarvex::Descriptor loop(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW));
  loop_info64 info{};
  if (!loop.IsOpen() || ioctl(loop.Get(), LOOP_GET_STATUS64, &info) != 0) {
    return errno == ENXIO ? 0 : errno;
  }
  const dev_t ground = info.lo_rdevice;
  device = ground == 0 ? 0 : sdk::DeviceNumber(major(ground), minor(ground));
  return 0;
}

DeviceUse FindUse(const sdk::MachineFiles& files, std::uint64_t device, const LoopGround& ground) {
  return UseFinder(files, device, ground).Find();
}

}  // namespace orvan::machine
