#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

namespace orvan::storage::scsi {

// One name of a device.
// Source: SPC-5, 7.7.6, tables "Designation descriptor", "ASSOCIATION field" and "DESIGNATOR TYPE
// field".
struct Designator {
  enum class Type : std::uint8_t {
    kVendor = 0,
    kT10Vendor = 1,
    kEui64 = 2,
    kNaa = 3,
    kName = 8,  // "naa....", "eui...." or "iqn...."
    kUuid = 0xA,
  };
  enum class Of : std::uint8_t { kLogicalUnit = 0, kTargetPort = 1, kTargetDevice = 2 };
  Type type = Type::kVendor;  // any number up to Fh, those without a name here, too
  Of of = Of::kLogicalUnit;
  bool isText = false;  // ASCII or UTF-8, and no binary number
  std::vector<std::uint8_t> value;
};

// The names of page 83h in the drive's order. Of a list that was cut, those that came whole. Pure;
// any thread.
Decoded<std::vector<Designator>> DecodeDesignators(Bytes answer);

// The worldwide name of the disk itself, and not of its ports: "naa.5000c5006249b613",
// "eui.0025385b71b0cafe"; the longest of NAA's, else of EUI's, else one that is given as a text.
// Empty: it has none.
// Source: SPC-5, 7.7.6.5 (EUI-64), 7.7.6.6 (NAA), 7.7.6.11 (SCSI name string).
std::string WorldWideName(const std::vector<Designator>& designators);

}  // namespace orvan::storage::scsi
