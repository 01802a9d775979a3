#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "system/descriptor.h"

namespace orvan::core {

// The file of one run's log: "tarvex-TIME-PROCESS.jsonl", so that names sort by time. It is locked
// (flock) as long as it is open, which tells others that its run goes on. One thread at a time.
class LogFile {
 public:
  LogFile() = default;
  LogFile(LogFile&&) = default;
  ~LogFile() { Close(); }
  // Makes a new file (0640) in the folder, which is made when it is missing; a stranger's link on
  // the way to it is not followed. A name that is taken, by a link too, is left alone and another
  // one chosen. False on failure.
  bool Create(const std::string& folder, std::int64_t nowMs);
  bool IsOpen() const { return file_ != nullptr; }
  const std::string& Name() const { return name_; }
  const std::string& Folder() const { return folder_; }
  // Writes the line in one call. False when it could not be written; then nothing of it stays.
  bool Append(std::string_view line);
  // Goes on in another folder, with all that was written. False, and it stays where it is, when
  // that cannot be done.
  bool MoveTo(const std::string& folder, std::int64_t nowMs);
  // Removes the file.
  void Discard();
  // Others may take the file from now on.
  void Close();
  // Brings to the disk what was written so far. The function may be called on another thread, and
  // after this object's end; where the disk hangs, so does the call.
  std::function<void()> Syncer() const;

 private:
  struct Open {
    tarvex::Descriptor file;
    tarvex::Descriptor folder;
  };
  LogFile& operator=(LogFile&&) = default;
  bool CopyFrom(const LogFile& other);

  std::shared_ptr<Open> file_;  // shared with syncers
  std::string folder_;
  std::string name_;
  std::uint64_t size_ = 0;  // bytes in whole lines
};

}  // namespace orvan::core
