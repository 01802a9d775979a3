#pragma once

#include <functional>
#include <map>
#include <string>

namespace tarvex::manual {

// A note of a template: what is written by hand about one row of a table.
struct Note {
  std::string argument;  // the word for what the row takes; may be empty; "-": none is shown
  std::string text;      // mdoc
  bool used = false;
};

// What a page is made with.
struct PageParts {
  // Sections that are made of tables, by name; each gets the notes of the template.
  std::map<std::string, std::function<std::string(std::map<std::string, Note>& notes)>> sections;
  // What stands for @NAME@ in a line.
  std::map<std::string, std::string> words;
};

// The page: the template with its notes taken out, and a section for each line "@section NAME". A
// note is a line "@note KEY [ARGUMENT]", text, and a line "@end", and stands in front of the
// section that uses it. Throws std::runtime_error for a section, a word or a note that there is
// none for.
std::string MakePage(const std::string& text, const PageParts& parts);

}  // namespace tarvex::manual
