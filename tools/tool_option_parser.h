#pragma once

#include <functional>

#include "tools/tool_command_line.h"

class ToolDevices;
class ToolKeyboard;
class ToolSpinner;

// Reads what stands behind a tool's option. A tool's own parser is its grammar and its search for
// devices. Main thread.
class ToolOptionParser {
 public:
  // As tarvex::ParseToolLine. Where the line is about devices it has them searched, while the
  // spinner shows it; where an operation is asked for, the keyboard is taken before that.
  bool Parse(int argc, char** argv, ToolSpinner& spinner, ToolKeyboard& keyboard,
             ToolCommandLine& line) const;
  // Whether the system is bootable, as the program says. No option depends on it.
  bool bootable() const { return bootable_; }

 protected:
  // Grammar and devices outlive the parser; `search` fills the devices.
  ToolOptionParser(const ToolGrammar& grammar, const ToolDevices& devices,
                   std::function<void()> search, bool bootable);

 private:
  const ToolGrammar& grammar_;
  const ToolDevices& devices_;
  const std::function<void()> search_;
  const bool bootable_;
};
