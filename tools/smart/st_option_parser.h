#pragma once

#include "tools/smart/st_utils.h"
#include "tools/tool_option_parser.h"

// Which options there are. Lives as long as the program.
const ToolGrammar& STGrammar();

// The options of the SMART tool. Main thread.
class STOptionParser : public ToolOptionParser {
 public:
  // The utilities outlive the parser.
  STOptionParser(STUtils& utils, bool bootable);
};
