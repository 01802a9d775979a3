#pragma once

#include <cstdint>
#include <string>

#include "boundary/orvan_service_status.h"

namespace orvan::core {

// The worst verdict of several, by the ranks of kTestStatusRows. One thread at a time.
class WorstVerdict {
 public:
  void Add(TestStatus status);
  // The verdict's word in capitals; "NONE" as long as nothing counted.
  const char* Word() const;

 private:
  const tarvex::TestStatusRow* worst_ = nullptr;
};

// The provisional code of a result: "VERSION-WORD-GROUP", e.g. "5.0.0.0-PASSED-1732176000". VERSION
// is at most 24 bytes, in which all but letters, digits and "." stands as "_".
std::string ProvisionalCode(const std::string& version, const WorstVerdict& worst,
                            std::int64_t groupId);

}  // namespace orvan::core
