#include "system/standard_error.h"

#include <unistd.h>

#include <cstdint>

#include "os/descriptor_writer.h"
#include "system/outside_text.h"
#include "system/text_conversion.h"

namespace tarvex {
namespace {

constexpr char kTold[] = "TarvexDiagnosticsCLI: ";
constexpr int kPatienceMs = 1000;

}  // namespace

std::string NoticeLine(std::string_view text) {
  std::string line = kTold;
  for (const wchar_t character : Utf8ToWideLenient(text)) {
    AppendUtf8(line, IsSteering(static_cast<std::uint32_t>(character)) ? kReplacement : character);
  }
  return line + '\n';
}

void TellOnStandardError(std::string_view text) {
  const std::string line = NoticeLine(text);
  WriteAll(STDERR_FILENO, line.data(), line.size(), [] { return kPatienceMs; });
}

}  // namespace tarvex
