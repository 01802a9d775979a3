#include "views/orvan_stdio.h"

#include <array>
#include <cstdio>
#include <utility>

#include "boundary/hostlayer.h"
#include "boundary/hostlayer_console.h"
#include "system/process_state.h"
#include "system/text_conversion.h"
#include "system/timer.h"
#include "views/console_stream.h"
#include "views/key_format.h"
#include "views/message_keys.h"
#include "views/status_words.h"

using tarvex::ConsoleStream;
using tarvex::EndLine;
using tarvex::WriteWidened;

namespace {

constexpr std::size_t kConsoleWidth = 79;
// Covers the progress line.
constexpr std::size_t kTestEndBlanks = 57;
// How long AskYesNo leaves the keyboard alone when no key is waiting.
constexpr std::uint32_t kKeyPauseMs = 50;

std::string Blanks(std::size_t count) {
  return std::string(count, ' ') + '\r';
}

}  // namespace

OrvanStdio::~OrvanStdio() {
  if (console_ != nullptr) {
    release_console_instance(console_);
  }
}

ViewResult OrvanStdio::ConsoleResult(ViewResult failure) {
  return ConsoleStream().fail() ? failure : kViewOk;
}

ViewResult OrvanStdio::EndPrint(bool newLine) {
  if (newLine && ConsoleStream().good()) {
    EndLine(ConsoleStream());
  }
  return ConsoleResult(kViewStreamFailed);
}

ViewResult OrvanStdio::PrintField(std::string name, std::string value, bool newLine) {
  tarvex::WriteInLine(ConsoleStream(), tarvex::FormatFieldName(name) + value);
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
  if (format) {
    text = FormatKey(std::move(text), titleCase, capitalizeFirst, true);
  }
  WriteWidened(ConsoleStream(), text);
  return EndPrint(newLine);
}

ViewResult OrvanStdio::PrintUnicode(std::string text, bool newLine) {
  ConsoleStream() << tarvex::LocaleToWideLenient(text);
  return EndPrint(newLine);
}

ViewResult OrvanStdio::PrintNewLine() {
  return EndPrint(true);
}

ViewResult OrvanStdio::PrintSeparator() {
  WriteWidened(ConsoleStream(), tarvex::kSeparator);
  return EndPrint(true);
}

ViewResult OrvanStdio::ClearLine() {
  WriteWidened(ConsoleStream(), Blanks(kConsoleWidth));
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
  if (!moduleName_.empty()) {
    return kViewOutOfOrder;
  }
  moduleName_ = std::move(name);
  return kViewOk;
}

ViewResult OrvanStdio::EndModule() {
  if (moduleName_.empty()) {
    return kViewOutOfOrder;
  }
  moduleName_.clear();
  return kViewOk;
}

ViewResult OrvanStdio::BeginSuite(std::string suiteName, std::string /*moduleName*/) {
  suiteName_ = std::move(suiteName);
  return kViewOk;
}

ViewResult OrvanStdio::EndSuite(std::string resultText, double elapsedSeconds, bool /*failed*/) {
  if (moduleName_.empty() || suiteName_.empty()) {
    return kViewOutOfOrder;
  }
  PrintNewLine();
  ViewResult result = PrintSeparator();
  if (result == kViewOk) {
    WriteWidened(ConsoleStream(), tarvex::kIndent);
    result = PrintResult(tarvex::kResultCodeKey, std::move(resultText));
  }
  if (result != kViewOk) {
    return result;
  }
  WriteWidened(ConsoleStream(), ElapsedLine(tarvex::kTotalElapsedTimeKey, elapsedSeconds));
  EndLine(ConsoleStream());
  result = PrintSeparator();
  if (result == kViewOk) {
    suiteName_.clear();
  }
  return result;
}

