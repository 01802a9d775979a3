#pragma once

#include "tools/smart/st_utils.h"
#include "tools/tool_option_parser.h"

// The options of the SMART tool. Main thread.
class STOptionParser : public ToolOptionParser {
 public:
  // The utilities outlive the parser.
  STOptionParser(STUtils& utils, bool bootable);
};
