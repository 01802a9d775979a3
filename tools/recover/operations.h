#pragma once

// Words of the "Operation" property.
inline constexpr char kRbsOperationRepair[] = "repair";
inline constexpr char kRbsOperationScan[] = "scan";
