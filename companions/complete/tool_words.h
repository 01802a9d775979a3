#pragma once

#include <string>
#include <vector>

#include "companions/complete/answer.h"
#include "companions/complete/offer.h"

class DiagTool;

namespace tarvex::complete {

// The tool that a word behind -T names; null when the module has none of that name.
DiagTool* FindTool(DiagModule& module, const std::string& word);

// Offers what can stand behind the name of a tool: its options, and the devices that it can work
// on. `words` are those in front of the word in hand; devices among them are not offered again.
void OfferToolWords(Answer& answer, DiagTool& tool, DiagModule& module,
                    const std::vector<std::string>& words, const Offer& offer);

}  // namespace tarvex::complete
