#include "service/core/help_text.h"

#include "system/ini_file.h"
#include "system/key_format.h"

namespace orvan::core {
namespace {

std::string ParameterLine(const sdk::ParameterSpec& parameter) {
  return "          " + parameter.name + '=' + parameter.initialValue + "  (" + parameter.extra +
         ")  " + tarvex::FormatKey(parameter.detail, false, false, true) + '\n';
}

std::string TestLines(const sdk::TestRecord& test) {
  std::string lines = "      " + test.option + ", " + test.longName + "  " + test.summary + '\n';
  for (const sdk::ParameterSpec& parameter : test.parameters) {
    lines += ParameterLine(parameter);
  }
  return lines;
}

}  // namespace

std::string HelpTextOf(const sdk::Module& module) {
  const sdk::ModuleHelp help = module.Help();
  if (help.whole) return *help.whole;
  std::string text = module.Name() + ": " + help.summary + '\n';
  for (const sdk::DiagnosticRecord& diagnostic : module.Diagnostics()) {
    text += "\n  -" + diagnostic.option + ", --" + diagnostic.longName + "  " + diagnostic.summary +
            '\n';
    for (const sdk::TestRecord& test : diagnostic.tests) {
      text += TestLines(test);
    }
  }
  if (!help.example.empty()) {
    text += "\n  Example: -M" + tarvex::LowerAscii(module.Name()) + ' ' + help.example + '\n';
  }
  return text;
}

}  // namespace orvan::core
