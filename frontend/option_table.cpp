#include "frontend/option_table.h"

#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/options.h"

void OptionTable::Clear() {
  records_.clear();
  names_.clear();
}

void OptionTable::AddOptionalArgument(const std::string& name, char value) {
  names_.push_back(name);
  Add({names_.back().c_str(), optional_argument, nullptr, static_cast<unsigned char>(value)});
}

int Cli::BuildOptionTable() {
  shortOptions = FixedShortOptions();
  optionTable.Clear();
  for (const OptionRecord& record : FixedLongOptions()) optionTable.Add(record);
  for (DiagModule* module : *modules) {
    const DiagCatalogue* catalogue = module->Catalogue();
    if (catalogue == nullptr) continue;
    for (const auto& [key, entry] : *catalogue) {
      std::string name;
      std::string option;
      if (entry == nullptr || entry->Option(option).empty()) continue;
      optionTable.AddOptionalArgument(entry->LongName(name), option.front());
      shortOptions += option.front();
      shortOptions += "::";
    }
  }
  optionTable.Close();
  optionTableData = optionTable.Data();
  return 0;
}
