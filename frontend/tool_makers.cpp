#include "frontend/tool_makers.h"

#include <algorithm>
#include <array>
#include <new>

#include "tools/recover/operations.h"
#include "tools/recover/rbs_cli.h"
#include "tools/smart/st_cli.h"

namespace {

struct MakerRow {
  const char* name;
  std::unique_ptr<ToolCli> (*make)(const ToolMaking& making);
};
// One row for each tool that has a command.
constexpr std::array kMakers{
    MakerRow{kRbsToolWord,
             [](const ToolMaking& making) -> std::unique_ptr<ToolCli> {
               return std::make_unique<RbsCli>(making.module, making.tool, making.supervised,
                                               *making.console);
             }},
    MakerRow{"smart_tool", [](const ToolMaking& making) -> std::unique_ptr<ToolCli> {
               return std::make_unique<STCli>(making.module, making.tool, *making.console);
             }}};

}  // namespace

std::unique_ptr<ToolCli> MakeTool(const std::string& name, const ToolMaking& making) {
  const auto* row = std::find_if(kMakers.begin(), kMakers.end(),
                                 [&name](const MakerRow& maker) { return name == maker.name; });
  if (row == kMakers.end()) return nullptr;
  try {
    return row->make(making);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
