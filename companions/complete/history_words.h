#pragma once

#include <string>
#include <vector>

#include "companions/complete/answer.h"

namespace tarvex::complete {

// Offers what can stand next on a line of tarvex-history: its commands and options, and the names
// of runs. `words` are the line up to the word in hand, which the answer has, the program's name
// first.
void OfferHistoryWords(Answer& answer, const std::vector<std::string>& words);

}  // namespace tarvex::complete
