#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "os/descriptor.h"
#include "os/file_reserve.h"

namespace orvan::log {

// What a line is worth where room runs out. Each leaves room for those below it.
enum class LogRank {
  kNote,     // a text or a measurement
  kEvent,    // the start of a test, or a fault outside of any
  kOutcome,  // what a test that has started came to
  kEnd,      // the end of a test or of the run
};

// The file of one run's log: "tarvex-TIME-PROCESS.jsonl", so that names sort by time. It is locked
// (flock) as long as it is open, which tells others that its run goes on. Where no lock is to be
// had the name ends in ".unlocked.jsonl". One thread at a time.
class LogFile {
 public:
  LogFile() = default;
  LogFile(LogFile&&) = default;
  ~LogFile() { Close(); }
  // Makes a new file (0600) in the folder, which is made when it is missing; a stranger's link on
  // the way to it is not followed. A name that is taken, by a link too, is left alone and another
  // one chosen. False on failure.
  bool Create(const std::string& folder, std::int64_t nowMs);
  bool IsOpen() const { return file_ != nullptr; }
  const std::string& Name() const { return name_; }
  const std::string& Folder() const { return folder_; }
  std::uint64_t Size() const { return file_ != nullptr ? file_->size : 0; }
  // Writes the line, or several, in one call. False when that could not be done; then nothing of
  // it stays. A line that is no end needs room for ends behind it, which is held as long as the
  // file is open.
  bool Append(std::string_view line, LogRank rank = LogRank::kNote);
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
    // Whoever lets it go last: where the disk hangs, that is a syncer, for this may hang too.
    ~Open() { reserve.GiveBack(file.Get(), size); }
    tarvex::Descriptor file;
    tarvex::Descriptor folder;
    std::uint64_t size = 0;  // bytes in whole lines
    tarvex::FileReserve reserve;
    // With the two above it is the syncer's own once it is set.
    std::atomic<bool> isComplete = false;
  };
  LogFile& operator=(LogFile&&) = default;
  bool CopyFrom(const LogFile& other);

  std::shared_ptr<Open> file_;  // shared with syncers
  std::string folder_;
  std::string name_;
};

}  // namespace orvan::log
