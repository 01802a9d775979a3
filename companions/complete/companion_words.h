#pragma once

#include <string>
#include <vector>

#include "companions/complete/answer.h"

namespace tarvex::complete {

// Offer what can stand next on a line of tarvex-history and of tarvex-report: commands and options,
// the names of runs, and paths. `words` are the line up to the word in hand, which the answer has,
// the program's name first.
void OfferHistoryWords(Answer& answer, const std::vector<std::string>& words);
void OfferReportWords(Answer& answer, const std::vector<std::string>& words);

}  // namespace tarvex::complete
