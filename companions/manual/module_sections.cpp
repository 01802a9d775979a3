#include "companions/manual/module_sections.h"

#include <algorithm>
#include <vector>

#include "boundary/ascii_case.h"
#include "companions/manual/roff.h"
#include "frontend/tool_makers.h"
#include "system/ini_file.h"
#include "system/key_format.h"
#include "tools/tool_command_line.h"

namespace tarvex::manual {
namespace {

using orvan::sdk::DiagnosticRecord;
using orvan::sdk::Module;
using orvan::sdk::ParameterSpec;
using orvan::sdk::TestRecord;
using orvan::sdk::ToolRecord;

constexpr char kListBegin[] = ".Bl -tag -width Ds\n";
constexpr char kListEnd[] = ".El\n";

std::string Title(const std::string& key) {
  return FormatKey(key, true, true, true);
}

std::string Diagnostics(const Module& module) {
  std::string text = kListBegin;
  for (const DiagnosticRecord& diagnostic : module.Diagnostics()) {
    text += ".It Fl " + Argument(diagnostic.option) + " , Fl " +
            Argument("-" + diagnostic.longName) + "\n" + TextLines(Title(diagnostic.name) + ".") +
            TextLines(Sentence(diagnostic.summary)) + "Its tests, in this order:\n";
    const char* macro = ".Cm ";
    for (const TestRecord& test : diagnostic.tests) {
      const bool isLast = &test == &diagnostic.tests.back();
      text += macro + Argument(test.option) + (isLast ? " .\n" : " ,\n");
    }
  }
  return text + kListEnd;
}

// A test with the diagnostics that have it.
struct Entry {
  const TestRecord* test = nullptr;
  std::vector<const DiagnosticRecord*> diagnostics;
};

// Each test once, in the order in which the diagnostics name them.
std::vector<Entry> EntriesOf(const Module& module) {
  std::vector<Entry> entries;
  for (const DiagnosticRecord& diagnostic : module.Diagnostics()) {
    for (const TestRecord& test : diagnostic.tests) {
      const auto known = std::find_if(entries.begin(), entries.end(), [&test](const Entry& entry) {
        return entry.test->key.identifier == test.key.identifier;
      });
      if (known == entries.end()) {
        entries.push_back({&test, {&diagnostic}});
      } else {
        known->diagnostics.push_back(&diagnostic);
      }
    }
  }
  return entries;
}

// The default of a parameter in one diagnostic; none when it has none there.
const std::string* DefaultIn(const DiagnosticRecord& diagnostic, const Entry& entry,
                             const std::string& name) {
  for (const TestRecord& test : diagnostic.tests) {
    if (test.key.identifier != entry.test->key.identifier) continue;
    for (const ParameterSpec& parameter : test.parameters) {
      if (parameter.name == name) return &parameter.initialValue;
    }
  }
  return nullptr;
}

// The default, with the diagnostics where it depends on them.
std::string Defaults(const Entry& entry, const ParameterSpec& parameter) {
  std::string text;
  bool areAlike = true;
  for (const DiagnosticRecord* diagnostic : entry.diagnostics) {
    const std::string* value = DefaultIn(*diagnostic, entry, parameter.name);
    if (value == nullptr) continue;
    areAlike = areAlike && *value == parameter.initialValue;
    text += (text.empty() ? "" : ", ") + *value + " with -" + diagnostic->option;
  }
  return areAlike ? parameter.initialValue : text;
}

std::string ParametersOf(const Entry& entry) {
  if (entry.test->parameters.empty()) return {};
  std::string text = kListBegin;
  for (const ParameterSpec& parameter : entry.test->parameters) {
    const std::string range = parameter.extra.empty() ? "" : "Takes " + parameter.extra + ". ";
    text += ".It Cm " + Argument(parameter.name) + " Ns = Ns Ar value\n" +
            TextLines(Sentence(FormatKey(parameter.detail, false, false, true))) +
            TextLines(range + "The default is " + Defaults(entry, parameter) + ".");
  }
  return text + kListEnd;
}

std::string Tests(const Module& module) {
  std::string text = kListBegin;
  for (const Entry& entry : EntriesOf(module)) {
    const TestRecord& test = *entry.test;
    text += ".It Cm " + Argument(test.option) + " , Cm " + Argument(test.longName) + "\n" +
            TextLines(Title(test.name) + ".") + TextLines(Sentence(test.summary)) +
            ParametersOf(entry);
  }
  return text + kListEnd;
}

std::string ToolOptions(const ToolGrammar& grammar) {
  std::string text = kListBegin;
  for (const ToolOptionRow& row : grammar.rows) {
    if (row.summary == nullptr) continue;
    text += std::string(".It Fl ") + static_cast<char>(row.value);
    for (const option& named : grammar.longOptions) {
      if (named.name == nullptr || named.val != row.value) continue;
      text += " , Fl " + Argument(std::string("-") + named.name);
    }
    text += "\n" + TextLines(Sentence(row.summary));
  }
  return text + kListEnd;
}

std::string Tools(const Module& module) {
  if (module.Tools().empty()) return "It has none.\n";
  std::string text = kListBegin;
  for (const ToolRecord& tool : module.Tools()) {
    text += ".It Fl T Ns " + Argument(tool.hint) + "\n" +
            TextLines(Sentence(FormatKey(tool.description, false, true, true)));
    const ToolGrammar* grammar = FindToolGrammar(FormatKey(tool.name, false, false, false));
    if (grammar != nullptr) text += ToolOptions(*grammar);
  }
  return text + kListEnd;
}

}  // namespace

void AddModuleSections(PageParts& parts, const Module& module) {
  const auto add = [&parts, &module](const char* name, std::string (*make)(const Module&)) {
    parts.sections[name] = [&module, make](std::map<std::string, Note>&) { return make(module); };
  };
  add("diagnostics", Diagnostics);
  add("tests", Tests);
  add("tools", Tools);
  std::string summary = module.Help().summary;
  while (summary.ends_with('.')) summary.pop_back();
  parts.words["SUMMARY"] = summary;
  parts.words["MODULE"] = LowerAscii(module.Name());
  std::string title = module.Name();
  std::transform(title.begin(), title.end(), title.begin(), AsciiUpper);
  parts.words["TITLE"] = title;
  parts.words["EXAMPLE"] = module.Help().example;
}

}  // namespace tarvex::manual
