#pragma once

#include <cstddef>

// The tool's word.
inline constexpr char kRbsToolWord[] = "recover_bad_sectors";

// The property with what became of a device's sectors, and how many counts it has.
inline constexpr char kRbsSectorsInfo[] = "SectorsInfo";
inline constexpr std::size_t kRbsCounts = 4;

// Words of the "Operation" property.
inline constexpr char kRbsOperationRepair[] = "repair";
inline constexpr char kRbsOperationScan[] = "scan";
