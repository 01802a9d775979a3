#pragma once

#include <string>
#include <string_view>

#include "system/descriptor.h"

namespace tarvex {

// A report that is written from its beginning, buffered. Once open, a failed write isn't reported,
// and what was written before stays.
// Others may read and write the file meanwhile. One thread at a time.
class ReportFile {
 public:
  ReportFile() = default;
  // Closes.
  ~ReportFile();
  ReportFile(const ReportFile&) = delete;
  ReportFile& operator=(const ReportFile&) = delete;

  // Creates or truncates the file; separators are "\" or "/". False, with nothing changed on disk,
  // when that fails, when a symbolic link stands at the path's end or a stranger's on the way, and
  // for all but a regular file with one name, /dev/null and /dev/full. Never waits for a reader. A
  // file that was open is closed first.
  bool Open(const std::string& path);
  bool IsOpen() const { return file_.IsOpen(); }
  void Write(std::string_view text);
  void Flush();
  // Flushes and closes. Nothing when closed.
  void Close();

 private:
  Descriptor file_;
  std::string pending_;
};

}  // namespace tarvex
