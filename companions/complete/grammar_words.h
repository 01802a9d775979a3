#pragma once

#include <string>

#include "companions/complete/answer.h"

class DiagDiagnostic;
class DiagModule;

namespace tarvex::complete {

// Offers what can stand in the text of a diagnostic: its tests, and in parentheses the parameters
// of a test and their values. `before` is what stands in front of the text in the word in hand.
void OfferTests(Answer& answer, const std::string& before, DiagModule& module,
                DiagDiagnostic& diagnostic);

}  // namespace tarvex::complete
