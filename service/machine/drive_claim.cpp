#include "service/machine/drive_claim.h"

#include <cerrno>
#include <string>
#include <utility>
#include <variant>

#include "service/machine/device_use.h"
#include "service/machine/nvme_namespaces.h"

namespace orvan::machine {
namespace {

ClaimedDrive Refused(int error) {
  ClaimedDrive claimed;
  claimed.error = error;
  claimed.isRefused = true;
  return claimed;
}

// What the command may change, its own device among it.
NvmeNamespaces Reached(const sdk::MachineFiles& files, const sdk::DriveCommand& command) {
  if (std::holds_alternative<sdk::NvmeAdminCommand>(command.command)) {
    return FindNvmeNamespaces(files, command.expectedDevice);
  }
  return {{{{}, command.expectedDevice, command.diskSequence}}, 0};
}

// 0 when nobody uses any of them; else why not.
int UseOf(const sdk::MachineFiles& files, const std::vector<NvmeNamespace>& media) {
  for (const NvmeNamespace& medium : media) {
    const DeviceUse use = FindUse(files, medium.device);
    if (use.refusal != sdk::WriteRefusal::kNone) return use.error == 0 ? EBUSY : use.error;
  }
  return 0;
}

// Who uses it in another mount namespace is told by nothing else.
OpenedDrive Hold(const sdk::MachineFiles& files, const DriveOpening& opening,
                 const NvmeNamespace& other) {
  sdk::DriveCommand command = opening.command;
  command.device.erase(command.device.rfind('/') + 1).append(other.name);
  command.expectedDevice = other.device;
  command.diskSequence = other.diskSequence;
  return OpenDrive(
      files,
      {.command = command, .isExclusive = true, .filesMayBeDrives = opening.filesMayBeDrives});
}

ClaimedDrive ClaimMedia(const sdk::MachineFiles& files, const DriveOpening& opening) {
  const NvmeNamespaces reached = Reached(files, opening.command);
  if (reached.error != 0) return Refused(reached.error);
  if (const int error = UseOf(files, reached.all); error != 0) return Refused(error);
  ClaimedDrive claimed;
  for (const NvmeNamespace& medium : reached.all) {
    const bool isOwn = medium.device == opening.command.expectedDevice;
    OpenedDrive opened = isOwn ? OpenDrive(files, opening) : Hold(files, opening, medium);
    if (opened.error == EBUSY || (opened.error != 0 && !isOwn)) return Refused(opened.error);
    if (opened.error != 0) return {{}, {}, opened.error, false};
    if (isOwn) {
      claimed.descriptor = std::move(opened.descriptor);
    } else {
      claimed.others.push_back(std::move(opened.descriptor));
    }
  }
  // Who uses them without a claim, and what has come, may have done so before the opening.
  const NvmeNamespaces now = Reached(files, opening.command);
  if (now.error != 0) return Refused(now.error);
  if (now.all != reached.all) return Refused(EBUSY);
  if (const int error = UseOf(files, now.all); error != 0) return Refused(error);
  return claimed;
}

}  // namespace

ClaimedDrive ClaimDrive(const sdk::MachineFiles& files, const DriveOpening& opening) {
  if (opening.isExclusive) return ClaimMedia(files, opening);
  OpenedDrive opened = OpenDrive(files, opening);
  return {std::move(opened.descriptor), {}, opened.error, false};
}

}  // namespace orvan::machine
