#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "service/sdk/drive_command.h"

namespace orvan::machine {

// The command descriptor block that brings an ATA command to its drive; none when the command does
// not fit together: numbers that are too large, a protocol against the direction, or data that is
// no multiple of the count.
// Source: SAT-4, 12.2.2 and 12.2.3 (ATA PASS-THROUGH (12) and (16)).
std::optional<std::vector<std::uint8_t>> AtaPassThrough(const sdk::AtaCommand& command,
                                                        sdk::DataDirection direction,
                                                        std::uint64_t dataBytes);

// The registers in sense data of any length and content; none when it holds none.
// Source: SAT-4, 12.2.2.7 (ATA Status Return descriptor) and table of the fixed format; SPC-5, 4.4.
std::optional<sdk::AtaRegisters> AtaRegistersIn(const std::vector<std::uint8_t>& sense);

}  // namespace orvan::machine
