#include "companions/complete/offer.h"

#include <algorithm>

#include "boundary/orvan_service.h"
#include "system/ini_file.h"

namespace tarvex::complete {

std::string NameOf(DiagModule& module) {
  std::string name;
  return LowerAscii(module.GetDisplayName(name));
}

DiagModule* FindModule(const Offer& offer, const std::string& name) {
  const auto found = std::find_if(
      offer.modules.begin(), offer.modules.end(),
      [wanted = LowerAscii(name)](DiagModule* module) { return NameOf(*module) == wanted; });
  return found == offer.modules.end() ? nullptr : *found;
}

std::vector<OfferedDiagnostic> DiagnosticsOf(DiagModule& module) {
  std::vector<OfferedDiagnostic> offered;
  const DiagCatalogue* catalogue = module.Catalogue();
  const std::vector<DiagDiagnostic*>* diagnostics = module.GetDiagnostics();
  if (catalogue == nullptr || diagnostics == nullptr) return offered;
  for (DiagDiagnostic* diagnostic : *diagnostics) {
    DiagKey key;
    const auto row = catalogue->find(diagnostic->Key(key));
    std::string option;
    if (row == catalogue->end() || row->second == nullptr || row->second->Option(option).empty()) {
      continue;
    }
    std::string longName;
    offered.push_back({diagnostic, option.front(), row->second->LongName(longName)});
  }
  return offered;
}

}  // namespace tarvex::complete
