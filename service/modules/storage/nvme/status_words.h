#pragma once

#include <cstdint>
#include <string>

namespace orvan::storage::nvme {

// "unrecovered read error (281h)", of the status of a completion without its phase bit: type and
// code of it, whatever else it says. Any thread.
// Source: NVM Express Base 2.0, 3.3.3.2.1, tables "Generic Command Status Values", "Command
// Specific Status Values", "Media and Data Integrity Error Values" and "Path Related Status
// Values"; NVM Express NVM Command Set 1.0, 3.1.2, those of the command set.
std::string StatusWords(std::uint16_t status);

// The same of a type and a code that stand apart.
std::string StatusWords(std::uint8_t type, std::uint8_t code);

}  // namespace orvan::storage::nvme
