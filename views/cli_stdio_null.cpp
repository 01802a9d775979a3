#include "views/cli_stdio_null.h"

ViewResult CliStdioNull::PrintField(std::string /*name*/, std::string /*value*/, bool /*newLine*/) {
  return kViewOk;
}

ViewResult CliStdioNull::PrintText(std::string /*text*/, bool /*newLine*/, bool /*format*/,
                                   bool /*titleCase*/, bool /*capitalizeFirst*/) {
  return kViewOk;
}

ViewResult CliStdioNull::PrintUnicode(std::string /*text*/, bool /*newLine*/) {
  return kViewOk;
}

ViewResult CliStdioNull::PrintNewLine() {
  return kViewOk;
}

ViewResult CliStdioNull::PrintSeparator() {
  return kViewOk;
}

ViewResult CliStdioNull::EndSuite(std::string /*resultText*/, double /*elapsedSeconds*/,
                                  bool /*failed*/) {
  return kViewOk;
}

ViewResult CliStdioNull::FinishExecutionBlock(std::string /*resultText*/) {
  return kViewOk;
}

ViewResult CliStdioNull::EndTest(TestStatus /*status*/, double /*elapsedSeconds*/) {
  return kViewOk;
}

ViewResult CliStdioNull::ShowTestProgress(int /*percent*/, double /*elapsedSeconds*/) {
  return kViewOk;
}

ViewResult CliStdioNull::ShowDeviceScan(std::string /*moduleName*/, bool /*finished*/) {
  return kViewOk;
}

ViewResult CliStdioNull::ShowSuiteProgress(int /*percent*/, double /*elapsedSeconds*/) {
  return kViewOk;
}

ViewResult CliStdioNull::Open() {
  return kViewOk;
}
