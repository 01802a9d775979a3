#pragma once

class Cli;
struct ModuleSelection;

// What is shown of a module's diagnostics and tests. Main thread. The selection has a module; for
// all but the first its devices were searched.
namespace tarvex {

void ShowDiagnostics(Cli& cli, ModuleSelection& selection);
// Every test of the selected diagnostics with the parameters that it takes. What the first device
// that the test applies to offers is shown; without such a device, what the test takes at all.
void ShowParameters(Cli& cli, ModuleSelection& selection);
// Whether the tests that the line names know the parameters that it gives them.
void ShowValidation(Cli& cli, ModuleSelection& selection);

}  // namespace tarvex
