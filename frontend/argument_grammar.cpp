#include <algorithm>

#include "boundary/orvan_service.h"
#include "frontend/cli.h"
#include "frontend/message_keys.h"
#include "frontend/option_selection.h"
#include "frontend/parse_text.h"
#include "system/outside_text.h"
#include "system/string_handler.h"

namespace {

std::string WithoutBlanks(StringHandler& handler, const std::string& text) {
  std::string result;
  handler.RemoveBlanks(text, result);
  return result;
}

// A word as the service gives ids out.
std::string DeviceToken(StringHandler& handler, const std::string& word) {
  return tarvex::WithoutSteering(WithoutBlanks(handler, word));
}

// The thing among `candidates` whose key belongs to a catalogue entry of that long or short name;
// null when there is none.
template <typename Thing>
Thing* FindByCatalogue(const DiagCatalogue* catalogue, const std::vector<Thing*>* candidates,
                       const std::string& name) {
  if (catalogue == nullptr || candidates == nullptr) return nullptr;
  std::string text;
  for (const auto& [key, entry] : *catalogue) {
    if (entry == nullptr) continue;
    if (entry->LongName(text) != name && entry->Option(text) != name) continue;
    for (Thing* thing : *candidates) {
      DiagKey own;
      if (thing->Key(own).identifier == key.identifier) return thing;
    }
  }
  return nullptr;
}

std::string GarbageText(char** first, char** last) {
  std::string text = std::string(kKeyGarbage) + "(";
  for (char** word = first; word <= last; ++word) {
    if (word != first) text += ", ";
    text += tarvex::InLine(*word);
  }
  return text + ") " + kKeyOutsideModule;
}

// A word that is no test is the name of a device on which the diagnostic is to run.
void NoteDeviceInText(Cli& cli, const std::string& word,
                      const std::shared_ptr<CliDiagnostic>& diagnostic) {
  const std::string item = tarvex::WithoutSteering(word);
  AddOnce(cli.testsTakenAsDevices, item);
  ModuleSelection& selection = *diagnostic->selection;
  if (selection.devices.Find(item) != nullptr) cli.AddWarning(kKeyRedundantDevice);
  selection.DeviceEntry(item).diagnostics.push_back(diagnostic);
}

}  // namespace

int Cli::ScanDeviceTokens(int argc, char** argv, bool finalPass, std::string& errorText) {
  // Each pass sees what the scanner has gone past since the last one, and one word beyond. At the
  // end the scanner's position says nothing about the words it permuted, so all that is left
  // counts.
  const int last = finalPass || optind < 0 ? argc - 1 : std::min(optind, argc - 1);
  for (int i = lastModuleArgIndex + argsScanned + 1; i <= last; ++i) {
    ++argsScanned;
    if (consumedArgs.count(argv[i]) != 0) continue;
    const std::string token = DeviceToken(*stringHandler, argv[i]);
    if (token.empty()) continue;
    if (token == "-") return Fail(errorText, errorText + kKeyFollowingDevicesMissing + ": -");
    if (token.front() == '-') continue;
    flags |= CLI_FLAG_DEVICES_CHOSEN;
    ++optionsSeen;
    ModuleSelection* selection = CurrentSelection(*this);
    if (selection == nullptr) return Fail(errorText, GarbageText(argv + i, argv + last));
    if (selection->devices.Find(token) != nullptr) AddOnce(duplicatedDevices, token);
    selection->DeviceEntry(token).namedForModule = true;
    selection->devicesNamed = true;
  }
  return kParseOk;
}

int Cli::AddDiagnostic(char optionValue, const char* optionText, std::string& errorText) {
  ModuleSelection* selection = CurrentSelection(*this);
  if (selection == nullptr) return Fail(errorText, kKeyDiagnosticForNoModule);
  flags |= CLI_FLAG_DIAGNOSTIC;
  if (selection->module == nullptr) return kParseOk;
  DiagDiagnostic* diagnostic = FindDiagnostic(*selection, std::string(1, optionValue));
  if (diagnostic == nullptr) {
    MergeResult(kResultNothingToRun);
    return Fail(errorText, kKeyInvalidDiagnostic);
  }
  auto record = std::make_shared<CliDiagnostic>();
  record->diagnostic = diagnostic;
  record->selection = selection;
  diagnostic->Name(record->name);
  if (optionText != nullptr) record->testsText = optionText;
  selection->diagnostics.push_back(std::move(record));
  return ScanDeviceTokens(line_.argc, line_.argv, false, errorText);
}

DiagDiagnostic* Cli::FindDiagnostic(const ModuleSelection& selection,
                                    const std::string& optionText) {
  // Only a module in hand has diagnostics to find, whatever selection is asked about.
  if (currentModule.empty() || selection.module == nullptr) return nullptr;
  return FindByCatalogue(selection.module->Catalogue(), selection.module->GetDiagnostics(),
                         optionText);
}

DiagTest* Cli::FindTest(const CliDiagnostic& diagnostic, const std::string& name) {
  if (diagnostic.selection == nullptr) return nullptr;
  return FindByCatalogue(diagnostic.selection->module->TestCatalogue(),
                         diagnostic.diagnostic->Tests(), name);
}

