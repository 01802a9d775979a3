#include "companions/complete/complete.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iostream>
#include <optional>
#include <span>

#include "companions/complete/answer.h"
#include "companions/complete/companion_words.h"
#include "companions/complete/installed.h"
#include "companions/complete/program_words.h"
#include "companions/complete/typed_line.h"

namespace tarvex::complete {
namespace {

constexpr int kWrongUse = 2;

void OfferDiagnosticsProgram(Answer& answer, const std::vector<std::string>& words) {
  Installed installed;
  OfferProgramWords(answer, words, installed.TheOffer());
}

struct Program {
  std::string_view name;
  void (*offer)(Answer& answer, const std::vector<std::string>& words);
};
constexpr std::array kPrograms{Program{"TarvexDiagnosticsCLI", OfferDiagnosticsProgram},
                               Program{"tarvex-history", OfferHistoryWords},
                               Program{"tarvex-report", OfferReportWords}};

// `words` end with the one in hand.
std::vector<Candidate> CandidatesFor(std::vector<std::string> words) {
  Answer answer(words.back());
  words.pop_back();
  const std::string name = words.front().substr(words.front().rfind('/') + 1);
  const auto* program = std::find_if(kPrograms.begin(), kPrograms.end(),
                                     [&name](const Program& one) { return one.name == name; });
  if (program != kPrograms.end()) program->offer(answer, words);
  return answer.candidates();
}

int RunForReplies(const std::string& text, const std::string& replaced) {
  const TypedLine line = SplitLine(text);
  if (line.words.size() < 2) return 0;
  for (const Candidate& candidate : CandidatesFor(line.words)) {
    const std::optional<std::string> reply = ReplyFor(line, replaced, candidate.text);
    if (reply) std::cout << *reply << '\n';
  }
  return 0;
}

int RunForWords(const std::string& indexText, std::span<const std::string> words) {
  std::size_t index = 0;
  const char* const end = indexText.data() + indexText.size();
  const auto read = std::from_chars(indexText.data(), end, index);
  if (read.ec != std::errc() || read.ptr != end || index == 0 || index >= words.size()) {
    return kWrongUse;
  }
  std::vector<std::string> line;
  for (const std::string& word : words.first(index + 1)) line.push_back(Unquoted(word));
  for (const Candidate& candidate : CandidatesFor(std::move(line))) {
    std::cout << candidate.text << '\t' << candidate.summary << '\n';
  }
  return 0;
}

}  // namespace

int Run(const std::vector<std::string>& arguments) {
  if (arguments.size() == 3 && arguments[0] == "--line") {
    return RunForReplies(arguments[1], arguments[2]);
  }
  if (arguments.size() < 2) return kWrongUse;
  return RunForWords(arguments[0], std::span(arguments).subspan(1));
}

}  // namespace tarvex::complete
