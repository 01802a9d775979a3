#include "views/orvan_stdio.h"

#include <cstdint>
#include <cstdio>
#include <utility>

#include "boundary/hostlayer.h"
#include "boundary/hostlayer_console.h"
#include "system/key_format.h"
#include "system/process_state.h"
#include "system/text_conversion.h"
#include "system/timer.h"
#include "views/console_stream.h"
#include "views/message_keys.h"

namespace {

constexpr std::size_t kConsoleWidth = 79;
// Covers the progress line.
constexpr std::size_t kTestEndBlanks = 57;
// How long AskYesNo leaves the keyboard alone when no key is waiting.
constexpr std::uint32_t kKeyPauseMs = 50;

std::string Blanks(std::size_t count) {
  return std::string(count, ' ') + '\r';
}

std::string Counted(std::uint64_t number, const char* unit) {
  return std::to_string(number) + " " + unit + (number == 1 ? "" : "s");
}

// The word for a test's status, as a key. One of them is spelled in its own way here.
const char* WordOf(TestStatus status) {
  if (status == kTestUnrecognized) return "URECOGNIZED";
  const auto* row = tarvex::FindStatus(status);
  return row == nullptr ? "NONE" : row->word;
}

}  // namespace

OrvanStdio::~OrvanStdio() {
  if (console != nullptr) release_console_instance(console);
}

ViewResult OrvanStdio::ConsoleResult(ViewResult failure) const {
  return stream_.fail() ? failure : kViewOk;
}

ViewResult OrvanStdio::EndPrint(bool newLine) {
  if (newLine && stream_.good()) tarvex::EndLine(stream_);
  return ConsoleResult(kViewStreamFailed);
}

ViewResult OrvanStdio::Redraw(std::string_view text) {
  tarvex::WriteWidened(stream_, text);
  stream_.flush();
  return ConsoleResult(kViewBadState);
}

ViewResult OrvanStdio::PrintField(std::string name, std::string value, bool newLine) {
  tarvex::WriteInLine(stream_, tarvex::FormatFieldName(name) + value);
  return EndPrint(newLine);
}

ViewResult OrvanStdio::PrintSentence(std::string text, bool newLine) {
  return PrintText(std::move(text), newLine, true, false, true);
}

ViewResult OrvanStdio::PrintTitle(std::string text, bool newLine) {
  return PrintText(std::move(text), newLine, true, true, true);
}

ViewResult OrvanStdio::PrintRaw(std::string text, bool newLine) {
  return PrintText(std::move(text), newLine, false, false, false);
}

ViewResult OrvanStdio::PrintText(std::string text, bool newLine, bool format, bool titleCase,
                                 bool capitalizeFirst) {
  if (format) text = FormatKey(std::move(text), titleCase, capitalizeFirst, true);
  tarvex::WriteWidened(stream_, text);
  return EndPrint(newLine);
}

ViewResult OrvanStdio::PrintUnicode(std::string text, bool newLine) {
  stream_ << tarvex::LocaleToWideLenient(text);
  return EndPrint(newLine);
}

ViewResult OrvanStdio::PrintNewLine() {
  return EndPrint(true);
}

ViewResult OrvanStdio::PrintSeparator() {
  tarvex::WriteWidened(stream_, tarvex::kSeparator);
  return EndPrint(true);
}

ViewResult OrvanStdio::ClearLine() {
  tarvex::WriteWidened(stream_, Blanks(kConsoleWidth));
  return ConsoleResult(kViewStreamFailed);
}

std::string OrvanStdio::FormatKey(std::string key, bool titleCase, bool capitalizeFirst,
                                  bool applyMarks) {
  return tarvex::FormatKey(key, titleCase, capitalizeFirst, applyMarks);
}

std::string OrvanStdio::FormatMarkedKey(std::string key, bool titleCase, bool capitalizeFirst) {
  return tarvex::FormatMarkedKey(key, titleCase, capitalizeFirst);
}

ViewResult OrvanStdio::BeginModule(std::string name) {
  if (!moduleName.empty()) return kViewBadState;
  moduleName = std::move(name);
  return kViewOk;
}

ViewResult OrvanStdio::EndModule() {
  if (moduleName.empty()) return kViewBadState;
  moduleName.clear();
  return kViewOk;
}

ViewResult OrvanStdio::BeginSuite(std::string suite, std::string /*module*/) {
  suiteName = std::move(suite);
  return kViewOk;
}

ViewResult OrvanStdio::EndSuite(std::string resultText, double elapsedSeconds, bool /*failed*/) {
  if (moduleName.empty() || suiteName.empty()) return kViewBadState;
  PrintNewLine();
  ViewResult result = PrintSeparator();
  if (result == kViewOk) result = PrintRaw(tarvex::kIndent, false);
  if (result == kViewOk) result = PrintResult(tarvex::kResultCodeKey, std::move(resultText));
  if (result == kViewOk) {
    result = PrintRaw(ElapsedLine(tarvex::kTotalElapsedTimeKey, elapsedSeconds), true);
  }
  if (result == kViewOk) result = PrintSeparator();
  if (result == kViewOk) suiteName.clear();
  return result;
}

ViewResult OrvanStdio::FinishExecutionBlock(std::string resultText) {
  ViewResult result = PrintNewLine();
  if (result == kViewOk) result = PrintSeparator();
  if (result == kViewOk) {
    result = PrintResult(std::string(tarvex::kIndent) + tarvex::kFinalResultCodeKey,
                         std::move(resultText));
  }
  return result == kViewOk ? PrintSeparator() : result;
}

