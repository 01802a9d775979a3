#include "companions/manual/program_sections.h"

#include <algorithm>
#include <array>

#include "boundary/orvan_service_status.h"
#include "companions/manual/roff.h"
#include "frontend/options.h"
#include "frontend/result_codes.h"

namespace tarvex::manual {
namespace {

constexpr char kListBegin[] = ".Bl -tag -width Ds\n";
constexpr char kListEnd[] = ".El\n";

struct StatusText {
  std::int32_t status;
  const char* text;
};
constexpr std::array kStatusTexts{
    StatusText{kResultPassed,
               "the worst verdict that counts is passed; or information was shown; or the command "
               "line was "
               "wrong in a way that has no status of its own"},
    StatusText{kResultHostFailed, "the program could not start; standard error says why"},
    StatusText{kResultNoPrivileges, "not enough privileges"},
    StatusText{kResultAlreadyRunning, "another instance is running"},
    StatusText{kResultUnrecognizedOption, "an unknown option"},
    StatusText{kResultOutputFile, "the output file could not be opened"},
    StatusText{kResultFailed, "a test failed"},
    StatusText{kResultWarning, "a test ended with a warning"},
    StatusText{kResultNotApplicable,
               "not applicable, or nothing that was chosen applies to the chosen devices"},
    StatusText{FindStatus(kTestInvalid)->exitCode,
               "a test was invalid: it could not be tried, or the fault is our own"},
    StatusText{kResultCanceled, "a test was canceled"},
    StatusText{kResultNoModule, "no usable module"},
    StatusText{kResultNoDevice, "no device, or none of the named ones"},
    StatusText{kResultNothingToRun,
               "nothing to run, or a diagnostic that the module does not have"},
    StatusText{kResultNoTool, "a tool that the module does not have"},
};

constexpr bool EachVerdictIsThere() {
  return std::all_of(kTestStatusRows.begin(), kTestStatusRows.end(), [](const TestStatusRow& row) {
    return row.exitCode < 0 ||
           std::any_of(kStatusTexts.begin(), kStatusTexts.end(),
                       [&row](const StatusText& one) { return one.status == row.exitCode; });
  });
}
static_assert(EachVerdictIsThere(), "the exit status of a verdict is not explained");

std::string ExitStatus(std::map<std::string, Note>& /*notes*/) {
  std::string text = kListBegin;
  for (const StatusText& one : kStatusTexts) {
    text += ".It " + std::to_string(one.status) + "\n" + TextLines(Sentence(one.text));
  }
  return text + kListEnd;
}

std::string OptionItem(const OptionRow& row, std::map<std::string, Note>& notes) {
  const auto note = notes.find(std::string(1, row.letter));
  const bool hasNote = note != notes.end();
  std::string word = row.longArgument == no_argument ? "-" : "text";
  if (hasNote && !note->second.argument.empty()) word = note->second.argument;
  const std::string argument = word == "-" ? "" : Argument(word);
  std::string item = ".It";
  if (row.shortForm != ShortForm::kNever) {
    item += std::string(" Fl ") + row.letter;
    if (!argument.empty()) item += " Ns Ar " + argument;
    item += " ,";
  }
  item += " Fl " + Argument(std::string("-") + row.longName);
  if (!argument.empty()) item += " Ns = Ns Ar " + argument;
  item += "\n" + TextLines(Sentence(SummaryOf(row)));
  if (hasNote) {
    note->second.used = true;
    item += note->second.text;
  }
  return item;
}

std::string Options(std::map<std::string, Note>& notes) {
  std::string text = kListBegin;
  for (const OptionRow& row : FixedOptions()) text += OptionItem(row, notes);
  return text + kListEnd;
}

}  // namespace

void AddProgramSections(PageParts& parts) {
  parts.sections["options"] = Options;
  parts.sections["exit-status"] = ExitStatus;
}

}  // namespace tarvex::manual
