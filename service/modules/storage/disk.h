#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "service/sdk/device.h"

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
  std::uint64_t sizeBytes = 0;
  bool hasUse = false;  // the next two are known
  std::uint64_t usedBytes = 0;
  std::uint64_t freeBytes = 0;
};

// All that a scan finds out about a disk. Texts hold no control characters.
struct DiskFacts {
  std::string kernelName;          // "sda"
  std::string devicePath;          // "/dev/sda"
  std::uint64_t deviceNumber = 0;  // machine::DeviceNumber
  std::string busPath;
  std::string model;
  std::string serial;
  std::string firmware;
  std::string worldWideName;
  std::string backingFile;  // of a loop device
  std::uint64_t sizeBytes = 0;
  std::uint32_t logicalSectorBytes = 512;
  std::uint32_t physicalSectorBytes = 512;
  Transport transport = Transport::kUnknown;
  bool isRotating = false;
  std::vector<Partition> partitions;
};

// A whole disk as the service sees it. Immutable; any thread.
class Disk final : public sdk::Device {
 public:
  // `isUnique`: no other disk of the machine has the same world-wide name or serial number.
  Disk(std::string id, DiskFacts facts, bool isUnique);

  std::string Id() const override { return id_; }
  DeviceInformation Information() const override;
  std::vector<DiagResource> Resources() const override;
  std::string UniqueId() const override;
  const DiskFacts& Facts() const { return facts_; }

 private:
  std::string id_;
  DiskFacts facts_;
  bool isUnique_;
};

// The world-wide name, or model and serial number, or the file of a loop device ("file:PATH");
// empty when the disk tells none of them.
std::string HardwareIdentity(const DiskFacts& facts);

}  // namespace orvan::storage
