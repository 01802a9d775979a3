#include <QByteArray>
#include <QTextStream>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "system/config_file.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

void CheckResult(const ConfigParseResult& result, std::int32_t lines) {
  Require(result.opened == 0);
  Require(result.IsError() ? result.line >= 1 && result.line <= lines : result.line == -1);
  Require(result.key.empty() || result.code == kConfigRepeatedKey);
  Require(result.section.empty() || result.code <= kConfigRepeatedKey);
}

void CheckSection(const std::string& name, const ConfigSection& section, std::int32_t lines) {
  constexpr char kOutside[] = "abcdefghijklmnopqrstuvwxyz;=[]\n";
  Require(name.find_first_of(kOutside) == std::string::npos);
  Require(section.values.size() == section.keyLines.size());
  for (const auto& [key, value] : section.values) {
    Require(!key.empty() && key.find_first_of(kOutside) == std::string::npos);
    Require(!value.empty() && value.find_first_of(";\n") == std::string::npos);
    const std::int32_t line = section.keyLines.at("[" + name + "]" + key);
    Require(line >= 1 && line <= lines);
  }
}

}  // namespace

// Any bytes are a config up to the first fault, and the fault has a line of the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<int>(size));
  QTextStream stream(&bytes);
  stream.setCodec("UTF-8");
  ConfigFile config;
  const ConfigParseResult result = ParseConfigStream(stream, config);
  const auto lines = static_cast<std::int32_t>(size) + 1;
  CheckResult(result, lines);
  Require(config.HasSection(""));
  for (const auto& [name, section] : config.sections) CheckSection(name, section, lines);
  return 0;
}
