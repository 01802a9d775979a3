#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "system/ini_file.h"

namespace {

using tarvex::IniValues;

void Require(bool holds) {
  if (!holds) std::abort();
}

bool HasBlankEnds(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\f\v";
  return !text.empty() && (kBlanks.find(text.front()) != std::string_view::npos ||
                           kBlanks.find(text.back()) != std::string_view::npos);
}

void CheckValue(const std::string& name, const std::string& value) {
  Require(name.find('\n') == std::string::npos && value.find('\n') == std::string::npos);
  Require(name == tarvex::LowerAscii(name) && name.find('/') != std::string::npos);
  Require(!HasBlankEnds(name) && !HasBlankEnds(value));
}

// A number is what it looks like: its digits come back, but for zeros in front.
void CheckNumber(const std::string& text) {
  constexpr unsigned kBefore = 12345;
  unsigned number = kBefore;
  if (tarvex::ParseUnsigned(text, number)) {
    const std::string digits = text.substr(std::min(text.find_first_not_of('0'), text.size()));
    Require(std::to_string(number) == (digits.empty() ? "0" : digits));
  } else {
    Require(number == kBefore);
  }
}

}  // namespace

// Any bytes are settings: names and values of one line each, without blanks at their ends. A first
// value stays whatever follows, and a section that is opened behind them is open.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const IniValues values = tarvex::ParseIni(text);
  Require(values.size() <= size);
  for (const auto& [name, value] : values) {
    CheckValue(name, value);
    CheckNumber(value);
  }
  CheckNumber(text);
  const std::string more = text + "\n[General]\nCollectData=1\n";
  IniValues wanted = values;
  wanted.emplace("general/collectdata", "1");
  Require(tarvex::ParseIni(more) == wanted);
  Require(tarvex::ParseIni(more + "[GENERAL]\nCOLLECTDATA=2\n") == wanted);
  return 0;
}
