#include "service/modules/storage/smart_tool.h"

#include <utility>

#include "service/modules/storage/health/drive_information.h"
#include "service/modules/storage/smart_text.h"

namespace orvan::storage {
namespace {

using Kind = DriveAnswer::Kind;

// What the operator is shown of a drive. Of any other status nothing is.
constexpr int kRead = 0;
constexpr int kNotPossible = 1;
constexpr int kNoPrivilege = 3;
constexpr int kCanceled = 8;

// What a drive has told, as the listener takes it.
struct Finish {
  int status = kNotPossible;
  const char* type = "";
  std::string attributes;
  std::string information;
};

int StatusOf(const DriveHealth& health) {
  if (health.IsTold()) return kRead;
  if (health.kind == Kind::kNoPrivilege) return kNoPrivilege;
  return health.kind == Kind::kCanceled ? kCanceled : kNotPossible;
}

// Of a drive that was not spoken to, as what it would have been.
const char* TypeOf(DriveProtocol protocol, Transport transport) {
  if (protocol == DriveProtocol::kNvme || transport == Transport::kNvme) return "nvme";
  if (protocol == DriveProtocol::kAta || transport == Transport::kSata) return "ata";
  return "scsi";
}

void Append(DriveInformation& list, const DriveInformation& more) {
  list.insert(list.end(), more.begin(), more.end());
}

// What the drive itself tells beyond its health, or a trouble.
DriveInformation AskedInformation(DriveLink& link, DriveHealth& health) {
  if (const auto* ata = std::get_if<AtaHealth>(&health.told)) return InformationOf(*ata);
  if (const auto* scsi = std::get_if<ScsiHealth>(&health.told)) return InformationOf(*scsi);
  if (!std::holds_alternative<NvmeHealth>(health.told)) return {};
  auto controller = Ask(link, DriveRequest::kNvmeIdentifyController, {}, nvme::DecodeController);
  if (controller.value) return InformationOf(*controller.value);
  health.troubles.push_back(std::move(controller.trouble));
  return {};
}

void LogTroubles(const Disk& disk, const DriveHealth& health, sdk::ToolContext& context) {
  const std::string device = "device " + disk.Id() + ": ";
  for (const DriveTrouble& trouble : health.troubles) {
    context.Log(sdk::LogLevel::kWarning, device + trouble.text);
  }
  if (health.IsTold()) return;
  context.Log(health.kind == Kind::kCanceled ? sdk::LogLevel::kInfo : sdk::LogLevel::kWarning,
              device + "no attributes were read: " + health.reason);
}

Finish ReadDisk(const Disk& disk, const DriveAccess& access, sdk::ToolContext& context) {
  DriveLink link(access, disk.Facts(), context.StopToken());
  DriveHealth health = ReadHealth(link);
  DriveInformation information = InformationOf(disk.Facts());
  if (!std::holds_alternative<AtaHealth>(health.told)) {
    Append(information, ListedInformation(disk.Facts()));
  }
  Append(information, AskedInformation(link, health));
  LogTroubles(disk, health, context);
  const HealthAttributes attributes = AttributesOf(health);
  return {
      StatusOf(health), TypeOf(link.Protocol(), disk.Facts().transport),
      link.Protocol() == DriveProtocol::kNvme ? TextOfData(attributes) : TextOfColumns(attributes),
      TextOf(information)};
}

// A drive that was not asked because somebody wants the end.
Finish Canceled(const Disk& disk) {
  return {kCanceled,
          TypeOf(DriveProtocol::kNone, disk.Facts().transport),
          {},
          TextOf(InformationOf(disk.Facts()))};
}

void Tell(const sdk::Device& device, std::size_t percent, const Finish& finish,
          sdk::ToolContext& context) {
  context.SetProperty("Progress", {std::to_string(percent)});
  context.Fire("OnProgress");
  context.SetProperty("DeviceFinish", {device.Id(), std::to_string(finish.status), finish.type,
                                       finish.attributes, finish.information});
  context.Fire("OnDeviceFinish");
}

// `finishOf` makes the end of a disk.
template <typename FinishOf>
void TellAll(sdk::ToolContext& context, FinishOf finishOf) {
  context.Fire("OnSmartToolInit");
  const auto& devices = context.Devices();
  for (std::size_t i = 0; i < devices.size(); ++i) {
    context.SetProperty("DeviceInit", {devices[i]->Id()});
    context.Fire("OnDeviceInit");
    const auto* disk = dynamic_cast<const Disk*>(devices[i]);
    Tell(*devices[i], 100 * (i + 1) / devices.size(), disk ? finishOf(*disk) : Finish(), context);
  }
  context.Fire("OnSmartToolFinish");
}

void Show(const DriveAccess& access, sdk::ToolContext& context) {
  TellAll(context, [&](const Disk& disk) {
    return context.StopToken().stop_requested() ? Canceled(disk) : ReadDisk(disk, access, context);
  });
}

bool AppliesTo(const sdk::Device& device) {
  const auto* disk = dynamic_cast<const Disk*>(&device);
  return disk != nullptr && WhySpeechless(disk->Facts().transport) == nullptr;
}

void WithdrawSpeechless(sdk::ToolContext& context) {
  for (const sdk::Device* device : context.Candidates()) {
    if (!AppliesTo(*device)) context.Withdraw(*device);
  }
}

}  // namespace

sdk::ToolRecord MakeSmartTool(const DriveAccess& access) {
  sdk::ToolRecord tool;
  tool.name = "smart_tool";
  tool.description = "SHOWS_|S|M|A|R|T_ATTRIBUTES";
  tool.hint = "smart";
  tool.appliesTo = &AppliesTo;
  tool.run = [access](sdk::ToolContext& context) {
    context.HasListener() ? Show(access, context) : WithdrawSpeechless(context);
  };
  tool.reportCanceled = [](sdk::ToolContext& context) { TellAll(context, &Canceled); };
  return tool;
}

}  // namespace orvan::storage
