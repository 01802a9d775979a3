#include "companions/complete/tool_words.h"

#include <algorithm>

#include "boundary/orvan_service.h"
#include "frontend/tool_makers.h"
#include "system/ini_file.h"
#include "system/key_format.h"
#include "tools/tool_command_line.h"

namespace tarvex::complete {
namespace {

void OfferOptions(Answer& answer, const ToolGrammar& grammar) {
  for (const ToolOptionRow& row : grammar.rows) {
    if (row.summary == nullptr) continue;
    answer.Offer(std::string("-") + static_cast<char>(row.value), row.summary);
    if (!answer.typed().starts_with('-')) continue;
    for (const option& named : grammar.longOptions) {
      if (named.name == nullptr || named.val != row.value) continue;
      answer.Offer(std::string("--") + named.name, row.summary);
    }
  }
}

}  // namespace

DiagTool* FindTool(DiagModule& module, const std::string& word) {
  const std::vector<DiagTool*>* tools = module.Tools();
  if (tools == nullptr) return nullptr;
  const auto found =
      std::find_if(tools->begin(), tools->end(), [wanted = LowerAscii(word)](DiagTool* tool) {
        std::string hint;
        return LowerAscii(tool->GetHint(hint)) == wanted;
      });
  return found == tools->end() ? nullptr : *found;
}

void OfferToolWords(Answer& answer, DiagTool& tool, DiagModule& module,
                    const std::vector<std::string>& words, const Offer& offer) {
  if (!answer.typed().starts_with('-')) {
    for (DiagDevice* device : offer.devicesOf(module)) {
      std::string id;
      DeviceInformation information;
      if (!IsPlainName(device->GetId(id)) || !tool.IsApplicable(device)) continue;
      if (std::find(words.begin(), words.end(), id) != words.end()) continue;
      answer.Offer(id, device->GetInformation(information).name);
    }
  }
  std::string name;
  tool.GetName(name);
  const ToolGrammar* grammar = FindToolGrammar(FormatKey(name, false, false, false));
  if (grammar != nullptr) OfferOptions(answer, *grammar);
}

}  // namespace tarvex::complete
