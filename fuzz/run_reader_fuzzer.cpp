#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "companions/history/facts.h"
#include "companions/history/junit.h"
#include "companions/history/run_json.h"
#include "companions/history/run_reader.h"
#include "companions/history/run_report.h"
#include "system/outside_text.h"

namespace {

using namespace tarvex::history;

void Require(bool holds) {
  if (!holds) std::abort();
}

bool IsHarmless(const std::string& text, std::string_view layout) {
  return tarvex::WithoutSteering(text, layout) == text;
}

void Check(const LoggedRun& run) {
  for (const RunTest& test : run.tests) {
    Require(!test.device || *test.device < run.devices.size());
    Require(!test.seconds || *test.seconds >= 0);
  }
  const std::string json = JsonOf(run);
  const auto parsed = nlohmann::json::parse(json, nullptr, false);
  Require(!parsed.is_discarded() && parsed["tests"].size() == run.tests.size());
  Require(IsHarmless(json, ""));
  Require(IsHarmless(RunReport(run, Format::kText), "\n"));
  Require(IsHarmless(RunReport(run, Format::kCsv), "\r\n"));
  Require(IsHarmless(JunitText(run), "\n"));
  for (const DeviceFacts& one : FactsOf(run)) {
    const std::string text = TextOfFacts(one.tests);
    const auto back = FactsOfText(text);
    Require(back && TextOfFacts(*back) == text);
  }
}

}  // namespace

// Any bytes are a log: there is a run, or a reason why there is none, and a line without its end
// changes neither. What is told of a run can be parsed, and steers nothing.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const ReadLog read = ReadLogText(text);
  Require(read.run.has_value() == read.why.empty());
  const ReadLog whole = ReadLogText(text.substr(0, text.rfind('\n') + 1));
  Require(whole.run.has_value() == read.run.has_value() && whole.hasEnd == read.hasEnd);
  if (read.run) {
    Check(*read.run);
    Require(JsonOf(*whole.run) == JsonOf(*read.run));
  }
  return 0;
}
