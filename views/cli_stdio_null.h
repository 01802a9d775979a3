#pragma once

#include <string>

#include "views/orvan_stdio.h"

// The view of silent mode: it swallows all output but ClearLine and ReportAssert, keeps the order
// of calls as the console does, and never reads the keyboard. Main thread.
class CliStdioNull : public OrvanStdio {
 public:
  // `stream` is that of the console, and outlives the view.
  explicit CliStdioNull(std::wostream& stream) : OrvanStdio(stream) { quiet = true; }

  ViewResult PrintField(std::string, std::string, bool) override { return kViewOk; }
  ViewResult PrintText(std::string, bool, bool, bool, bool) override { return kViewOk; }
  ViewResult PrintUnicode(std::string, bool) override { return kViewOk; }
  ViewResult PrintNewLine() override { return kViewOk; }
  ViewResult PrintSeparator() override { return kViewOk; }
  ViewResult EndSuite(std::string, double, bool) override { return kViewOk; }
  ViewResult FinishExecutionBlock(std::string) override { return kViewOk; }
  ViewResult EndTest(TestStatus, double) override { return kViewOk; }
  ViewResult ShowTestProgress(int, double) override { return kViewOk; }
  ViewResult ShowDeviceScan(std::string, bool) override { return kViewOk; }
  ViewResult Open() override { return kViewOk; }
};
