#include "companions/complete/program_words.h"

#include <algorithm>
#include <array>
#include <set>

#include "boundary/orvan_service.h"
#include "companions/complete/grammar_words.h"
#include "companions/complete/option_words.h"
#include "companions/complete/path_words.h"
#include "companions/complete/tool_words.h"
#include "frontend/option_selection.h"
#include "system/key_format.h"

namespace tarvex::complete {
namespace {

std::string Title(const std::string& key) {
  return FormatKey(key, true, true, true);
}

class ProgramWords {
 public:
  ProgramWords(Answer& answer, const Offer& offer) : answer_(answer), offer_(offer) {}

  void Run(const std::vector<std::string>& words) {
    for (std::size_t i = 1; i < words.size(); ++i) {
      if (tool_ != nullptr) break;
      Pass(words[i]);
    }
    if (tool_ != nullptr) {
      OfferToolWords(answer_, *tool_, *module_, words, offer_);
    } else if (wantsReport_) {
      OfferPaths(answer_, "", PathKind::kFile);
    } else {
      OfferWord();
    }
  }

 private:
  // A word in front of the one in hand.
  void Pass(const std::string& word) {
    wantsReport_ = false;
    if (noMoreOptions_ || !word.starts_with('-')) {
      named_.insert(word);
      return;
    }
    noMoreOptions_ = word == "--";
    const std::optional<TypedOption> option = ReadOption(word, module_);
    if (!option || option->row == nullptr) return;
    const std::string text = option->text.value_or("");
    if (option->row->letter == 'M') {
      module_ = FindModule(offer_, text);
      named_.clear();
    } else if (option->row->letter == 'T' && module_ != nullptr) {
      tool_ = FindTool(*module_, text);
    }
    wantsReport_ = option->row->letter == 'o' && text.empty();
  }

  void OfferWord() {
    const std::string& typed = answer_.typed();
    if (!typed.starts_with('-')) OfferDevices();
    if (noMoreOptions_) return;
    if (typed.size() < 2) OfferLetters();
    if (typed.starts_with('-')) OfferLongNames();
    const std::optional<TypedOption> option = ReadOption(typed, module_);
    if (option && option->text) {
      OfferText(*option, option->before);
    } else if (option && option->before == typed && !typed.starts_with("--")) {
      answer_.Offer(typed);
    }
  }

  void OfferDevices() {
    if (module_ == nullptr) return;
    for (DiagDevice* device : offer_.devicesOf(*module_)) {
      std::string id;
      DeviceInformation information;
      if (!IsPlainName(device->GetId(id)) || named_.contains(id)) continue;
      answer_.Offer(id, device->GetInformation(information).name);
    }
  }

  // The options by their letters. Where nothing is meant without a text, with each that there is.
  void OfferLetters() {
    for (const OptionRow& row : FixedOptions()) {
      if (!IsForPeople(row)) continue;
      const std::string word = std::string("-") + row.letter;
      const bool needsText = std::string_view("MTes").find(row.letter) != std::string_view::npos;
      if (needsText) {
        OfferText({&row, nullptr, word, ""}, word);
      } else {
        answer_.Offer(word, SummaryOf(row));
      }
    }
    if (module_ == nullptr) return;
    for (const OfferedDiagnostic& one : DiagnosticsOf(*module_)) {
      std::string name;
      answer_.Offer(std::string("-") + one.letter, Title(one.diagnostic->Name(name)));
    }
  }

  void OfferLongNames() {
    if (answer_.typed().find('=') != std::string::npos) return;
    for (const OptionRow& row : FixedOptions()) {
      if (!IsForPeople(row)) continue;
      const std::string word = std::string("--") + row.longName;
      answer_.Offer(row.longArgument == no_argument ? word : word + "=", SummaryOf(row));
    }
    if (module_ == nullptr) return;
    for (const OfferedDiagnostic& one : DiagnosticsOf(*module_)) {
      std::string name;
      if (!IsPlainName(one.longName)) continue;
      answer_.Offer("--" + one.longName, Title(one.diagnostic->Name(name)));
    }
  }

  void OfferText(const TypedOption& option, const std::string& before) {
    if (option.diagnostic != nullptr) {
      OfferTests(answer_, before, *module_, *option.diagnostic);
      return;
    }
    const auto* source =
        std::find_if(kSources.begin(), kSources.end(),
                     [&option](const Source& one) { return one.letter == option.row->letter; });
    if (source != kSources.end()) (this->*source->offer)(before);
  }

  void OfferModules(const std::string& before) {
    for (DiagModule* module : offer_.modules) {
      const std::string name = NameOf(*module);
      std::string shown;
      if (IsPlainName(name)) answer_.Offer(before + name, Title(module->GetDisplayName(shown)));
    }
  }

  void OfferTools(const std::string& before) {
    if (module_ == nullptr || module_->Tools() == nullptr) return;
    for (DiagTool* tool : *module_->Tools()) {
      std::string hint;
      std::string description;
      if (!IsPlainName(tool->GetHint(hint))) continue;
      answer_.Offer(before + hint, FormatKey(tool->GetDescription(description), false, true, true));
    }
  }

  // Several kinds are joined by commas, each once.
  void OfferRunAllKinds(const std::string& before) {
    const std::string text =
        answer_.typed().substr(std::min(before.size(), answer_.typed().size()));
    const std::size_t comma = text.rfind(',');
    const std::string kept = comma == std::string::npos ? "" : text.substr(0, comma + 1);
    for (const RunAllKind& kind : RunAllKinds()) {
      const std::string given = "," + kept;
      const bool isGiven =
          given.find(std::string(",") + kind.shortName + ",") != std::string::npos ||
          given.find(std::string(",") + kind.longName + ",") != std::string::npos;
      if (isGiven) continue;
      const std::string summary = std::string("the ") + kind.longName + " diagnostics";
      answer_.Offer(before + kept + kind.shortName, summary);
      answer_.Offer(before + kept + kind.longName, summary);
    }
  }

  void OfferTruth(const std::string& before) {
    answer_.Offer(before + "0", "no");
    answer_.Offer(before + "1", "yes");
  }
  void OfferReport(const std::string& before) { OfferPaths(answer_, before, PathKind::kFile); }
  void OfferFolder(const std::string& before) { OfferPaths(answer_, before, PathKind::kFolder); }

  // Where the texts of an option come from. The texts of the others are the user's own.
  struct Source {
    char letter;
    void (ProgramWords::*offer)(const std::string& before);
  };
  static constexpr std::array<Source, 6> kSources{{{'M', &ProgramWords::OfferModules},
                                                   {'T', &ProgramWords::OfferTools},
                                                   {'U', &ProgramWords::OfferRunAllKinds},
                                                   {'e', &ProgramWords::OfferTruth},
                                                   {'o', &ProgramWords::OfferReport},
                                                   {'s', &ProgramWords::OfferFolder}}};

  Answer& answer_;
  const Offer& offer_;
  DiagModule* module_ = nullptr;  // the one in hand
  DiagTool* tool_ = nullptr;      // what stands behind it is the tool's
  std::set<std::string> named_;   // devices
  bool wantsReport_ = false;      // the word in hand is the path of a report
  bool noMoreOptions_ = false;
};

}  // namespace

void OfferProgramWords(Answer& answer, const std::vector<std::string>& words, const Offer& offer) {
  ProgramWords(answer, offer).Run(words);
}

}  // namespace tarvex::complete
