#include "system/standard_error.h"

#include <unistd.h>

#include "system/descriptor_writer.h"
#include "system/text_conversion.h"

namespace tarvex {
namespace {

constexpr char kTold[] = "TarvexDiagnosticsCLI: ";
constexpr int kPatienceMs = 1000;
constexpr wchar_t kReplacement = 0xFFFD;

// C0, DEL and C1. Source: ISO/IEC 6429.
bool IsControl(wchar_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

}  // namespace

std::string NoticeLine(std::string_view text) {
  std::string line = kTold;
  for (const wchar_t character : Utf8ToWideLenient(text)) {
    AppendUtf8(line, IsControl(character) ? kReplacement : character);
  }
  return line + '\n';
}

void TellOnStandardError(std::string_view text) {
  const std::string line = NoticeLine(text);
  WriteAll(STDERR_FILENO, line.data(), line.size(), [] { return kPatienceMs; });
}

}  // namespace tarvex
