#pragma once

#include <cstdint>
#include <string>

#include "views/console_stream.h"
#include "views/orvan_stdio.h"

class SupervisorInput;

// The view for a supervising program: it silences what is meant for a person and sends one line per
// report on the console stream. Operations that write return kViewStreamFailed when that fails. The
// abort command is the byte "a" or "A" on standard input. Main thread.
//
// A supervising program that doesn't read must not keep the machine under test for ever: when it
// takes nothing for 30 seconds, or for one once the run is to end, the stream fails and the run
// goes on without it.
class HDKio : public OrvanStdio {
 public:
  // Starts the reader of standard input.
  HDKio();
  // Stops the reader.
  ~HDKio() override;

  ViewResult PrintField(std::string name, std::string value, bool newLine) override;
  ViewResult PrintSentence(std::string text, bool newLine) override;
  ViewResult PrintTitle(std::string text, bool newLine) override;
  ViewResult PrintRaw(std::string text, bool newLine) override;
  ViewResult PrintText(std::string text, bool newLine, bool format, bool titleCase,
                       bool capitalizeFirst) override;
  ViewResult PrintUnicode(std::string text, bool newLine) override;
  ViewResult PrintNewLine() override;
  ViewResult PrintSeparator() override;
  ViewResult BeginModule(std::string name) override;
  ViewResult EndModule() override;
  ViewResult BeginSuite(std::string suiteName, std::string moduleName) override;
  ViewResult EndSuite(std::string resultText, double elapsedSeconds, bool failed) override;
  ViewResult FinishExecutionBlock(std::string resultText) override;
  ViewResult BeginDiagnostic(std::string name) override;
  ViewResult EndDiagnostic() override;
  // True once the abort command has come, for the rest of the run; else the process-wide flag.
  bool IsAbortRequested() override;
  ViewResult BeginTest(std::string name, DiagKey key) override;
  ViewResult EndTest(TestStatus status, double elapsedSeconds) override;
  // One line per change of the percent.
  ViewResult ShowTestProgress(int percent, double elapsedSeconds) override;
  ViewResult ShowDeviceScan(std::string moduleName, bool finished) override;
  ViewResult ShowSuiteProgress(int percent, double elapsedSeconds) override;
  // Nothing: the keyboard isn't read in this mode.
  void SetQuiet(bool value) override;

  // Keeps a place; returns 0.
  virtual int Reserved();

 private:
  ViewResult Send(const std::string& line);

  SupervisorInput* input_;  // process-wide
  tarvex::ScopedConsolePatience patience_;
  int lastPercent_ = -1;  // last percent that was sent for the running test
};

namespace tarvex {

// The word for the type of a test parameter: "BOOLEAN", "TEXT", "INTEGER", else "UNKNOWN".
const char* ParameterTypeName(std::int32_t type);

}  // namespace tarvex
