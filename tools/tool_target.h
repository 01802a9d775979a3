#pragma once

class DiagModule;
class DiagTool;
class OrvanService;

// The tool of the service that is worked with, and where it belongs. Owned by the service.
struct ToolTarget {
  DiagModule* module = nullptr;
  DiagTool* tool = nullptr;
  OrvanService* service = nullptr;

  // Of a module's tool, with the process's service.
  static ToolTarget Of(DiagModule* module, DiagTool* tool);
};
