#pragma once

#include <string>
#include <vector>

#include "companions/complete/answer.h"
#include "companions/complete/offer.h"

namespace tarvex::complete {

// Offers what can stand next on a line of the diagnostics program. `words` are the line up to the
// word in hand, which the answer has, the program's name first.
void OfferProgramWords(Answer& answer, const std::vector<std::string>& words, const Offer& offer);

}  // namespace tarvex::complete
