#pragma once

#include <string>
#include <vector>

#include "boundary/orvan_service_records.h"
#include "service/sdk/context.h"
#include "service/sdk/parameter.h"

namespace orvan::core {

// The boundary's records of a test's parameters; ranges are saturated to 32 bits.
std::vector<TestParameter> ToTestParameters(const std::vector<sdk::ParameterSpec>& specs);

struct CheckedParameters {
  sdk::ParameterValues values;  // by name in lower case; void when there is a fault
  std::string fault;            // message key that names the parameter; empty: all is well
};

// Checks what a plan gives against what the test takes. Names are compared without regard to case
// (ASCII); of one name given twice the last value counts. An integer is decimal digits within the
// range; a boolean is true, false, 1 or 0 in any case and becomes "TRUE" or "FALSE"; a text is at
// most 4096 bytes without a zero byte.
CheckedParameters CheckParameters(const std::vector<sdk::ParameterSpec>& specs,
                                  const std::vector<TestParameter>& given);

}  // namespace orvan::core
