#pragma once

#include "companions/manual/page.h"

namespace tarvex::manual {

// Adds the sections about the diagnostics program: "options" and "exit-status". Notes of options
// are named by their letters.
void AddProgramSections(PageParts& parts);

// Adds the sections about tarvex-history: "history-commands" and "history-options". Notes are named
// as the command or the option is.
void AddHistorySections(PageParts& parts);

}  // namespace tarvex::manual
