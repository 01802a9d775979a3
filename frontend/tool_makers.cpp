#include "frontend/tool_makers.h"

#include <algorithm>
#include <array>
#include <new>

#include "tools/recover/operations.h"
#include "tools/recover/rbs_cli.h"
#include "tools/recover/rbs_option_parser.h"
#include "tools/smart/st_cli.h"
#include "tools/smart/st_option_parser.h"

namespace {

struct MakerRow {
  const char* name;
  const ToolGrammar& (*grammar)();
  std::unique_ptr<ToolCli> (*make)(const ToolMaking& making);
};
// One row for each tool that has a command.
constexpr std::array kMakers{
    MakerRow{kRbsToolWord, RbsGrammar,
             [](const ToolMaking& making) -> std::unique_ptr<ToolCli> {
               return std::make_unique<RbsCli>(making.module, making.tool, making.supervised,
                                               *making.console);
             }},
    MakerRow{"smart_tool", STGrammar, [](const ToolMaking& making) -> std::unique_ptr<ToolCli> {
               return std::make_unique<STCli>(making.module, making.tool, *making.console);
             }}};

const MakerRow* Find(const std::string& name) {
  const auto* row = std::find_if(kMakers.begin(), kMakers.end(),
                                 [&name](const MakerRow& maker) { return name == maker.name; });
  return row == kMakers.end() ? nullptr : row;
}

}  // namespace

const ToolGrammar* FindToolGrammar(const std::string& name) {
  const MakerRow* row = Find(name);
  return row == nullptr ? nullptr : &row->grammar();
}

std::unique_ptr<ToolCli> MakeTool(const std::string& name, const ToolMaking& making) {
  const MakerRow* row = Find(name);
  if (row == nullptr) return nullptr;
  try {
    return row->make(making);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
