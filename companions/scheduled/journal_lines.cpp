#include "companions/scheduled/journal_lines.h"

#include <algorithm>
#include <string_view>

#include "boundary/orvan_service_status.h"

namespace tarvex::scheduled {
namespace {

using history::LoggedRun;
using history::RunTest;
using history::Verdict;

constexpr std::size_t kMostLines = 50;  // of each kind
constexpr int kShellSignal = 128;
constexpr int kSkipped = 4;
constexpr int kNoModule = 30;
constexpr int kNoDevice = 31;

// Source: sd-daemon(3), as of syslog(3).
constexpr char kError[] = "<3>";
constexpr char kWarning[] = "<4>";
constexpr char kNotice[] = "<5>";
constexpr char kInformation[] = "<6>";

struct StatusRow {
  int status;
  const char* priority;
  const char* words;
};
constexpr StatusRow kStatuses[] = {
    {FindStatus(kTestPassed)->exitCode, kInformation, "passed"},
    {1, kError, "could not begin: its surroundings are not as it needs them"},
    {3, kError, "could not begin: it has not enough privileges"},
    {kSkipped, kNotice, "was skipped: another run goes on"},
    {FindStatus(kTestFailed)->exitCode, kError, "failed"},
    {FindStatus(kTestWarning)->exitCode, kWarning, "ended with a warning"},
    {FindStatus(kTestNotApplicable)->exitCode, kNotice, "found nothing that applies here"},
    {FindStatus(kTestInvalid)->exitCode, kNotice, "could not be tried"},
    {FindStatus(kTestCanceled)->exitCode, kNotice, "was canceled"},
    {kNoModule, kError, "found no usable module"},
    {kNoDevice, kNotice, "found no device"},
};

struct Outcome {
  const char* priority;
  std::string words;
};

Outcome OutcomeOf(const ProcessEnd& end) {
  if (end.signal != 0) return {kError, "was ended by signal " + std::to_string(end.signal)};
  if (!end.isKnown) return {kError, "ended, and nobody can tell how"};
  for (const StatusRow& row : kStatuses) {
    if (row.status == end.status) return {row.priority, row.words};
  }
  return {kError, "ended with status " + std::to_string(end.status)};
}

bool HasPassed(const ProcessEnd& end) {
  return end.isKnown && end.signal == 0 && end.status == FindStatus(kTestPassed)->exitCode;
}

// Empty: the test is in the counts alone.
std::string_view PriorityOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kFailed:
    case Verdict::kUnfinished:
      return kError;
    case Verdict::kWarning:
      return kWarning;
    case Verdict::kCanceled:
    case Verdict::kInvalid:
      return kNotice;
    case Verdict::kPassed:
    case Verdict::kNotApplicable:
      break;
  }
  return {};
}

// "Disk A, serial number S-1 (storage 0, pci-0000:00:17.0): "
std::string DeviceText(const LoggedRun& run, const RunTest& test) {
  if (!test.device) return {};
  const history::RunDevice& device = run.devices[*test.device];
  std::string text = device.name;
  if (!device.serial.empty()) text += ", serial number " + device.serial;
  if (!device.place.empty()) text += " (" + device.place + ')';
  return text + ": ";
}

std::string WordsText(const RunTest& test) {
  std::string text;
  for (const history::Word& word : test.words) {
    const std::string_view severity = word.severity;
    if (severity == "INFO" || severity == "PASS") continue;
    text += (text.empty() ? ": " : "; ") + word.text;
  }
  return text;
}

std::string TestLine(const LoggedRun& run, const RunTest& test) {
  return std::string(PriorityOf(test.verdict)) + DeviceText(run, test) +
         history::NameOfKey(test.test) + ": " + history::WordOf(test.verdict) + WordsText(test);
}

std::string Count(std::size_t count, const char* what) {
  return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

// "; 6 tests on 2 devices: 1 failed, 5 passed"
std::string CountsText(const LoggedRun& run) {
  const auto counts = run.Counts();
  std::string text =
      "; " + Count(run.tests.size(), "test") + " on " + Count(run.devices.size(), "device");
  const char* mark = ": ";
  for (std::size_t verdict = 0; verdict < counts.size(); ++verdict) {
    if (counts.at(verdict) == 0) continue;
    text += mark + std::to_string(counts.at(verdict)) + ' ' +
            history::WordOf(static_cast<Verdict>(verdict));
    mark = ", ";
  }
  return text + "; log " + run.file;
}

// A run with thousands of faults doesn't flood the journal.
void AddSome(const std::vector<std::string>& found, const char* priority, const char* what,
             std::vector<std::string>& lines) {
  const std::size_t shown = std::min(found.size(), kMostLines);
  lines.insert(lines.end(), found.begin(), found.begin() + static_cast<std::ptrdiff_t>(shown));
  if (shown == found.size()) return;
  lines.push_back(priority + ("and " + Count(found.size() - shown, what)));
}

std::vector<std::string> TestLines(const LoggedRun& run) {
  std::vector<std::string> lines;
  for (const RunTest& test : run.tests) {
    if (!PriorityOf(test.verdict).empty()) lines.push_back(TestLine(run, test));
  }
  return lines;
}

std::vector<std::string> ErrorLines(const LoggedRun& run) {
  std::vector<std::string> lines;
  for (const history::RunError& error : run.errors) {
    lines.push_back(kNotice + error.symptom + (error.text.empty() ? "" : ": " + error.text));
  }
  return lines;
}

}  // namespace

std::vector<std::string> JournalLines(const ProcessEnd& end, const LoggedRun* run,
                                      const std::string& whyNone) {
  std::vector<std::string> lines;
  Outcome outcome = OutcomeOf(end);
  // Each test leaves its mark in a log. The program ends with 0, too, where it cannot load modules.
  const bool hasTests = run != nullptr && !run->tests.empty();
  if (HasPassed(end) && !hasTests) outcome = {kWarning, "passed, and tells of no test"};
  std::string last = outcome.priority + ("The scheduled run " + outcome.words);
  if (run != nullptr) {
    AddSome(TestLines(*run), kWarning, "more such test", lines);
    AddSome(ErrorLines(*run), kNotice, "more such error", lines);
    // What the log does not hold may be what failed.
    for (const std::string& fault : run->faults) lines.push_back(kWarning + ("its log: " + fault));
    last += CountsText(*run);
  } else if (!whyNone.empty()) {
    last += "; " + whyNone;
  }
  lines.push_back(std::move(last));
  return lines;
}

int StatusOf(const ProcessEnd& end) {
  return end.signal != 0 ? kShellSignal + end.signal : end.isKnown ? end.status : 1;
}

}  // namespace tarvex::scheduled
