#include "system/ini_file.h"

#include <algorithm>
#include <charconv>

#include "boundary/ascii_case.h"
#include "os/trusted_file.h"

namespace tarvex {
namespace {

constexpr std::size_t kLargestFile = 1U << 20;
constexpr std::string_view kBlanks = " \t\r\f\v";

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

void ParseLine(std::string_view line, std::string& section, IniValues& values) {
  line = Trimmed(line);
  if (line.empty() || line.front() == '#' || line.front() == ';') return;
  if (line.front() == '[') {
    const std::size_t end = line.find(']');
    if (end != std::string_view::npos) section = LowerAscii(Trimmed(line.substr(1, end - 1)));
    return;
  }
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) return;
  const std::string key = LowerAscii(Trimmed(line.substr(0, equals)));
  if (!key.empty()) values.emplace(section + "/" + key, Trimmed(line.substr(equals + 1)));
}

}  // namespace

std::string LowerAscii(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(), AsciiLower);
  return lower;
}

IniValues ParseIni(std::string_view text) {
  IniValues values;
  std::string section;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    ParseLine(text.substr(0, end), section, values);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return values;
}

std::string ReadIniFile(const std::string& path, IniValues& values) {
  std::string text;
  std::string fault = ReadTrustedFile(path, kLargestFile, text);
  if (fault.empty()) values = ParseIni(text);
  return fault;
}

bool ParseUnsigned(std::string_view text, unsigned& value) {
  unsigned parsed = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, parsed);
  if (error != std::errc{} || rest != end) return false;
  value = parsed;
  return true;
}

}  // namespace tarvex
