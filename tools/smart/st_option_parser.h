#pragma once

#include "tools/smart/st_utils.h"
#include "tools/tool_command_line.h"

class ToolSpinner;

// Reads what stands behind the tool's option. Main thread.
class STOptionParser {
 public:
  // The utilities outlive the parser.
  STOptionParser(STUtils& utils, bool bootable) : utils_(utils), bootable_(bootable) {}

  // As tarvex::ParseToolLine. Where the line is about devices it has them searched, while the
  // spinner shows it.
  bool Parse(int argc, char** argv, ToolSpinner& spinner, ToolCommandLine& line) const;
  // Whether the system is bootable, as the program says. No option depends on it.
  bool bootable() const { return bootable_; }

 private:
  STUtils& utils_;
  const bool bootable_;
};
