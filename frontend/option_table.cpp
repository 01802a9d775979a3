#include "frontend/option_table.h"

const std::array<OptionRecord, 22> kFixedLongOptions{{
    {"list-tools", no_argument, nullptr, 'S'},
    {"list-modules", no_argument, nullptr, 'A'},
    {"list-devices", no_argument, nullptr, 'D'},
    {"list-resources", no_argument, nullptr, 'R'},
    {"list-diagnostics", no_argument, nullptr, 'L'},
    {"list-parameters", no_argument, nullptr, 'P'},
    {"module", optional_argument, nullptr, 'M'},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'v'},
    {"group", optional_argument, nullptr, 'G'},
    {"tool", optional_argument, nullptr, 'T'},
    {"background", no_argument, nullptr, 'b'},
    {"obg-instance", no_argument, nullptr, 'Y'},
    {"run-all", optional_argument, nullptr, 'U'},
    {"Caller", optional_argument, nullptr, 'C'},
    {"validate", optional_argument, nullptr, 'V'},
    {"save", optional_argument, nullptr, 's'},
    {"HDK", no_argument, nullptr, 'X'},
    {"data-collection", optional_argument, nullptr, 'e'},
    {"wmi", no_argument, nullptr, 'W'},
    {"remove-wmi", no_argument, nullptr, 'r'},
    {"output", optional_argument, nullptr, 'o'},
}};

void OptionTable::Clear() {
  records_.clear();
  names_.clear();
}

void OptionTable::AddOptionalArgument(const std::string& name, char value) {
  names_.push_back(name);
  Add({names_.back().c_str(), optional_argument, nullptr, static_cast<unsigned char>(value)});
}
