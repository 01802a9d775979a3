#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tools/tool_device_record.h"
#include "tools/tool_target.h"

class DiagDevice;

// What both tools do about devices: asks the service for them once, keeps them as flat records, and
// gathers those of a run. Main thread; once the filtering is over the records do not change, and
// findDevice may be called from any thread.
class ToolDevices {
 public:
  explicit ToolDevices(const ToolTarget& target) : target_(target) {}
  virtual ~ToolDevices() = default;
  ToolDevices(const ToolDevices&) = delete;
  ToolDevices& operator=(const ToolDevices&) = delete;

  // Copies of the records on which the tool says it can run.
  std::vector<ToolDeviceRecord> applicableDevices() const;
  // Null when there is none of that id. Of several the last.
  const ToolDeviceRecord* findDevice(const std::string& id) const;
  const std::map<std::string, const ToolDeviceRecord*>& deviceMap() const { return deviceMap_; }
  // The devices of the run, in the order in which they were added. Owned by the service.
  const std::vector<DiagDevice*>& runDevices() const { return runDevices_; }
  // Whether a device has been read.
  bool filtered() const { return filtered_; }

 protected:
  using AddDetails = std::function<void(DiagDevice& device, ToolDeviceRecord& record)>;

  const ToolTarget& target() const { return target_; }
  const std::vector<ToolDeviceRecord>& records() const { return records_; }
  // Has the module search again.
  void Rescan();
  // Sets the operation that the service's side of the tool reads.
  void SetOperation(const std::vector<std::string>& words);
  // Reads all devices of the module anew; devices that it gives as null are passed over.
  // `addDetails` may be empty. Throws ToolDataError for a device that does not say whether it
  // rotates.
  void ReadRecords(const AddDetails& addDetails);
  // Adds the record's device, unless the module has none there any more.
  void AddRunDevice(const ToolDeviceRecord& record);

 private:
  ToolTarget target_;
  std::vector<ToolDeviceRecord> records_;
  std::map<std::string, const ToolDeviceRecord*> deviceMap_;  // into records_
  std::vector<DiagDevice*> runDevices_;
  bool filtered_ = false;
};

// The property that names the operation, and the operation that keeps the devices a tool is for.
inline constexpr char kToolPropertyOperation[] = "Operation";
inline constexpr char kToolOperationFilter[] = "filterDevices";
