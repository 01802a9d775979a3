#include "service/machine/helper_probe.h"

#include <blkid/blkid.h>
#include <fcntl.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "os/descriptor.h"

namespace orvan::machine {
namespace {

using BlkidProbe = std::unique_ptr<blkid_struct_probe, decltype(&blkid_free_probe)>;

template <std::size_t N>
void Look(blkid_probe probe, const char* name, std::array<char, N>& field) {
  const char* value = nullptr;
  if (blkid_probe_lookup_value(probe, name, &value, nullptr) != 0) return;
  std::copy_n(value, std::min(std::strlen(value), N - 1), field.begin());
}

void ProbeDevice(const char* device, ProbedMessage& answer) {
  const tarvex::Descriptor fd(open(device, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  const BlkidProbe probe(blkid_new_probe(), blkid_free_probe);
  if (!fd.IsOpen() || !probe || blkid_probe_set_device(probe.get(), fd.Get(), 0, 0) != 0) return;
  blkid_probe_enable_superblocks(probe.get(), 1);
  blkid_probe_set_superblocks_flags(probe.get(), BLKID_SUBLKS_LABEL | BLKID_SUBLKS_TYPE);
  blkid_probe_enable_partitions(probe.get(), 1);
  if (blkid_do_safeprobe(probe.get()) != 0) return;
  Look(probe.get(), "PTTYPE", answer.tableType);
  Look(probe.get(), "TYPE", answer.fileSystem);
  Look(probe.get(), "LABEL", answer.label);
}

void AskUse(const char* mountPoint, ProbedMessage& answer) {
  struct statvfs status {};
  if (statvfs(mountPoint, &status) != 0) return;
  answer.hasUse = 1;
  answer.usedBytes = (status.f_blocks - status.f_bfree) * status.f_frsize;
  answer.freeBytes = status.f_bfree * status.f_frsize;
}

}  // namespace

ProbedMessage AnswerProbe(const ProbeMessage& question) {
  ProbedMessage answer;
  if (question.device[0] != '\0') ProbeDevice(question.device.data(), answer);
  if (question.mountPoint[0] != '\0') AskUse(question.mountPoint.data(), answer);
  return answer;
}

}  // namespace orvan::machine
