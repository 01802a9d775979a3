#include "companions/manual/roff.h"

#include <algorithm>

#include "boundary/ascii_case.h"

namespace tarvex::manual {
namespace {

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char byte : text) {
    if (byte == '\\') {
      escaped += "\\e";
    } else if (byte == '-') {
      escaped += "\\-";
    } else if (byte == '\n') {
      escaped += ' ';
    } else {
      escaped += byte;
    }
  }
  return escaped;
}

// Where a full stop has a blank and a capital behind it, up to that blank.
std::size_t SentenceEnd(std::string_view text) {
  for (std::size_t stop = text.find(". "); stop != std::string_view::npos;
       stop = text.find(". ", stop + 1)) {
    if (stop + 2 < text.size() && text[stop + 2] >= 'A' && text[stop + 2] <= 'Z') return stop + 1;
  }
  return text.size();
}

}  // namespace

std::string TextLines(std::string_view text) {
  std::string lines;
  while (!text.empty()) {
    // A dot or an apostrophe in front would begin a macro.
    const bool beginsMacro = text.starts_with('.') || text.starts_with('\'');
    const std::size_t end = SentenceEnd(text);
    lines += (beginsMacro ? "\\&" : "") + Escaped(text.substr(0, end)) + "\n";
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

std::string Argument(std::string_view text) {
  std::string argument;
  for (const char byte : Escaped(text)) {
    if (byte == '"') {
      argument += "\\(dq";
    } else {
      argument += byte;
    }
  }
  return "\"\\&" + argument + '"';
}

std::string Sentence(std::string text) {
  if (text.empty()) return text;
  text.front() = AsciiUpper(text.front());
  if (text.back() != '.') text += '.';
  return text;
}

}  // namespace tarvex::manual
