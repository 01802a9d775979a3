#include "service/machine/nvme_namespaces.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string_view>
#include <utility>

#include "service/machine/drive_node.h"
#include "service/sdk/block_reader.h"

namespace orvan::machine {
namespace {

constexpr char kSubsystems[] = "/sys/class/nvme-subsystem";

// Source: Linux, drivers/nvme/host: "nvme0" is a controller, "nvme0n1" a disk of it or of its
// subsystem, "nvme0c1n1" a hidden path to the latter.
bool IsController(std::string_view name) {
  return IsDriveName(name, false);
}

bool IsDisk(std::string_view name) {
  return name.starts_with("nvme") && IsDriveName(name, true);
}

// The disk that a hidden path leads to; empty when it is none.
std::string DiskOfPath(const std::string& name) {
  const std::size_t c = name.find('c');
  const std::size_t n = name.find('n', c == std::string::npos ? c : c + 1);
  if (n == std::string::npos) return {};
  const std::string disk = name.substr(0, c) + name.substr(n);
  return IsDisk(disk) && IsDisk("nvme" + name.substr(c + 1)) ? disk : std::string();
}

// "259:1" as the kernel writes it.
std::string TextOf(std::uint64_t device) {
  return std::to_string(device >> 32) + ':' + std::to_string(device & 0xFFFFFFFF);
}

// 0: it is none.
std::uint64_t NumberIn(const std::string& text) {
  const std::size_t colon = std::min(text.find(':'), text.size());
  const auto major = sdk::MachineFiles::ParseNumber(text.substr(0, colon));
  const auto minor = sdk::MachineFiles::ParseNumber(text.substr(std::min(colon + 1, text.size())));
  const bool isOne = major && minor && *major <= UINT32_MAX && *minor <= UINT32_MAX;
  return isOne ? sdk::DeviceNumber(static_cast<std::uint32_t>(*major),
                                   static_cast<std::uint32_t>(*minor))
               : 0;
}

std::string NameOf(const std::string& folder) {
  return folder.substr(folder.rfind('/') + 1);
}

class NamespaceFinder {
 public:
  explicit NamespaceFinder(const sdk::MachineFiles& files) : files_(files) {}

  NvmeNamespaces Find(std::uint64_t device) {
    const std::string own = Resolved("/sys/dev/block/" + TextOf(device));
    const std::string subsystem = error_ == 0 ? SubsystemOf(own.substr(0, own.rfind('/'))) : "";
    if (error_ == 0) TakeSubsystem(subsystem);
    for (const std::string& disk : wanted_) {
      if (!found_.contains(disk)) Keep(ENOENT);
    }
    if (!found_.contains(NameOf(own)) || found_[NameOf(own)].device != device) Keep(ENOENT);
    NvmeNamespaces result{{}, error_};
    for (auto& [name, one] : found_) {
      if (error_ == 0) result.all.push_back(std::move(one));
    }
    return result;
  }

 private:
  void Keep(int error) {
    if (error_ == 0) error_ = error;
  }

  std::string Resolved(const std::string& path) {
    int error = 0;
    std::string folder = files_.Resolve(path, &error);
    if (error == 0 && !files_.Exists(folder, &error) && error == 0) error = ENOENT;
    Keep(error);
    return folder;
  }

  std::vector<std::string> Listed(const std::string& folder) {
    int error = 0;
    std::vector<std::string> names = files_.List(folder, &error);
    Keep(error);
    return names;
  }

  // `parent` is the subsystem, or a controller of it.
  std::string SubsystemOf(const std::string& parent) {
    if (NameOf(parent).starts_with("nvme-subsys")) return parent;
    for (const std::string& name : Listed(kSubsystems)) {
      const std::string subsystem = Resolved(kSubsystems + ('/' + name));
      int error = 0;
      const std::string controller = files_.Resolve(subsystem + '/' + NameOf(parent), &error);
      if (error == 0 && controller == parent) return subsystem;
      Keep(error);
    }
    Keep(ENOENT);
    return {};
  }

  void TakeSubsystem(const std::string& subsystem) {
    bool hasController = false;
    for (const std::string& name : Listed(subsystem)) {
      if (IsDisk(name)) Take(subsystem + '/' + name);
      if (!IsController(name)) continue;
      hasController = true;
      TakeController(Resolved(subsystem + '/' + name));
    }
    if (!hasController) Keep(ENOENT);
  }

  void TakeController(const std::string& controller) {
    for (const std::string& name : Listed(controller)) {
      if (IsDisk(name)) Take(controller + '/' + name);
      if (std::string disk = DiskOfPath(name); !disk.empty()) wanted_.insert(std::move(disk));
    }
  }

  void Take(const std::string& folder) {
    NvmeNamespace one;
    one.name = NameOf(folder);
    one.device = NumberIn(files_.ReadText(folder + "/dev"));
    one.diskSequence = files_.ReadNumber(folder + "/diskseq").value_or(0);
    if (one.device == 0) Keep(ENOENT);
    // Two of one name are not to be told apart by their nodes.
    if (!found_.try_emplace(one.name, one).second) Keep(EEXIST);
  }

  const sdk::MachineFiles& files_;
  std::map<std::string, NvmeNamespace> found_;
  std::set<std::string> wanted_;  // disks that hidden paths lead to
  int error_ = 0;
};

}  // namespace

NvmeNamespaces FindNvmeNamespaces(const sdk::MachineFiles& files, std::uint64_t device) {
  return NamespaceFinder(files).Find(device);
}

}  // namespace orvan::machine
