#include "companions/history/junit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <optional>
#include <vector>

#include "service/log/json_text.h"
#include "system/text_conversion.h"

namespace tarvex::history {
namespace {

enum class Kind { kGood, kFailure, kError, kSkipped };

struct Row {
  Verdict verdict;
  Kind kind;
};
constexpr std::array<Row, kVerdicts> kRows{{{Verdict::kFailed, Kind::kFailure},
                                            {Verdict::kUnfinished, Kind::kError},
                                            {Verdict::kWarning, Kind::kGood},
                                            {Verdict::kCanceled, Kind::kSkipped},
                                            {Verdict::kPassed, Kind::kGood},
                                            {Verdict::kInvalid, Kind::kError},
                                            {Verdict::kNotApplicable, Kind::kSkipped}}};
constexpr std::array<const char*, 4> kElements{"", "failure", "error", "skipped"};

Kind KindOf(Verdict verdict) {
  return kRows.at(static_cast<std::size_t>(verdict)).kind;
}

// Source: Extensible Markup Language 1.0, Char: the two last code points of the first plane are
// none; other characters that are none steer, and have gone before.
bool IsCharacter(std::uint32_t character) {
  return character != 0xFFFE && character != 0xFFFF;
}

std::string Escaped(std::string_view text) {
  std::string escaped;
  while (!text.empty()) {
    const DecodedCharacter decoded = DecodeUtf8(text);
    const std::string_view part = text.substr(0, decoded.length);
    text.remove_prefix(decoded.length);
    if (!decoded.good || !IsCharacter(static_cast<std::uint32_t>(decoded.character))) {
      escaped += kReplacementUtf8;
    } else if (part == "&") {
      escaped += "&amp;";
    } else if (part == "<") {
      escaped += "&lt;";
    } else if (part == ">") {
      escaped += "&gt;";
    } else if (part == "\"") {
      escaped += "&quot;";
    } else {
      escaped += part;
    }
  }
  return escaped;
}

std::string Attribute(const char* name, const std::string& value) {
  return std::string(" ") + name + "=\"" + Escaped(value) + '"';
}

// As finely as the log has times; a sum of them has digits of no meaning behind.
std::string Seconds(double seconds) {
  return orvan::log::JsonNumber(std::round(seconds * 1000) / 1000);
}

std::string WordsOf(const RunTest& test) {
  std::string text;
  for (const Word& word : test.words) text += std::string(word.severity) + ": " + word.text + '\n';
  return text;
}

// What decided, in one line.
std::string ReasonOf(const RunTest& test) {
  return test.words.empty() ? WordOf(test.verdict) : test.words.back().text;
}

std::string CaseText(const RunTest& test) {
  std::string text = "    <testcase" + Attribute("name", NameOfKey(test.test)) +
                     Attribute("classname", test.module + '.' + test.diagnostic) +
                     Attribute("time", Seconds(test.seconds.value_or(0))) + ">\n";
  const Kind kind = KindOf(test.verdict);
  if (kind != Kind::kGood) {
    text += std::string("      <") + kElements.at(static_cast<std::size_t>(kind)) +
            Attribute("message", ReasonOf(test));
    if (kind != Kind::kSkipped) text += Attribute("type", WordOf(test.verdict));
    text += "/>\n";
  }
  if (test.verdict == Verdict::kWarning || !test.words.empty()) {
    text += "      <system-out>" + std::string(WordOf(test.verdict)) + '\n' +
            Escaped(WordsOf(test)) + "</system-out>\n";
  }
  return text + "    </testcase>\n";
}

struct Counts {
  std::array<std::size_t, 4> ofKind{};
  std::size_t tests = 0;
  double seconds = 0;

  void Add(const RunTest& test) {
    ++ofKind.at(static_cast<std::size_t>(KindOf(test.verdict)));
    ++tests;
    seconds += test.seconds.value_or(0);
  }
  std::string Attributes(bool withSkipped) const {
    const auto number = [this](Kind kind) {
      return std::to_string(ofKind.at(static_cast<std::size_t>(kind)));
    };
    return Attribute("tests", std::to_string(tests)) +
           Attribute("failures", number(Kind::kFailure)) +
           Attribute("errors", number(Kind::kError)) +
           (withSkipped ? Attribute("skipped", number(Kind::kSkipped)) : std::string()) +
           Attribute("time", Seconds(seconds));
  }
};

std::string SuiteName(const LoggedRun& run, const RunTest& test) {
  if (!test.device) return test.module;
  const RunDevice& device = run.devices[*test.device];
  return device.module + ": " + device.name + (device.serial.empty() ? "" : ' ' + device.serial);
}

// What no test tells: that the run has no end, or tested nothing. A build must not be green by it.
std::optional<RunTest> RunItself(const LoggedRun& run) {
  Verdict worst = Verdict::kNotApplicable;
  for (const RunTest& test : run.tests) worst = std::min(worst, test.verdict);
  if (!run.tests.empty() && worst == run.verdict) return {};
  RunTest itself;
  itself.module = "run";
  itself.diagnostic = WordOf(run.state);
  itself.test = "RUN";
  itself.verdict = run.verdict;
  const char* const said =
      run.state == RunState::kComplete ? "nothing was tested" : "the log has no end of the run";
  itself.words.push_back({"ERROR", said});
  for (const RunError& error : run.errors) {
    itself.words.push_back({"ERROR", error.text.empty() ? error.symptom : error.text});
  }
  return itself;
}

}  // namespace

std::string JunitText(const LoggedRun& run) {
  // Devices that are called the same are one suite for each all the same.
  std::map<std::pair<std::size_t, std::string>, std::vector<const RunTest*>> suites;
  Counts all;
  for (const RunTest& test : run.tests) {
    const std::size_t place = test.device.value_or(run.devices.size());
    suites[{place, SuiteName(run, test)}].push_back(&test);
    all.Add(test);
  }
  const std::optional<RunTest> itself = RunItself(run);
  if (itself) {
    suites[{run.devices.size(), itself->module}].push_back(&*itself);
    all.Add(*itself);
  }
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites" +
                     Attribute("name", run.id) + all.Attributes(false) + ">\n";
  for (const auto& [key, tests] : suites) {
    Counts counts;
    std::string cases;
    for (const RunTest* test : tests) {
      counts.Add(*test);
      cases += CaseText(*test);
    }
    // The format has seconds without a zone.
    text += "  <testsuite" + Attribute("name", key.second) + counts.Attributes(true) +
            Attribute("timestamp", run.start.substr(0, 19)) + Attribute("hostname", run.machine) +
            ">\n" + cases + "  </testsuite>\n";
  }
  return text + "</testsuites>\n";
}

}  // namespace tarvex::history
