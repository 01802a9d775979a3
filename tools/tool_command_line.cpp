#include "tools/tool_command_line.h"

#include <algorithm>
#include <array>

#include "boundary/hostlayer.h"
#include "system/flag_bits.h"
#include "system/key_format.h"
#include "system/outside_text.h"
#include "system/string_handler.h"
#include "tools/message_keys.h"

namespace tarvex {
namespace {

// Shorter lines end with the tool option.
constexpr int kFirstCountWithOptions = 4;
// Where device arguments are looked for. The module and, as a rule, the tool stand there too.
constexpr int kFirstArgument = 2;
constexpr char kPlaceholder[] = "_";

struct Refusal {
  int value;
  const char* key;
};
constexpr std::array kRefusals{Refusal{'?', kToolUnrecognizedOption},
                               Refusal{'b', kKeyToolInBackground},
                               Refusal{'o', kKeyToolRedirected}};

std::vector<std::string> Words(int argc, char** argv) {
  std::vector<std::string> words;
  for (int i = kFirstArgument; i < argc; ++i) {
    // As the service gives ids out.
    if (argv[i][0] != '-') words.push_back(WithoutSteering(argv[i]));
  }
  return words;
}

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
  return text;
}

// False when the scan met an option that no tool has.
bool ScanOptions(int argc, char** argv, const ToolGrammar& grammar, ToolCommandLine& line) {
  opterr = 0;
  // The scanner permutes its copy. Its place in the line is where the program's scan left it.
  std::vector<char*> copy(argv, argv + argc);
  copy.push_back(nullptr);
  for (;;) {
    const int value =
        getopt_long(argc, copy.data(), grammar.shortOptions, grammar.longOptions.data(), nullptr);
    if (value == -1) return true;
    const auto is = [value](const auto& row) { return row.value == value; };
    const auto* refusal = std::find_if(kRefusals.begin(), kRefusals.end(), is);
    if (refusal != kRefusals.end()) {
      line.errors.emplace_back(refusal->key);
      return false;
    }
    const auto row = std::find_if(grammar.rows.begin(), grammar.rows.end(), is);
    if (row != grammar.rows.end()) line.flags |= row->bits;
  }
}

// The device arguments, one after the other.
class DeviceCheck {
 public:
  DeviceCheck(const ToolDeviceSource& devices, ToolCommandLine& line)
      : devices_(devices), line_(line) {}

  void Take(const std::string& token) {
    // A list shows all devices, whatever the line names.
    const bool isList = !Has(line_.flags, kToolFlagOperation);
    if (token == kPlaceholder || isList) {
      Ignore(token);
    } else {
      seen_ = true;
      if (!token.empty()) Select(token);
    }
  }
  // False when the line names devices and no valid one.
  bool Finish(const char* allInvalidKey) {
    if (unknown_.size() > 1) {
      line_.warnings.push_back(kToolUnknownDevices +
                               Protected(unknown_.substr(1, unknown_.size() - 3)));
    }
    if (!seen_ || !line_.devices.empty()) return true;
    line_.errors.emplace_back(allInvalidKey);
    return false;
  }

 private:
  void Ignore(const std::string& token) {
    line_.warnings.push_back(kToolIgnoring + Protected(token));
  }
  void Select(const std::string& token) {
    if (devices_.knows(token)) {
      line_.devices.insert(token);
    } else if (unknown_.find(" " + token + ",") == std::string::npos) {
      unknown_ += token + ", ";
    }
  }

  const ToolDeviceSource& devices_;
  ToolCommandLine& line_;
  std::string unknown_ = " ";  // a blank, and each unknown id with a comma and a blank behind it
  bool seen_ = false;
};

bool TakeDevices(int argc, char** argv, const ToolGrammar& grammar, const ToolDeviceSource& devices,
                 ToolCommandLine& line) {
  const std::vector<std::string> words = Words(argc, argv);
  if (!Has(line.flags, kToolFlagOperation | kToolFlagList)) {
    if (const std::string list = Joined(words); !list.empty()) {
      line.warnings.push_back(kToolIgnoring + list);
    }
    return true;
  }
  devices.filter();
  DeviceCheck check(devices, line);
  for (const std::string& word : words) {
    for (const std::string& token : get_string_handler()->Split(word, ',')) check.Take(token);
  }
  return check.Finish(grammar.allInvalidKey);
}

}  // namespace

bool ParseToolLine(int argc, char** argv, const ToolGrammar& grammar,
                   const ToolDeviceSource& devices, ToolCommandLine& line) {
  line = {};
  if (argc >= kFirstCountWithOptions) {
    if (!ScanOptions(argc, argv, grammar, line)) return false;
    if (!TakeDevices(argc, argv, grammar, devices, line)) return false;
    if (grammar.adjustFlags != nullptr) line.flags = grammar.adjustFlags(line.flags);
  }
  if (Has(line.flags, kToolFlagInformation | kToolFlagOperation)) return true;
  line.flags |= kToolFlagHelp | kToolFlagInformation;
  if (!line.warnings.empty()) line.warnings.emplace_back(kToolNoValidOption);
  return true;
}

}  // namespace tarvex
