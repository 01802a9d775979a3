#pragma once

#include <cstddef>

#include "service/protocol/byte_stores.h"
#include "service/protocol/fields.h"
#include "service/protocol/limits.h"

namespace orvan::protocol {

// What the devices of one scan, or their resources, take of memory, counted by who tells them and
// by who is told, so that a search without end has one. One thread.
class ScanBudget {
 public:
  // False when there is no room for that one.
  template <typename Record>
  bool Take(const Record& record) {
    CountedBytes bytes;
    FieldWriter<CountedBytes> fields(bytes);
    Record::Pass(fields, record);
    const std::size_t size = sizeof(record) + bytes.Count() + fields.ElementBytes();
    if (!fields.IsGood() || size > left_) return false;
    left_ -= size;
    return true;
  }

 private:
  std::size_t left_ = kMostScanBytes;
};

}  // namespace orvan::protocol
