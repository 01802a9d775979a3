#pragma once

class Cli;
struct ModuleSelection;

// What the program and its modules are: their help, versions, names and tools. Main thread.
namespace tarvex {

void ShowProgramVersion(const Cli& cli);
void ShowModuleVersions(const Cli& cli);
// All modules, and how to reach the help of one.
void ShowModuleList(const Cli& cli);

// These take a selection that has a module.
void ShowModuleHelp(Cli& cli, ModuleSelection& selection);
void ShowModuleVersion(Cli& cli, ModuleSelection& selection);
void ShowTools(Cli& cli, ModuleSelection& selection);

}  // namespace tarvex
