#include "companions/history/options.h"
#include "companions/manual/program_sections.h"
#include "companions/manual/roff.h"

namespace tarvex::manual {
namespace {

std::string NoteOf(std::map<std::string, Note>& notes, const std::string& key) {
  const auto note = notes.find(key);
  if (note == notes.end()) return {};
  note->second.used = true;
  return note->second.text;
}

std::string Commands(std::map<std::string, Note>& notes) {
  std::string text = ".Bl -tag -width Ds\n";
  for (const history::CommandRow& row : history::CommandRows()) {
    text += ".It Cm " + Argument(row.word);
    const std::string operand = row.operand;
    if (operand.starts_with('[')) {
      text += " Op Ar " + Argument(operand.substr(1, operand.size() - 2));
    } else if (!operand.empty()) {
      text += " Ar " + Argument(operand);
    }
    text += "\n" + TextLines(Sentence(row.help)) + NoteOf(notes, row.word);
  }
  return text + ".El\n";
}

std::string Options(std::map<std::string, Note>& notes) {
  std::string text = ".Bl -tag -width Ds\n";
  for (const history::OptionRow& row : history::OptionRows()) {
    text += ".It";
    if (row.letter != 0) text += std::string(" Fl ") + row.letter + " ,";
    text += " Fl " + Argument(std::string("-") + row.name);
    const std::string argument = row.argument;
    if (argument.starts_with('[')) {
      text += " Ns Op = Ns Ar " + Argument(argument.substr(1, argument.size() - 2));
    } else if (!argument.empty()) {
      text += " Ns = Ns Ar " + Argument(argument);
    }
    text += "\n" + TextLines(Sentence(row.help)) + NoteOf(notes, row.name);
  }
  return text + ".El\n";
}

}  // namespace

void AddHistorySections(PageParts& parts) {
  parts.sections["history-commands"] = Commands;
  parts.sections["history-options"] = Options;
}

}  // namespace tarvex::manual
