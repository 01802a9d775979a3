#pragma once

#include <cstdint>
#include <string>

#include "service/modules/storage/bytes.h"
#include "service/modules/storage/decoded.h"

namespace orvan::storage::scsi {

// What a device says of itself at first.
struct StandardInquiry {
  std::uint8_t qualifier = 0;   // 0: a device is there; 1: one may come; 3: none ever will
  std::uint8_t deviceType = 0;  // 00h: a disk
  bool isRemovable = false;
  std::uint8_t version = 0;  // 06h: SPC-4, 07h: SPC-5; 0: no standard is claimed
  std::string vendor;        // "ATA" of an ATA drive behind a translation
  std::string product;
  std::string revision;
};

// The data of INQUIRY without a page. Pure; any thread.
// Source: SPC-5, 6.7.2, table "Standard INQUIRY data format"; SAT-4, 8.1 (vendor "ATA").
Decoded<StandardInquiry> DecodeStandardInquiry(Bytes answer);

}  // namespace orvan::storage::scsi
