#include "system/config_file.h"

#include <QFile>
#include <QTextStream>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "os/regular_file.h"
#include "system/config_line.h"
#include "system/system_path.h"
#include "system/win_string_handler_imp.h"

namespace {

constexpr char kDriveInfoSection[] = "STORAGE";
constexpr char kDriveInfoKey[] = "ENABLE_TARVEX_DRIVE_INFO";
constexpr char kOn[] = "1";

// A mistake that holds where it is found and `missing` (0: none) is not in the line.
struct Mistake {
  std::int32_t code;
  char missing;
  bool (*isFound)(std::string_view line);
};

// In the order of the checks: the first one that holds counts.
constexpr std::array kMistakes{
    Mistake{kConfigSecondOpening, 0, tarvex::HasSecondOpening},
    Mistake{kConfigSecondClosing, 0, tarvex::HasSecondClosing},
    Mistake{kConfigSecondEquals, 0, tarvex::HasSecondEquals},
    Mistake{kConfigBracketAtEquals, 0, tarvex::HasBracketAtEquals},
    Mistake{kConfigNoClosing, ']', tarvex::HasOpeningAtWord},
    Mistake{kConfigNoOpening, '[', tarvex::HasClosingAtWord},
    Mistake{kConfigReversedBrackets, 0, tarvex::HasReversedBrackets},
    Mistake{kConfigEmptyBrackets, 0, tarvex::HasEmptyBrackets},
    Mistake{kConfigNoKey, 0, tarvex::IsValueWithoutKey},
    Mistake{kConfigNoValue, 0, tarvex::IsKeyWithoutValue},
};

ConfigParseResult Fault(std::int32_t code, std::int32_t line, std::string section = {},
                        std::string key = {}) {
  ConfigParseResult result;
  result.code = code;
  result.line = line;
  result.section = std::move(section);
  result.key = std::move(key);
  return result;
}

std::string UpperCase(std::string text) {
  WinStringHandlerImp::Instance().ToUpper(text);
  return text;
}

// Takes the lines of one text into a config.
class LineParser {
 public:
  explicit LineParser(ConfigFile& config) : config_(config) { config.sections[section_]; }

  // `line` is the line up to its comment.
  ConfigParseResult Take(const std::string& line, std::int32_t number) {
    if (line.size() > kLongestConfigLine) return Fault(kConfigTooLarge, number);
    if (tarvex::IsBlankLine(line)) return {};
    ConfigParseResult result = ValidateConfigLine(line, number);
    if (!result.IsError()) result = TakeSection(line, number);
    if (!result.IsError()) result = TakePair(line, number);
    return result;
  }

 private:
  ConfigParseResult TakeSection(const std::string& line, std::int32_t number) {
    const std::optional<std::string_view> found = tarvex::FindSectionName(line);
    if (!found) return {};
    std::string name = UpperCase(std::string(*found));
    if (!config_.sections.try_emplace(name).second) {
      return Fault(kConfigRepeatedSection, number, std::move(name));
    }
    section_ = std::move(name);
    return {};
  }

  ConfigParseResult TakePair(const std::string& line, std::int32_t number) {
    const std::optional<tarvex::ConfigPair> found = tarvex::FindPair(line);
    if (!found) return {};
    ConfigSection& section = config_.sections[section_];
    std::string key = UpperCase(std::string(found->key));
    if (!section.values.try_emplace(key, found->value).second) {
      return Fault(kConfigRepeatedKey, number, section_, std::move(key));
    }
    section.keyLines["[" + section_ + "]" + key] = number;
    return {};
  }

  ConfigFile& config_;
  std::string section_;
};

}  // namespace

bool ConfigFile::HasSection(const std::string& name) const {
  return sections.count(name) != 0;
}

bool ConfigFile::HasKey(const std::string& section, const std::string& key) const {
  const auto found = sections.find(section);
  return found != sections.end() && found->second.values.count(key) != 0;
}

std::string ConfigFile::GetValue(const std::string& section, const std::string& key) const {
  return HasKey(section, key) ? sections.at(section).values.at(key) : std::string();
}

ConfigParseResult ValidateConfigLine(const std::string& line, std::int32_t lineNumber) {
  if (line.find_first_of("[]=") == std::string::npos) return Fault(kConfigBareWord, lineNumber);
  for (const Mistake& mistake : kMistakes) {
    if (mistake.missing != 0 && line.find(mistake.missing) != std::string::npos) continue;
    if (mistake.isFound(line)) return Fault(mistake.code, lineNumber);
  }
  return {};
}

ConfigParseResult ParseConfigStream(QTextStream& stream, ConfigFile& config) {
  LineParser parser(config);
  std::size_t room = kLongestConfigText;
  for (std::int32_t number = 1; !stream.atEnd(); ++number) {
    // Bounded, for a text may have no line end at all.
    const QString line = stream.readLine(static_cast<qint64>(room) + 1);
    const std::size_t length = static_cast<std::size_t>(line.size()) + 1;
    if (length > room) return Fault(kConfigTooLarge, number);
    room -= length;
    const std::string text = line.left(line.indexOf(QLatin1Char(';'))).toStdString();
    ConfigParseResult result = parser.Take(text, number);
    if (result.IsError()) return result;
  }
  return {};
}

ConfigParseResult ReadConfigFile(const std::string& path, ConfigFile& config) {
  using tarvex::LastLink;
  const tarvex::Descriptor descriptor =
      tarvex::OpenRegularFile(tarvex::ToSystemPath(path), LastLink::kRefuse);
  return descriptor.IsOpen() ? ReadConfigFile(descriptor.Get(), config) : ConfigParseResult();
}

ConfigParseResult ReadConfigFile(int descriptor, ConfigFile& config) {
  QFile file;
  if (!file.open(descriptor, QIODevice::ReadOnly | QIODevice::Text)) return {};
  QTextStream stream(&file);
  stream.setCodec("UTF-8");
  ConfigParseResult result = ParseConfigStream(stream, config);
  result.opened = 1;
  return result;
}

bool tarvex::AsksForDriveInfo(const ConfigFile& config) {
  return config.GetValue(kDriveInfoSection, kDriveInfoKey) == kOn;
}
