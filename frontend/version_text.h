#pragma once

#include <string>

#include "boundary/orvan_service_records.h"

class HostNumberHandler;
class ProductVersion;

namespace tarvex {

// The four numbers of a version, joined by ".".
std::string VersionText(HostNumberHandler& numbers, const ProductVersion& version);
// What is shown of a test's version: three numbers of its key, cut to their low bits.
std::string VersionText(HostNumberHandler& numbers, const DiagKey& key);

}  // namespace tarvex
