#pragma once

#include <map>
#include <string>
#include <utility>

#include "boundary/export.h"

// The base of every interactive tool. The program exports it, so that what is loaded into the
// program can be a tool as well. The order of the virtual operations is part of that. Main thread.
class TARVEX_EXPORT ToolCli {
 public:
  ToolCli();
  ToolCli(const ToolCli& other);
  ToolCli& operator=(const ToolCli& other);
  virtual ~ToolCli();

  // Parses the process's command line behind the tool option, draws, asks and runs. Returns when
  // the tool is over. What it found is told by its view alone.
  virtual void ToolExecute(int argc, char** argv) = 0;
  // The run itself, from its first device to its last.
  virtual void ToolRun() = 0;

  // Keeps a pair of key and value for ToolExecute. A key that is there keeps its first value.
  void SetProperty(std::pair<std::string, std::string> property);

 protected:
  // What was set before ToolExecute.
  std::map<std::string, std::string> properties;
};

// The property that the program sets, and its values. Any other value changes nothing.
inline constexpr char kToolPropertyBootable[] = "BOOTABLE";
inline constexpr char kToolPropertyTrue[] = "TRUE";
inline constexpr char kToolPropertyFalse[] = "FALSE";

namespace tarvex {

// What that property says of the system; `otherwise` where it says neither or is not there.
bool IsBootable(const std::map<std::string, std::string>& properties, bool otherwise);

}  // namespace tarvex
