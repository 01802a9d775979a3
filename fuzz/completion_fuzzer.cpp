#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "boundary/orvan_service.h"
#include "companions/complete/companion_words.h"
#include "companions/complete/program_words.h"
#include "companions/complete/typed_line.h"
#include "tests/fakes/fake_service.h"

using tarvex::complete::Answer;
using tarvex::complete::Candidate;
using tarvex::complete::TypedLine;

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

// What a shell takes for a part of a word; parentheses are escaped where they would be more.
constexpr std::string_view kWordBytes =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.:+@-=(),/";

// All names that a module gives are the second line of the input.
void Build(FakeModule& module, const std::string& name) {
  FakeDiagnostic& diagnostic = module.AddDiagnostic(name, "Q" + name, name, 1);
  diagnostic.AddTest(name, name, name + "-long").Parameter(name, 2).Parameter("b", 0);
  diagnostic.AddTest("PLAIN", "p", "plain").Parameter("seed", 2);
  module.AddDevice(name, name);
  module.AddTool("recover_bad_sectors", name, name);
  module.AddTool("smart_tool", name, "smart");
}

void Check(const TypedLine& line, const Candidate& candidate) {
  Require(candidate.text.starts_with(line.words.back()));
  Require(candidate.text.find_first_not_of(kWordBytes) == std::string::npos);
  Require(candidate.summary.find_first_of("\t\n\x1b") == std::string::npos);
  const std::optional<std::string> reply = ReplyFor(line, "", candidate.text);
  Require(reply.has_value() != line.escaped);
  if (!reply) return;
  Require(tarvex::complete::Unquoted(line.raw + *reply) == candidate.text);
  const TypedLine after = tarvex::complete::SplitLine(line.raw + *reply);
  Require(after.words.size() == 1 && after.quote == line.quote);
}

}  // namespace

// A line that is being typed, and behind the first line feed what modules and devices are called.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::size_t feed = std::min(input.find('\n'), input.size());
  const std::string name = feed < input.size() ? input.substr(feed + 1) : "storage";
  const TypedLine line = tarvex::complete::SplitLine("p " + input.substr(0, feed));
  FakeService service;
  FakeModule named(service, name);
  FakeModule storage(service, "storage");
  Build(named, name);
  Build(storage, name);
  tarvex::complete::Offer offer;
  offer.modules = {&named, &storage};
  offer.devicesOf = [](DiagModule& module) { return *module.GetDevices(); };
  std::vector<std::string> words = line.words;
  Answer answer(words.back());
  words.pop_back();
  tarvex::complete::OfferProgramWords(answer, words, offer);
  tarvex::complete::OfferReportWords(answer, words);
  for (const Candidate& candidate : answer.candidates()) Check(line, candidate);
  return 0;
}
