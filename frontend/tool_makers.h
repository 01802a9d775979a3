#pragma once

#include <memory>
#include <ostream>
#include <string>

#include "tools/tool_cli.h"

class DiagModule;
class DiagTool;
struct ToolGrammar;

// What a tool is made of.
struct ToolMaking {
  DiagModule* module = nullptr;
  DiagTool* tool = nullptr;
  bool supervised = false;           // a supervising program reads the output
  std::wostream* console = nullptr;  // where it prints; outlives the tool
};

// The interactive tool of that name; null when there is none, or no memory for it. The program
// links the table of its tools; unit tests link a tool of their own. Main thread.
std::unique_ptr<ToolCli> MakeTool(const std::string& name, const ToolMaking& making);
// The options of the tool of that name; null when there is none. Lives as long as the program.
const ToolGrammar* FindToolGrammar(const std::string& name);
