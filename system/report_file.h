#pragma once

#include <string>
#include <string_view>

namespace tarvex {

// A report that is written from its beginning, buffered. Once open, a failed write isn't reported.
// Others may read and write the file meanwhile. One thread at a time.
class ReportFile {
 public:
  ReportFile() = default;
  // Closes.
  ~ReportFile();
  ReportFile(const ReportFile&) = delete;
  ReportFile& operator=(const ReportFile&) = delete;

  // Creates or truncates the file; separators are "\" or "/". False, with nothing changed on disk,
  // when that fails or when the path leads to a symbolic link or to something other than a regular
  // file or a character device. A file that was open is closed first.
  bool Open(const std::string& path);
  bool IsOpen() const { return descriptor_ >= 0; }
  void Write(std::string_view text);
  void Flush();
  // Flushes and closes. Nothing when closed.
  void Close();

 private:
  int descriptor_ = -1;
  std::string pending_;
};

}  // namespace tarvex
