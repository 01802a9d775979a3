#pragma once

#include <span>
#include <string>

class Cli;
struct ModuleSelection;
struct OptionInHand;

// The options that choose what is worked on. Handlers of options (options.h).
int TakeModule(Cli& cli, const OptionInHand& option);
int TakeTool(Cli& cli, const OptionInHand& option);
int TakeRunAll(Cli& cli, const OptionInHand& option);

// A word behind -U, short and long.
struct RunAllKind {
  const char* shortName;
  const char* longName;
  bool Cli::*chosen;
};
std::span<const RunAllKind> RunAllKinds();

// Finds the tool that the line names, among those of the chosen module. A parse code, with the text
// of a failure.
int ResolveTool(Cli& cli, ModuleSelection& selection, int argc, char** argv,
                std::string& errorText);
// The selection of the module that the parser works on; null: none yet.
ModuleSelection* CurrentSelection(const Cli& cli);
