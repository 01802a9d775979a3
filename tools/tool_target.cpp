#include "tools/tool_target.h"

#include "boundary/orvan_service.h"

ToolTarget ToolTarget::Of(DiagModule* module, DiagTool* tool) {
  return {module, tool, GetOrvanServiceInstance()};
}
