#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Text from outside: what a module, a device, a scenario or the command line says. It must not
// steer the terminal, nor make lines of its own in what the program writes. Texts are UTF-8. Pure
// functions; any thread.
//
// Where such a text comes in, InLine takes the characters of layout out of it, for these the
// program's own texts hold, too, and nothing could tell them apart later. Each channel shows what
// steers, but for the layout, as U+FFFD: only there it is known what becomes of a byte.

namespace tarvex {

// SUBSTITUTE of ASCII: what InLine puts in the place of a character. It steers, so it is shown as
// U+FFFD, also where text is widened byte by byte.
inline constexpr char kSubstitute = '\x1A';

// Whether the character steers what shows it: control characters (C0, DEL, C1), the controls of
// writing direction, and the separators of lines and paragraphs.
// Source: The Unicode Standard 15.0, Cc; UAX #9, table of directional formatting characters; Zl,
// Zp.
bool IsSteering(std::uint32_t character);

// Whether the program's own texts are laid out with the character: backspace, tab, line feed,
// carriage return.
constexpr bool IsLayout(std::uint32_t character) {
  return character == '\b' || character == '\t' || character == '\n' || character == '\r';
}

// The text with kSubstitute for each character of layout that is not in `kept`.
std::string InLine(std::string text, std::string_view kept = {});

// The text with U+FFFD for each character that steers and is not in `kept`, which is ASCII. So an
// ill-formed part that holds a byte from 80 to 9F, which some terminals obey; other ill-formed
// parts stay.
std::string WithoutSteering(std::string_view text, std::string_view kept = {});

}  // namespace tarvex
