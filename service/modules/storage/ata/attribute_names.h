#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "service/modules/storage/ata/raw_value.h"

namespace orvan::storage::ata {

// No standard says what an attribute means; makers do, each for its drives.
struct AttributeMeaning {
  std::string_view name;  // "Reallocated sectors"; up to 29 characters, as lists have room for
  RawForm form = RawForm::kNumber;
  // False when nobody says what it is.
  bool isKnown = true;
};

// What attribute `id` means in a drive of this model. A drive that rotates has no attributes of
// solid state drives, and the other way round; one that does not say (none) may have both.
AttributeMeaning MeaningOf(std::uint8_t id, std::string_view model, std::optional<bool> isRotating);

}  // namespace orvan::storage::ata