int Cli::ParseDiagnostic(const std::shared_ptr<CliDiagnostic>& diagnostic, std::string& errorText) {
  if (diagnostic == nullptr) return Fail(errorText, kKeyNoDiagnosticToParse);
  const std::string text = WithoutBlanks(*stringHandler, diagnostic->testsText);
  if (text.empty()) {
    diagnostic->allTests = true;
    diagnostic->allDevices = true;
    return kParseOk;
  }
  std::vector<std::string> items;
  if (CheckParentheses(text, errorText) != kParseOk) return kParseFatal;
  if (SplitTests(text, items, errorText) != kParseOk) return kParseFatal;
  bool deviceNamed = false;
  int code = kParseOk;
  // The last item decides: an error of an earlier one is cancelled by a good one behind it.
  for (const std::string& item : items) {
    code = ParseTest(item, *diagnostic, errorText);
    if (code == kParseNoTest) {
      deviceNamed = true;
      NoteDeviceInText(*this, item, diagnostic);
      code = kParseOk;
    }
  }
  if (diagnostic->tests.empty()) diagnostic->allTests = true;
  if (!deviceNamed) diagnostic->allDevices = true;
  return code;
}

int Cli::CheckParentheses(const std::string& text, std::string& errorText) {
  const auto opened = std::count(text.begin(), text.end(), '(');
  const auto closed = std::count(text.begin(), text.end(), ')');
  return opened == closed ? kParseOk : Fail(errorText, kKeyParenthesesMismatch);
}

int Cli::SplitTests(const std::string& source, std::vector<std::string>& out,
                    std::string& errorText) {
  constexpr std::size_t kNone = std::string::npos;
  out.clear();
  std::vector<std::string> items;
  const std::string text = WithoutBlanks(*stringHandler, source);
  if (text.empty()) return Fail(errorText, kKeyEmptyDiagnosticArgument);
  for (std::size_t pos = 0; pos < text.size();) {
    std::size_t comma = text.find(',', pos);
    const std::size_t open = text.find('(', pos);
    const std::size_t close = text.find(')', pos);
    if (close < open) return Fail(errorText, kKeyClosingWithoutOpening);
    if (comma > open) {
      if (close == kNone) return Fail(errorText, kKeyNoClosing);
      comma = close + 1;
      if (comma < text.size() && text[comma] != ',') return Fail(errorText, kKeyNoSeparator);
    }
    if (comma == pos) return Fail(errorText, kKeyEmptyTest);
    items.push_back(text.substr(pos, comma - pos));
    if (comma == kNone) break;
    pos = comma + 1;
  }
  if (text.back() == ',') return Fail(errorText, kKeyEmptyTest);
  out = std::move(items);
  return kParseOk;
}

int Cli::ParseTest(const std::string& text, CliDiagnostic& diagnostic, std::string& errorText) {
  if (text.empty()) return Fail(errorText, kKeyEmptyTest);
  const std::string clean = WithoutBlanks(*stringHandler, text);
  const std::size_t open = std::min(clean.find('('), clean.size());
  const std::string name = clean.substr(0, open);
  const std::string params = clean.substr(open);
  if (name.empty()) return Fail(errorText, kKeyTestNotValid, kParseNoTest);
  DiagTest* test = FindTest(diagnostic, name);
  if (test == nullptr) return Fail(errorText, kKeyTestNotValid, kParseNoTest);

  std::string ownName;
  test->Name(ownName);
  CliTest* record = diagnostic.tests.Find(ownName);
  if (record != nullptr) {
    AddOnce(duplicatedTests, name);
  } else {
    record = diagnostic.tests.Add(ownName);
    record->name = ownName;
    record->parametersText = params;
    record->test = test;
  }
  if (ParseParameters(*record, errorText) != kParseOk) return kParseFatal;

  DiagKey key;
  DiagCatalogEntry* entry = (*diagnostic.selection->module->TestCatalogue())[test->Key(key)];
  if (entry == nullptr) return Fail(errorText, kKeyTestNotValid, kParseNoTest);
  const std::uint32_t rule = entry->ParameterRule();
  if (rule == kParametersMandatory && record->parameters.empty()) {
    return Fail(errorText, kKeyArgumentsMandatory);
  }
  if (rule == kParametersNotWanted && !record->parameters.empty()) {
    AddOnce(testsWithSurplusArguments, name);
  }
  return kParseOk;
}

int Cli::ParseParameters(CliTest& test, std::string& errorText) {
  const std::string& text = test.parametersText;
  if (text.empty()) return kParseOk;
  if (text.size() < 2 || text.front() != '(' || text.back() != ')') {
    return Fail(errorText, kKeyInvalidParametersFormat);
  }
  const std::string inside = text.substr(1, text.size() - 2);
  if (inside.empty()) return kParseOk;
  for (std::size_t pos = 0; pos <= inside.size();) {
    const std::size_t comma = std::min(inside.find(',', pos), inside.size());
    const std::string item = inside.substr(pos, comma - pos);
    if (item.empty()) return Fail(errorText, kKeyParameterEmpty);
    test.parameters.emplace(item, item);
    pos = comma + 1;
  }
  return kParseOk;
}
