#include "views/cli_stdio_file.h"

#include <utility>

#include "boundary/hostlayer.h"
#include "system/filesystem/filesystem.h"
#include "system/key_format.h"
#include "system/outside_text.h"
#include "system/standard_error.h"
#include "system/system_path.h"
#include "views/message_keys.h"

namespace {

// What the program lays a report out with: listings, and the end of a device scan.
constexpr std::string_view kReportLayout = "\t\n\r";

}  // namespace

CliStdioFile::CliStdioFile(std::wostream& stream, std::string path) : OrvanStdio(stream) {
  const std::string normalized = CliStdioFile::NormalizePath(std::move(path));
  const std::size_t last = normalized.rfind('\\');
  // A separator at the very beginning belongs to the name and makes no directory.
  const std::size_t nameStart = last == std::string::npos || last == 0 ? 0 : last + 1;
  fileName = normalized.substr(nameStart);
  directory = normalized.substr(0, nameStart);
}

CliStdioFile::~CliStdioFile() {
  outputStream.Close();
  if (!outputStream.Loss().empty()) {
    const std::string path = CliStdioFile::NormalizePath(directory + "\\" + fileName);
    tarvex::TellOnStandardError("the report " + tarvex::ToSystemPath(path) +
                                " is not complete: " + outputStream.Loss());
  }
}

ViewResult CliStdioFile::WriteText(std::string_view text, bool newLine) {
  if (!outputStream.IsOpen()) return ReportClosedFile();
  outputStream.Write(tarvex::WithoutSteering(text, kReportLayout));
  if (newLine) {
    outputStream.Write("\n");
    outputStream.Flush();
  }
  return kViewOk;
}

ViewResult CliStdioFile::ReportClosedFile() {
  if (!closedReported_) {
    closedReported_ = true;
    // On the console: this class's own PrintText would find the file closed again.
    OrvanStdio::PrintText(FormatKey(tarvex::kErrorOpeningFileKey, true, true, true), true, true,
                          false, true);
  }
  return kViewFileClosed;
}

ViewResult CliStdioFile::PrintField(std::string name, std::string value, bool newLine) {
  return WriteText(tarvex::InLine(tarvex::FormatFieldName(name) + value), newLine);
}

ViewResult CliStdioFile::PrintText(std::string text, bool newLine, bool format, bool titleCase,
                                   bool capitalizeFirst) {
  if (format) text = FormatKey(std::move(text), titleCase, capitalizeFirst, true);
  return WriteText(text, newLine);
}

ViewResult CliStdioFile::PrintUnicode(std::string text, bool newLine) {
  return WriteText(text, newLine);
}

ViewResult CliStdioFile::PrintNewLine() {
  return WriteText({}, true);
}

ViewResult CliStdioFile::PrintSeparator() {
  return WriteText(tarvex::kSeparator, true);
}

ViewResult CliStdioFile::EndTest(TestStatus status, double elapsedSeconds) {
  const ViewResult result = WriteText(TestEndText(status, elapsedSeconds), false);
  outputStream.Flush();
  if (result == kViewOk) testName.clear();
  return result;
}

ViewResult CliStdioFile::ShowTestProgress(int /*percent*/, double /*elapsedSeconds*/) {
  return kViewOk;
}

ViewResult CliStdioFile::ShowDeviceScan(std::string name, bool finished) {
  if (!finished) return kViewOk;
  const ViewResult result = WriteText(ScanFinishedLine(name), false);
  if (result == kViewOk) spinner = '-';
  return result;
}

ViewResult CliStdioFile::Open() {
  if (!quiet) OrvanStdio::Open();
  if (!fileName.empty() && tarvex::IsSeparator(fileName.back())) return kViewFileClosed;
  Filesystem& filesystem = *get_filesystem();
  if (filesystem.IsInvalidPath(directory + "\\" + fileName) != 0) return kViewFileClosed;
  const std::string wanted = directory;
  if (filesystem.CreateDirectoryTree(wanted, directory) != 0) return kViewFileClosed;
  return OpenOutputFile() ? kViewOk : kViewFileClosed;
}

bool CliStdioFile::OpenOutputFile() {
  if (directory.empty()) {
    const char* beside = get_filesystem()->GetExecutableDirectory();
    if (beside == nullptr) return false;
    directory = beside;
  }
  return outputStream.Open(tarvex::ToSystemPath(directory + "\\" + fileName));
}

std::string CliStdioFile::NormalizePath(std::string path) {
  std::string cleaned;
  cleaned.reserve(path.size());
  for (const char character : path) {
    if (!tarvex::IsSeparator(character)) {
      cleaned += character;
    } else if (cleaned.empty() || cleaned.back() != '\\') {
      cleaned += '\\';
    }
  }
  return cleaned;
}
