#pragma once

#include <string>
#include <string_view>

// The writing of manual pages in mdoc. Texts are UTF-8 and stand as they are, whatever is in them.
namespace tarvex::manual {

// Text, a line for each sentence.
std::string TextLines(std::string_view text);

// An argument of a macro, which is none itself.
std::string Argument(std::string_view text);

// A sentence: the text with a capital in front and a full stop behind.
std::string Sentence(std::string text);

}  // namespace tarvex::manual
