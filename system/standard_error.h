#pragma once

#include <string>
#include <string_view>

namespace tarvex {

// How the program says, on descriptor 2, what it can say nowhere else: that it could not begin, or
// that something the operator asked for is lost. Standard output belongs to the run and to a
// supervising program, so nothing of this goes there.

// The line for that text, "TarvexDiagnosticsCLI: TEXT" with its end. What steers a terminal and
// what is no UTF-8 become U+FFFD, so that a text from outside is one line and moves no cursor.
std::string NoticeLine(std::string_view text);

// Writes the line of that text, whole or not at all where the descriptor is a pipe and the line is
// not longer than a page. A reader that takes nothing for a second loses it. Any thread.
void TellOnStandardError(std::string_view text);

}  // namespace tarvex
