#pragma once

#include <map>
#include <string>
#include <vector>

#include "boundary/orvan_service_records.h"

class StringHandler;

namespace tarvex {

// The record of that name, compared without regard to case; null when the test does not know it.
TestParameter* FindParameter(StringHandler& strings, std::vector<TestParameter>& known,
                             const std::string& name);

// The parameters that the user gave ("name=value", key and value are the same word), as records:
// the test's own with the value written in, or new ones for names that it does not know, which
// join `known`. Words of more than two parts are passed over.
std::vector<TestParameter> MergeParameters(StringHandler& strings,
                                           const std::map<std::string, std::string>& raw,
                                           std::vector<TestParameter>& known);

}  // namespace tarvex
