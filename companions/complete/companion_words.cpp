#include "companions/complete/companion_words.h"

#include <array>
#include <exception>
#include <functional>
#include <set>
#include <span>
#include <string_view>

#include "companions/complete/path_words.h"
#include "companions/history/archive.h"
#include "companions/history/device_names.h"
#include "companions/history/options.h"
#include "system/folders.h"

namespace tarvex::complete {
namespace {

using history::CommandRow;
using history::OptionRow;

// The program itself is written in Python, and a test compares these with its own.
constexpr std::array kReportOptions{
    OptionRow{"help", 'h', "", "show this help message and exit"},
    OptionRow{"output", 'o', "FILE",
              "the page; a file of that name is replaced, \"-\" is standard output"},
    OptionRow{"logs", 0, "FOLDER", "where the logs lie; repeatable"},
    OptionRow{"state", 0, "FOLDER", "the state folder, for /var/lib/tarvex"},
    OptionRow{"version", 0, "", "show program's version number and exit"}};

bool TakesText(const OptionRow& row) {
  return *row.argument != '\0';
}
bool MayStandAlone(const OptionRow& row) {
  return !TakesText(row) || *row.argument == '[';
}

// Where the line has the program look for runs.
struct Places {
  std::string state = StateFolder();
  std::vector<std::string> logs = {};

  std::vector<std::string> Logs() const {
    return logs.empty() ? std::vector<std::string>{state + "/log"} : logs;
  }
};

Places PlacesOf(const std::vector<std::string>& words) {
  Places places;
  const auto take = [&places](std::string_view option, const std::string& folder) {
    if (option == "--state") places.state = folder;
    if (option == "--logs") places.logs.push_back(folder);
  };
  for (std::size_t i = 1; i < words.size(); ++i) {
    const std::size_t equals = words[i].find('=');
    if (equals != std::string::npos) {
      take(std::string_view(words[i]).substr(0, equals), words[i].substr(equals + 1));
    } else if (i + 1 < words.size()) {
      take(words[i], words[i + 1]);
    }
  }
  return places;
}

// The latest first, as they are named by the time at which they began.
void OfferRuns(Answer& answer, const Places& places, const std::string& before) {
  answer.Offer(before + history::kLastRun, "the latest run");
  std::vector<history::PassedOver> passedOver;
  std::set<std::string, std::greater<>> names;
  for (const history::LogPlace& log : history::LogsIn(places.Logs(), passedOver)) {
    const std::string run = history::RunIdOf(log.path);
    if (IsPlainName(run)) names.insert(run);
  }
  for (const std::string& name : names) answer.Offer(before + name);
  if (answer.typed().size() > before.size()) OfferPaths(answer, before, PathKind::kFile);
}

// The devices that the logs know, by their serial numbers, or else by what means them alone.
void OfferKnownDevices(Answer& answer, const Places& places, const std::string& before) {
  try {
    history::Archive archive(places.state, places.Logs());
    const std::vector<history::KnownDevice> devices = archive.Index().Devices();
    const history::DeviceNames names(devices);
    for (const history::KnownDevice& known : devices) {
      const std::string& serial = known.device.serial;
      // It may be another's key, which counts first.
      const std::vector<const history::KnownDevice*> called = names.Called(serial);
      const bool isEnough = IsPlainName(serial) && called.size() == 1 && called.front() == &known;
      const std::string name = isEnough ? serial : names.NameOf(known);
      if (IsPlainName(name)) answer.Offer(before + name, known.device.name);
    }
  } catch (const std::exception&) {
    // Then there is no list of them, and the program itself says why.
  }
}

// `kind` is the word of the help for it, such as "FILE" or "[FILE]".
void OfferArgument(Answer& answer, const Places& places, const std::string& before,
                   std::string_view kind) {
  const auto is = [kind](std::string_view one) { return kind.find(one) != std::string_view::npos; };
  if (is("FOLDER")) OfferPaths(answer, before, PathKind::kFolder);
  if (is("FILE")) OfferPaths(answer, before, PathKind::kFile);
  if (is("RUN")) OfferRuns(answer, places, before);
  if (is("DEVICE")) OfferKnownDevices(answer, places, before);
}

// A line of one program.
class CompanionWords {
 public:
  CompanionWords(Answer& answer, std::span<const OptionRow> options,
                 std::span<const CommandRow> commands, std::string_view operand)
      : answer_(answer), options_(options), commands_(commands), operand_(operand) {}

  void Run(const std::vector<std::string>& words) {
    places_ = PlacesOf(words);
    const OptionRow* previous = words.size() > 1 ? OptionOf(words.back()) : nullptr;
    if (previous != nullptr && !MayStandAlone(*previous)) {
      OfferArgument(answer_, places_, "", previous->argument);
      return;
    }
    const std::string& typed = answer_.typed();
    const std::size_t equals = typed.find('=');
    if (typed.starts_with("--") && equals != std::string::npos) {
      const OptionRow* row = OptionOf(typed.substr(0, equals));
      if (row != nullptr) {
        OfferArgument(answer_, places_, typed.substr(0, equals + 1), row->argument);
      }
      return;
    }
    OfferOperands(words);
    if (typed.starts_with('-') || typed.empty()) OfferOptions();
  }

 private:
  const OptionRow* OptionOf(std::string_view word) const {
    for (const OptionRow& row : options_) {
      if (word == std::string("--") + row.name) return &row;
      if (row.letter != 0 && word == std::string("-") + row.letter) return &row;
    }
    return nullptr;
  }

  void OfferOperands(const std::vector<std::string>& words) {
    if (commands_.empty()) return OfferArgument(answer_, places_, "", operand_);
    for (std::size_t i = 1; i < words.size(); ++i) {
      for (const CommandRow& row : commands_) {
        if (words[i] == row.word) return OfferArgument(answer_, places_, "", row.operand);
      }
    }
    for (const CommandRow& row : commands_) answer_.Offer(row.word, row.help);
  }

  void OfferOptions() {
    for (const OptionRow& row : options_) {
      if (row.letter != 0) answer_.Offer(std::string("-") + row.letter, row.help);
      const std::string name = std::string("--") + row.name;
      if (MayStandAlone(row)) answer_.Offer(name, row.help);
      if (TakesText(row)) answer_.Offer(name + "=", row.help);
    }
  }

  Answer& answer_;
  Places places_;
  const std::span<const OptionRow> options_;
  const std::span<const CommandRow> commands_;
  const std::string_view operand_;  // where there are no commands
};

}  // namespace

void OfferHistoryWords(Answer& answer, const std::vector<std::string>& words) {
  CompanionWords(answer, history::OptionRows(), history::CommandRows(), "").Run(words);
}

void OfferReportWords(Answer& answer, const std::vector<std::string>& words) {
  CompanionWords(answer, kReportOptions, {}, "RUN").Run(words);
}

}  // namespace tarvex::complete
