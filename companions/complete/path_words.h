#pragma once

#include <string>

#include "companions/complete/answer.h"

namespace tarvex::complete {

enum class PathKind { kFile, kFolder };

// Offers absolute paths behind `before`, which is how the word in hand begins; of files, also their
// folders. Names that are not plain are left out.
void OfferPaths(Answer& answer, const std::string& before, PathKind kind);

}  // namespace tarvex::complete
