#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarvex::complete {

// A command line up to the cursor, as it was typed into a shell. Nothing in it is expanded or run.
struct TypedLine {
  // Without their quotes; the last one is in hand, and may be empty.
  std::vector<std::string> words;
  std::string raw;       // the last one as it was typed
  char quote = '\0';     // the quote that is open at the cursor
  bool escaped = false;  // a backslash in front of the cursor waits for what it escapes
};

TypedLine SplitLine(std::string_view line);

// A word as it was typed, without its quotes; they need not be closed.
std::string Unquoted(std::string_view raw);

// What takes the place of `replaced`, the end of the line as the shell is going to replace it, so
// that the word in hand becomes `candidate`; none when the line does not end so, or amid an escape.
std::optional<std::string> ReplyFor(const TypedLine& line, std::string_view replaced,
                                    std::string_view candidate);

}  // namespace tarvex::complete
