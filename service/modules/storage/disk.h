#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "service/modules/storage/ata/identify.h"
#include "service/sdk/device.h"
#include "service/sdk/watched_files.h"

namespace orvan::storage {

enum class Transport { kUnknown, kSata, kScsi, kSas, kUsb, kNvme, kVirtio, kMmc, kXen, kLoop };

// The name of a transport as it is shown, e.g. "NVMe".
const char* TransportName(Transport transport);

// One partition, or a file system on the whole disk.
struct Partition {
  std::uint32_t index = 0;  // 0: the whole disk
  std::string type;         // "PRIMARY", "EXTENDED" or "LOGICAL"
  std::string mountPoint;   // empty: not mounted
  std::string fileSystem;
  std::string label;
  std::optional<std::uint64_t> sizeBytes;
  bool hasUse = false;  // the next two are known
  std::uint64_t usedBytes = 0;
  std::uint64_t freeBytes = 0;
};

// Labels and values of a listing.
using DiskRows = std::vector<std::pair<std::string, std::string>>;

// All that a scan finds out about a disk. Texts are as the machine tells them. What the kernel does
// not tell, or could not be read, is empty or none.
struct DiskFacts {
  std::string kernelName;          // "sda"
  std::string devicePath;          // "/dev/sda"
  std::string folder;              // below /sys, its links followed
  std::uint64_t deviceNumber = 0;  // sdk::DeviceNumber
  std::uint64_t diskSequence = 0;  // tells it from what had its number before; 0: not known
  std::string busPath;
  std::string model;
  std::string serial;
  std::string firmware;
  std::string worldWideName;
  std::string backingFile;  // of a loop device
  std::optional<std::uint64_t> sizeBytes;
  std::optional<std::uint64_t> logicalSectorBytes;
  std::optional<std::uint64_t> physicalSectorBytes;
  Transport transport = Transport::kUnknown;
  std::optional<bool> isRotating;
  // What an ATA drive said of itself when the kernel found it; none: no drive that said so.
  std::optional<ata::Identify> identify;
  DiskRows features;
  // What is there and could not be read; paths below `folder`, or whole ones.
  std::vector<sdk::FileTrouble> unread;
  // The kernel name of a disk whose place could not be made out, so that the ids of all disks are
  // in doubt; empty: the order is known.
  std::string disorderedBy;
};

// How far what is on a disk is looked at: on this one alone, or on all that were found with it.
enum class ContentLook { kThis, kAll };
// Looks at what is on a disk, as far as it has not been looked at, and gives its partitions. After
// a stop nothing is looked at any more, and what is known is all.
using ContentOf = std::function<std::vector<Partition>(ContentLook, std::stop_token)>;

// A whole disk as the service sees it. Any thread, but for what is on it: one thread at a time.
class Disk final : public sdk::Device {
 public:
  // `isUnique`: no other disk of the machine has the same world-wide name or serial number.
  // `content` may be empty: nothing is on it.
  Disk(std::string id, DiskFacts facts, bool isUnique, ContentOf content = {});

  std::string Id() const override { return id_; }
  DeviceInformation Information() const override;
  std::vector<DiagResource> Resources(std::stop_token stop) const override;
  std::string UniqueId() const override;
  std::optional<std::string> WhyUntestable() const override;
  const DiskFacts& Facts() const { return facts_; }
  std::vector<Partition> Partitions(ContentLook look, std::stop_token stop) const;

 private:
  std::string id_;
  DiskFacts facts_;
  bool isUnique_;
  ContentOf content_;
};

// The world-wide name, or model and serial number, or the file of a loop device ("file:PATH");
// empty when the disk tells none of them.
std::string HardwareIdentity(const DiskFacts& facts);

}  // namespace orvan::storage