ViewResult OrvanStdio::PrintResult(std::string key, std::string resultText) {
  const ViewResult result = PrintTitle(std::move(key) + ": ", false);
  return result == kViewOk ? PrintRaw(std::move(resultText), true) : result;
}

ViewResult OrvanStdio::PrintNamed(std::string label, std::string name) {
  const ViewResult result = PrintSentence(std::move(label), false);
  return result == kViewOk ? PrintTitle(std::move(name), true) : result;
}

ViewResult OrvanStdio::BeginDiagnostic(std::string name) {
  ViewResult result = PrintNewLine();
  if (result == kViewOk) {
    result = PrintNamed(std::string(tarvex::kStartedDiagnosticKey) + ": ", name);
  }
  if (result == kViewOk) diagnosticName = std::move(name);
  return result;
}

ViewResult OrvanStdio::EndDiagnostic() {
  const ViewResult result =
      PrintNamed(std::string(tarvex::kFinishedDiagnosticKey) + ": ", diagnosticName);
  if (result == kViewOk) diagnosticName.clear();
  return result;
}

bool OrvanStdio::IsAbortRequested() {
  if (!quiet && console != nullptr && console->ReadKey() == kKeyEscape) return true;
  return GetProcessState().abort.AbortFlag;
}

void OrvanStdio::TakeKeyboard() {
  if (!quiet && console != nullptr) console->TakeKeyboard();
}

bool OrvanStdio::AskYesNo() {
  if (console == nullptr) return false;
  stream_.flush();
  for (;;) {
    const int key = console->ReadKey();
    const bool yes = key == 'Y' || key == 'y';
    if (yes || key == 'N' || key == 'n') {
      stream_ << L" - " << key << std::flush;
      return yes;
    }
    if (key == kNoKey) get_timer()->Sleep(kKeyPauseMs);
  }
}

ViewResult OrvanStdio::BeginTest(std::string name, DiagKey /*key*/) {
  const ViewResult result = PrintNamed("=> ", name);
  if (result == kViewOk) testName = std::move(name);
  return result;
}

ViewResult OrvanStdio::EndTest(TestStatus status, double elapsedSeconds) {
  const ViewResult result = Redraw(Blanks(kTestEndBlanks) + TestEndText(status, elapsedSeconds));
  if (result == kViewOk) testName.clear();
  return result;
}

std::string OrvanStdio::TestEndText(TestStatus status, double elapsedSeconds) {
  const std::string label = FormatKey(std::string(tarvex::kTestStatusKey) + ":", true, true, true);
  return tarvex::kIndent + label + " " + FormatKey(WordOf(status), true, true, true) + "!\n" +
         ElapsedLine(tarvex::kElapsedTimeKey, elapsedSeconds) + "\n\n";
}

std::string OrvanStdio::ElapsedLine(const std::string& key, double elapsedSeconds) {
  return tarvex::kIndent + FormatKey(key + ":", false, true, true) + " " +
         FormatElapsed(elapsedSeconds) + " ";
}

ViewResult OrvanStdio::ShowTestProgress(int percent, double elapsedSeconds) {
  if (percent < 0) return kViewOk;
  const bool isDone = percent >= 100;
  const char mark = isDone ? '*' : AdvanceSpinner();
  if (isDone) spinner = '-';
  return Redraw(tarvex::kIndent + std::to_string(percent) + "% " + mark + " " +
                FormatElapsed(elapsedSeconds) + " \r");
}

char OrvanStdio::AdvanceSpinner() {
  static constexpr std::string_view kSteps = "-\\|/";
  spinner = kSteps[(kSteps.find(spinner) + 1) % kSteps.size()];
  return spinner;
}

ViewResult OrvanStdio::ShowDeviceScan(std::string name, bool finished) {
  if (!finished) {
    return Redraw(std::string{AdvanceSpinner(), ' '} + ScanText(name) + " \r");
  }
  spinner = '-';
  return Redraw(ScanFinishedLine(name));
}

std::string OrvanStdio::ScanText(const std::string& name) {
  return FormatKey(std::string(tarvex::kScanningKey) + " " + name + " " + tarvex::kDevicesKey,
                   false, true, true);
}

std::string OrvanStdio::ScanFinishedLine(const std::string& name) {
  const std::string text = ScanText(name) + " " + tarvex::kFinishedKey + "\n";
  return FormatKey(tarvex::kInfoTag, true, false, true) + " " + FormatKey(text, false, true, true) +
         " \r";
}

ViewResult OrvanStdio::ShowSuiteProgress(int /*percent*/, double /*elapsedSeconds*/) {
  return kViewOk;
}

ViewResult OrvanStdio::ReportAssert(std::string expression, std::string file, int line) {
  const int written = std::fprintf(stderr, "Assert Failed: %s in file %s, line %d.\n",
                                   expression.c_str(), file.c_str(), line);
  return written < 0 ? kViewAssertFailed : kViewOk;
}

std::string OrvanStdio::FormatElapsed(double seconds) {
  // Far beyond any run, and every whole number below it is exact.
  constexpr double kMost = 1e15;
  const std::uint64_t left =
      seconds > 0 ? static_cast<std::uint64_t>(seconds < kMost ? seconds : kMost) : 0;
  const std::uint64_t hours = left / 3600;
  const std::uint64_t minutes = left % 3600 / 60;
  std::string text;
  if (hours != 0) text += Counted(hours, "hour") + " ";
  if (minutes != 0) text += Counted(minutes, "minute") + " ";
  return text + Counted(left % 60, "second");
}

ViewResult OrvanStdio::Open() {
  console = get_console();
  return kViewOk;
}

void OrvanStdio::SetQuiet(bool value) {
  quiet = value;
}
