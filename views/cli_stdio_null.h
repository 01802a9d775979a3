#pragma once

#include <string>

#include "views/orvan_stdio.h"

// The view of silent mode: it swallows all output but ClearLine and ReportAssert, keeps the order
// of calls as the console does, and never reads the keyboard. Main thread.
class CliStdioNull : public OrvanStdio {
 public:
  CliStdioNull() { quiet_ = true; }

  ViewResult PrintField(std::string name, std::string value, bool newLine) override;
  ViewResult PrintText(std::string text, bool newLine, bool format, bool titleCase,
                       bool capitalizeFirst) override;
  ViewResult PrintUnicode(std::string text, bool newLine) override;
  ViewResult PrintNewLine() override;
  ViewResult PrintSeparator() override;
  ViewResult EndSuite(std::string resultText, double elapsedSeconds, bool failed) override;
  ViewResult FinishExecutionBlock(std::string resultText) override;
  ViewResult EndTest(TestStatus status, double elapsedSeconds) override;
  ViewResult ShowTestProgress(int percent, double elapsedSeconds) override;
  ViewResult ShowDeviceScan(std::string moduleName, bool finished) override;
  ViewResult ShowSuiteProgress(int percent, double elapsedSeconds) override;
  ViewResult Open() override;
};
