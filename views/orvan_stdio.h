#pragma once

#include <ostream>
#include <string>
#include <string_view>

#include "boundary/orvan_service_records.h"
#include "boundary/orvan_service_status.h"
#include "views/view_result.h"

class HostConsole;

// The base of all views, and the view on the console: the one object through which the front end
// reports. A run calls it in this nesting: BeginModule; BeginSuite and EndSuite around each device;
// BeginDiagnostic and EndDiagnostic around each diagnostic; BeginTest, any number of
// ShowTestProgress, and EndTest for each test; FinishExecutionBlock at the end of the command.
//
// An operation that fails leaves its name field as it was, and one that calls others stops at the
// first result other than kViewOk. No operation throws for a failed stream. Main thread.
class OrvanStdio {
 public:
  // The view on the console that this stream writes to. The stream outlives the view.
  explicit OrvanStdio(std::wostream& stream) : stream_(stream) {}
  OrvanStdio(const OrvanStdio&) = delete;
  OrvanStdio& operator=(const OrvanStdio&) = delete;
  // Gives the console back.
  virtual ~OrvanStdio();

  // One line with a name column of fixed width and a value, both UTF-8.
  virtual ViewResult PrintField(std::string name, std::string value, bool newLine);
  // A key with its first letter raised.
  virtual ViewResult PrintSentence(std::string text, bool newLine);
  // A key with the first letter of each word raised.
  virtual ViewResult PrintTitle(std::string text, bool newLine);
  // The text as it is.
  virtual ViewResult PrintRaw(std::string text, bool newLine);
  // The text, through FormatKey when `format` is set. Each byte becomes one character.
  virtual ViewResult PrintText(std::string text, bool newLine, bool format, bool titleCase,
                               bool capitalizeFirst);
  // The text, decoded as the current C locale says.
  virtual ViewResult PrintUnicode(std::string text, bool newLine);
  virtual ViewResult PrintNewLine();
  virtual ViewResult PrintSeparator();
  // 79 blanks and a carriage return, neither line end nor flush.
  virtual ViewResult ClearLine();
  virtual std::string FormatKey(std::string key, bool titleCase, bool capitalizeFirst,
                                bool applyMarks);
  virtual std::string FormatMarkedKey(std::string key, bool titleCase, bool capitalizeFirst);
  // Keeps the name; kViewBadState while one is kept.
  virtual ViewResult BeginModule(std::string name);
  // Empties the name; kViewBadState when none is kept.
  virtual ViewResult EndModule();
  virtual ViewResult BeginSuite(std::string suite, std::string module);
  // The closing block of a device; kViewBadState, and nothing printed, without module and suite.
  virtual ViewResult EndSuite(std::string resultText, double elapsedSeconds, bool failed);
  // The final result block.
  virtual ViewResult FinishExecutionBlock(std::string resultText);
  virtual ViewResult BeginDiagnostic(std::string name);
  virtual ViewResult EndDiagnostic();
  // True when the next key that is waiting is Escape; one key is read per call. A quiet view reads
  // none and answers with the process-wide abort flag.
  virtual bool IsAbortRequested();
  // Reads keys until one says yes or no, and echoes its code. False without a console.
  virtual bool AskYesNo();
  virtual ViewResult BeginTest(std::string name, DiagKey key);
  virtual ViewResult EndTest(TestStatus status, double elapsedSeconds);
  // Redraws the progress line; nothing for a negative percent.
  virtual ViewResult ShowTestProgress(int percent, double elapsedSeconds);
  // Redraws the device scan line, or ends it.
  virtual ViewResult ShowDeviceScan(std::string name, bool finished);
  virtual ViewResult ShowSuiteProgress(int percent, double elapsedSeconds);
  // Writes a failed assertion to standard error.
  virtual ViewResult ReportAssert(std::string expression, std::string file, int line);
  // "2 hours 1 minute 7 seconds": parts cut, not rounded; hours and minutes only when they aren't
  // 0. What is no positive number counts as 0.
  virtual std::string FormatElapsed(double seconds);
  // Takes the console into use. Once per view.
  virtual ViewResult Open();
  // A quiet view never reads the keyboard.
  virtual void SetQuiet(bool value);
  // For a run whose abort key counts: makes the keyboard ready before the first line is drawn, so
  // that no key is shown among the lines. Nothing for a quiet view.
  void TakeKeyboard();

 protected:
  // Where the console's text goes.
  std::wostream& stream() const { return stream_; }
  // kViewOk while the console stream is good, else `failure`.
  ViewResult ConsoleResult(ViewResult failure) const;
  // Ends a print on the console: a line end when the print went well and one is wanted.
  ViewResult EndPrint(bool newLine);
  // Writes to the console and shows it now.
  ViewResult Redraw(std::string_view text);
  // A key as a title with ": " behind it, and the text as it is.
  ViewResult PrintResult(std::string key, std::string resultText);
  // A key as a sentence, and the name as a title, which ends the line.
  ViewResult PrintNamed(std::string label, std::string name);
  // The lines that close a test, without what blanks the progress line.
  std::string TestEndText(TestStatus status, double elapsedSeconds);
  // The indent, the key's label and the time, without a line end.
  std::string ElapsedLine(const std::string& key, double elapsedSeconds);
  // Steps the spinner along - \ | / and returns the new character.
  char AdvanceSpinner();
  // The line that ends a device scan: the text with a newline, a blank and a carriage return.
  std::string ScanFinishedLine(const std::string& name);

  std::string suiteName;
  std::string testName;
  std::string diagnosticName;
  std::string moduleName;
  HostConsole* console = nullptr;  // in use from Open to the destructor
  bool quiet = false;
  char spinner = '-';

 private:
  std::string ScanText(const std::string& name);

  std::wostream& stream_;
};
