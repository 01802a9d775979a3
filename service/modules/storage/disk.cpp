#include "service/modules/storage/disk.h"

#include <utility>

#include "service/modules/storage/units.h"
#include "service/modules/storage/words.h"

namespace orvan::storage {
namespace {

constexpr char kNotObtained[] = "UNABLE_TO_OBTAIN";

// "256060514304 bytes (256.0 GB)".
std::string SizeText(std::uint64_t bytes) {
  const std::string text = std::to_string(bytes) + " bytes";
  return bytes < 1000 ? text : text + " (" + DecimalSize(bytes) + ')';
}

std::string SizeText(const std::optional<std::uint64_t>& bytes) {
  return bytes ? SizeText(*bytes) : std::string();
}

std::string SectorText(const std::optional<std::uint64_t>& bytes) {
  return bytes ? std::to_string(*bytes) + " bytes" : std::string();
}

std::string MediaText(const std::optional<bool>& isRotating) {
  if (!isRotating) return {};
  return *isRotating ? "Rotating" : "Solid state";
}

// A text of the disk itself as the value of a listing, where one that begins with "_" is a key. No
// key stands for a text with "_" or "|" in it, so a blank in front keeps the text as it is.
std::string OwnText(const std::string& text) {
  return text.starts_with('_') ? ' ' + text : text;
}

std::string ShownName(const DiskFacts& facts) {
  const std::string model =
      facts.model.empty() ? std::string(TransportName(facts.transport)) + " disk" : facts.model;
  return model + " (" + facts.kernelName + ')';
}

}  // namespace

const char* TransportName(Transport transport) {
  switch (transport) {
    case Transport::kUnknown:
      return "Unknown";
    case Transport::kSata:
      return "SATA";
    case Transport::kScsi:
      return "SCSI";
    case Transport::kSas:
      return "SAS";
    case Transport::kUsb:
      return "USB";
    case Transport::kNvme:
      return "NVMe";
    case Transport::kVirtio:
      return "virtio";
    case Transport::kMmc:
      return "MMC";
    case Transport::kXen:
      return "Xen";
    case Transport::kLoop:
      return "Loop";
  }
  return "Unknown";
}

Disk::Disk(std::string id, DiskFacts facts, bool isUnique, ContentOf content)
    : id_(std::move(id)),
      facts_(std::move(facts)),
      isUnique_(isUnique),
      content_(std::move(content)) {}

DeviceInformation Disk::Information() const {
  DeviceInformation record;
  record.name = ShownName(facts_);
  DiskRows rows = {
      {"MODEL", OwnText(facts_.model)},
      {"SERIAL_NUMBER", OwnText(facts_.serial)},
      {"FIRMWARE", OwnText(facts_.firmware)},
      {"SIZE", SizeText(facts_.sizeBytes)},
      {"LOGICAL_SECTOR_SIZE", SectorText(facts_.logicalSectorBytes)},
      {"PHYSICAL_SECTOR_SIZE", SectorText(facts_.physicalSectorBytes)},
      {"TRANSPORT", TransportName(facts_.transport)},
      {"MEDIA_TYPE", MediaText(facts_.isRotating)},
  };
  for (const auto& [label, value] : facts_.features) rows.emplace_back(label, OwnText(value));
  const DiskRows place = {
      {"KERNEL_NAME", OwnText(facts_.kernelName)},
      {"BUS_PATH", OwnText(facts_.busPath)},
      {"BACKING_FILE", OwnText(facts_.backingFile)},
      {"COULD_NOT_BE_READ", words::UnreadText(facts_)},
  };
  rows.insert(rows.end(), place.begin(), place.end());
  for (const auto& [label, value] : rows) {
    if (!value.empty()) record.entries.emplace_back(value, label);
  }
  // There for every disk: who looks it up takes a missing one for a fault.
  record.properties["NonRotatingMedia"] = !facts_.isRotating   ? kNotObtained
                                          : *facts_.isRotating ? "F"
                                                               : "T";
  record.properties["KernelName"] = facts_.kernelName;
  return record;
}

std::vector<Partition> Disk::Partitions(ContentLook look, std::stop_token stop) const {
  return content_ ? content_(look, std::move(stop)) : std::vector<Partition>();
}

std::vector<DiagResource> Disk::Resources(std::stop_token stop) const {
  std::vector<DiagResource> resources;
  for (const Partition& part : Partitions(ContentLook::kAll, std::move(stop))) {
    const auto use = [&part](std::uint64_t bytes) {
      return part.hasUse ? std::to_string(bytes) : std::string(kNotObtained);
    };
    resources.push_back(
        {"PARTITION",
         {{"PARTITION_TYPE", part.type},
          {"MOUNT_POINT", part.mountPoint.empty() ? kNotObtained : OwnText(part.mountPoint)},
          {"FILE_SYSTEM", OwnText(part.fileSystem)},
          {"LABEL", OwnText(part.label)},
          {"SIZE", part.sizeBytes ? std::to_string(*part.sizeBytes) : kNotObtained},
          {"USED", use(part.usedBytes)},
          {"FREE", use(part.freeBytes)},
          {"INDEX", std::to_string(part.index)}}});
  }
  return resources;
}

std::string HardwareIdentity(const DiskFacts& facts) {
  // The number of a loop device is an index; its file is what stays.
  if (!facts.backingFile.empty()) return "file:" + facts.backingFile;
  if (!facts.worldWideName.empty()) return facts.worldWideName;
  if (facts.serial.empty()) return {};
  return facts.model.empty() ? facts.serial : facts.model + '_' + facts.serial;
}

std::optional<std::string> Disk::WhyUntestable() const {
  return words::UntestableKey(facts_);
}

std::string Disk::UniqueId() const {
  const std::string identity = HardwareIdentity(facts_);
  if (identity.empty()) return facts_.busPath;
  return isUnique_ ? identity : identity + '@' + facts_.busPath;
}

}  // namespace orvan::storage