ViewResult OrvanStdio::FinishExecutionBlock(std::string resultText) {
  ViewResult result = PrintNewLine();
  if (result == kViewOk) {
    result = PrintSeparator();
  }
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

ViewResult OrvanStdio::BeginDiagnostic(std::string name) {
  ViewResult result = PrintNewLine();
  if (result == kViewOk) {
    result = PrintSentence(std::string(tarvex::kStartedDiagnosticKey) + ": ", false);
  }
  if (result == kViewOk) {
    result = PrintTitle(name, true);
  }
  if (result == kViewOk) {
    diagnosticName_ = std::move(name);
  }
  return result;
}

ViewResult OrvanStdio::EndDiagnostic() {
  ViewResult result = PrintSentence(std::string(tarvex::kFinishedDiagnosticKey) + ": ", false);
  if (result == kViewOk) {
    result = PrintTitle(diagnosticName_, true);
  }
  if (result == kViewOk) {
    diagnosticName_.clear();
  }
  return result;
}

bool OrvanStdio::IsAbortRequested() {
  if (!quiet_ && console_ != nullptr && console_->ReadKey() == kKeyEscape) {
    return true;
  }
  return GetProcessState().abort.AbortFlag;
}

void OrvanStdio::TakeKeyboard() {
  if (!quiet_ && console_ != nullptr) console_->TakeKeyboard();
}

bool OrvanStdio::AskYesNo() {
  if (console_ == nullptr) {
    return false;
  }
  ConsoleStream().flush();
  for (;;) {
    const int key = console_->ReadKey();
    const bool yes = key == 'Y' || key == 'y';
    if (yes || key == 'N' || key == 'n') {
      ConsoleStream() << L" - " << key;
      ConsoleStream().flush();
      return yes;
    }
    if (key == kNoKey) {
      get_timer()->Sleep(kKeyPauseMs);
    }
  }
}

ViewResult OrvanStdio::BeginTest(std::string name, DiagKey /*key*/) {
  ViewResult result = PrintSentence("=> ", false);
  if (result == kViewOk) {
    result = PrintTitle(name, true);
  }
  if (result == kViewOk) {
    testName_ = std::move(name);
  }
  return result;
}

ViewResult OrvanStdio::EndTest(TestStatus status, double elapsedSeconds) {
  WriteWidened(ConsoleStream(), Blanks(kTestEndBlanks) + TestEndText(status, elapsedSeconds));
  ConsoleStream().flush();
  const ViewResult result = ConsoleResult(kViewOutOfOrder);
  if (result == kViewOk) {
    testName_.clear();
  }
  return result;
}

std::string OrvanStdio::TestEndText(TestStatus status, double elapsedSeconds) {
  const std::string label = FormatKey(std::string(tarvex::kTestStatusKey) + ":", true, true, true);
  const std::string word = FormatKey(tarvex::WordsOf(status).console, true, true, true);
  return tarvex::kIndent + label + " " + word + "!\n" +
         ElapsedLine(tarvex::kElapsedTimeKey, elapsedSeconds) + "\n\n";
}

std::string OrvanStdio::ElapsedLine(const std::string& key, double elapsedSeconds) {
  return tarvex::kIndent + FormatKey(key + ":", false, true, true) + " " +
         FormatElapsed(elapsedSeconds) + " ";
}

ViewResult OrvanStdio::ShowTestProgress(int percent, double elapsedSeconds) {
  if (percent < 0) {
    return kViewOk;
  }
  char mark = '*';
  if (percent < 100) {
    mark = AdvanceSpinner();
  } else {
    spinner_ = '-';
  }
  WriteWidened(ConsoleStream(), tarvex::kIndent + std::to_string(percent) + "% " + mark + " " +
                                    FormatElapsed(elapsedSeconds) + " \r");
  ConsoleStream().flush();
  return ConsoleResult(kViewOutOfOrder);
}

char OrvanStdio::AdvanceSpinner() {
  static constexpr std::string_view kSteps = "-\\|/";
  const std::size_t at = kSteps.find(spinner_);
  spinner_ = kSteps[(at + 1) % kSteps.size()];
  return spinner_;
}

ViewResult OrvanStdio::ShowDeviceScan(std::string moduleName, bool finished) {
  std::string line;
  if (finished) {
    line = ScanFinishedLine(moduleName);
    spinner_ = '-';
  } else {
    line = {AdvanceSpinner(), ' '};
    line += ScanText(moduleName) + " \r";
  }
  WriteWidened(ConsoleStream(), line);
  ConsoleStream().flush();
  return ConsoleResult(kViewOutOfOrder);
}

std::string OrvanStdio::ScanText(const std::string& moduleName) {
  return FormatKey(std::string(tarvex::kScanningKey) + " " + moduleName + " " + tarvex::kDevicesKey,
                   false, true, true);
}

std::string OrvanStdio::ScanFinishedLine(const std::string& moduleName) {
  const std::string text = ScanText(moduleName) + " " + tarvex::kFinishedKey + "\n";
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
  return tarvex::FormatElapsed(seconds);
}

ViewResult OrvanStdio::Open() {
  console_ = get_console();
  return kViewOk;
}

void OrvanStdio::SetQuiet(bool value) {
  quiet_ = value;
}
