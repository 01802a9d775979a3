#pragma once

#include <cstdint>
#include <string>

namespace orvan::storage::scsi {

// "unrecovered read error", of an additional sense code and its qualifier: of the pair, else of the
// code alone; "a code of the maker's" or "a code without a name here" of any other. Any thread.
// Source: SPC-5, annex "Numeric order codes", table "ASC and ASCQ assignments".
std::string SenseCodeWords(std::uint8_t code, std::uint8_t qualifier);

}  // namespace orvan::storage::scsi
