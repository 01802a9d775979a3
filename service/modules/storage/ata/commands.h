#pragma once

#include <cstdint>
#include <string>

namespace orvan::storage::ata {

// "READ DMA EXT", or "command C7h" of one that has no name here.
std::string CommandName(std::uint8_t command);

// Whether a command has its LBA in 28 bits, of which the device register has the upper 4. False of
// one that is not known.
bool Has28BitLba(std::uint8_t command);

}  // namespace orvan::storage::ata
