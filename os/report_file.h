#pragma once

#include <string>
#include <string_view>

#include "os/descriptor.h"
#include "os/only_file.h"

namespace tarvex {

// A report that is written from its beginning, buffered. Once open, a failed write shows in nothing
// but Loss, and what was written before stays. A file that has lost its name or got another before
// the first byte is not written (os/only_file.h). Others may read and write the file meanwhile.
// One thread at a time.
class ReportFile {
 public:
  ReportFile() = default;
  // Closes.
  ~ReportFile();
  ReportFile(const ReportFile&) = delete;
  ReportFile& operator=(const ReportFile&) = delete;

  // Creates or truncates the file. False, with nothing changed on disk,
  // when that fails, when a symbolic link stands at the path's end or a stranger's on the way, and
  // for all but a regular file with one name, /dev/null and /dev/full. Never waits for a reader. A
  // file that was open is closed first.
  bool Open(const std::string& path);
  bool IsOpen() const { return sink_.IsOpen() || file_.IsOpen(); }
  // Why the report lacks something since it was opened; empty when it does not.
  const std::string& Loss() const { return loss_; }
  void Write(std::string_view text);
  void Flush();
  // Flushes and closes. Nothing when closed.
  void Close();

 private:
  bool OpenFile(Descriptor folder, const std::string& name);

  Descriptor sink_;  // /dev/null or /dev/full
  OnlyFile file_;    // or else this one
  std::string pending_;
  std::string loss_;
};

}  // namespace tarvex
