#pragma once

#include <string>
#include <string_view>

#include "os/report_file.h"
#include "views/orvan_stdio.h"

// The view that writes the report into a file: the console's blocks as narrow text, byte for byte,
// without progress lines. A write that fails after a successful Open isn't detected. An operation
// that finds the file closed returns kViewFileClosed, and the first one says so on the console.
// Main thread.
class CliStdioFile : public OrvanStdio {
 public:
  // `stream` is that of the console, and outlives the view; `path` as the user gave it. A bare name
  // is taken beside the program, a relative folder below the program's own.
  CliStdioFile(std::wostream& stream, std::string path);
  // Closes the file.
  ~CliStdioFile() override;

  ViewResult PrintField(std::string name, std::string value, bool newLine) override;
  ViewResult PrintText(std::string text, bool newLine, bool format, bool titleCase,
                       bool capitalizeFirst) override;
  ViewResult PrintUnicode(std::string text, bool newLine) override;
  ViewResult PrintNewLine() override;
  ViewResult PrintSeparator() override;
  ViewResult EndTest(TestStatus status, double elapsedSeconds) override;
  ViewResult ShowTestProgress(int percent, double elapsedSeconds) override;
  // Writes the finished line only.
  ViewResult ShowDeviceScan(std::string name, bool finished) override;
  // Takes the console into use unless the view is quiet, makes missing folders, and opens the file.
  // kViewOk, or kViewFileClosed when the path is no good or the file can't be opened.
  ViewResult Open() override;

  // Opens the file, truncating what was there; true when it is open.
  virtual bool OpenOutputFile();
  // The path with each run of separators cut to its first, and each separator a backslash.
  virtual std::string NormalizePath(std::string path);

 private:
  tarvex::ReportFile outputStream;
  std::string fileName;
  std::string directory;  // with its closing separator; empty when the path had none

  ViewResult ReportClosedFile();
  ViewResult WriteText(std::string_view text, bool newLine);

  bool closedReported_ = false;
};
