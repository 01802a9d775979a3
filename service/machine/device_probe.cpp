#include "service/machine/device_probe.h"

#include <blkid/blkid.h>
#include <fcntl.h>
#include <sys/statvfs.h>

#include <memory>

#include "os/descriptor.h"

namespace orvan::machine {
namespace {

using BlkidProbe = std::unique_ptr<blkid_struct_probe, decltype(&blkid_free_probe)>;

std::string Value(blkid_probe probe, const char* name) {
  const char* value = nullptr;
  return blkid_probe_lookup_value(probe, name, &value, nullptr) == 0 ? value : "";
}

void LookAtDevice(const std::string& device, sdk::FilesystemFacts& facts) {
  const tarvex::Descriptor fd(open(device.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  const BlkidProbe probe(blkid_new_probe(), blkid_free_probe);
  if (!fd.IsOpen() || !probe || blkid_probe_set_device(probe.get(), fd.Get(), 0, 0) != 0) return;
  blkid_probe_enable_superblocks(probe.get(), 1);
  blkid_probe_set_superblocks_flags(probe.get(), BLKID_SUBLKS_LABEL | BLKID_SUBLKS_TYPE);
  blkid_probe_enable_partitions(probe.get(), 1);
  if (blkid_do_safeprobe(probe.get()) != 0) return;
  facts.tableType = Value(probe.get(), "PTTYPE");
  facts.fileSystem = Value(probe.get(), "TYPE");
  facts.label = Value(probe.get(), "LABEL");
}

}  // namespace

sdk::FilesystemFacts LookAt(const std::string& device, const std::string& mountPoint) {
  sdk::FilesystemFacts facts;
  if (!device.empty()) LookAtDevice(device, facts);
  struct statvfs status {};
  if (!mountPoint.empty() && statvfs(mountPoint.c_str(), &status) == 0) {
    facts.use = {(status.f_blocks - status.f_bfree) * status.f_frsize,
                 status.f_bfree * status.f_frsize};
  }
  return facts;
}

}  // namespace orvan::machine
