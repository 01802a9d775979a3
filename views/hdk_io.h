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
  // Starts the reader of standard input. `stream` is that of the console, and outlives the view.
  explicit HDKio(tarvex::ConsoleStream& stream);
  // Stops the reader.
  ~HDKio() override;

  ViewResult PrintField(std::string name, std::string value, bool newLine) override;
  ViewResult BeginSuite(std::string suite, std::string module) override;
  ViewResult EndSuite(std::string resultText, double elapsedSeconds, bool failed) override;
  ViewResult FinishExecutionBlock(std::string resultText) override;
  // True once the abort command has come, for the rest of the run; else the process-wide flag.
  bool IsAbortRequested() override;
  ViewResult BeginTest(std::string name, DiagKey key) override;
  ViewResult EndTest(TestStatus status, double elapsedSeconds) override;
  // One line per change of the percent.
  ViewResult ShowTestProgress(int percent, double elapsedSeconds) override;
  ViewResult ShowSuiteProgress(int percent, double elapsedSeconds) override;
  // Nothing: the keyboard isn't read in this mode.
  void SetQuiet(bool) override {}

  // What is meant for a person. Whatever else prints ends in these.
  ViewResult PrintText(std::string, bool, bool, bool, bool) override { return kViewOk; }
  ViewResult PrintUnicode(std::string, bool) override { return kViewOk; }
  ViewResult PrintNewLine() override { return kViewOk; }
  ViewResult PrintSeparator() override { return kViewOk; }
  ViewResult BeginModule(std::string) override { return kViewOk; }
  ViewResult EndModule() override { return kViewOk; }
  ViewResult ShowDeviceScan(std::string, bool) override { return kViewOk; }

  // Keeps a place; returns 0.
  virtual int Reserved() { return 0; }

 private:
  ViewResult Send(const std::string& line);

  SupervisorInput* input;  // process-wide
  int lastPercent = -1;    // last percent that was sent for the running test
  tarvex::ScopedConsolePatience patience_;
};

namespace tarvex {

// The word for the type of a test parameter: "BOOLEAN", "TEXT", "INTEGER", else "UNKNOWN".
const char* ParameterTypeName(std::int32_t type);

}  // namespace tarvex
