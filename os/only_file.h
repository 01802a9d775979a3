#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <utility>

#include "os/descriptor.h"

namespace tarvex {

// A regular file that a process with many rights writes in a folder that may be a stranger's. He
// could have put a second name of somebody else's file there, or take the name away while the file
// is opened; so the file is written only after one look at the name has found the open file, under
// its only name. One thread at a time.
class OnlyFile {
 public:
  enum class Access { kWrite, kReadAndAppend };

  OnlyFile() = default;

  // Opens the file, making it with `mode` when it is missing, and changes nothing in one that is
  // there. `path` is in the system's form; a stranger's link on the way and any link at its end is
  // refused, and so is all but a regular file with this one name. Never waits for the other end of
  // a pipe. 0, or an errno value.
  int Open(const std::string& path, Access access, mode_t mode);
  // The same in an open folder, which this object keeps.
  int OpenIn(Descriptor folder, const std::string& name, Access access, mode_t mode);
  // The same below a folder that is reached over no stranger's link: `path` is relative, has no
  // component ".." (EINVAL), and goes over no link at all.
  int OpenBelow(const std::string& folder, const std::string& path, Access access, mode_t mode);

  // Gives up the open file to who writes it from now on, without another look at its name.
  Descriptor Release() { return std::move(file_); }

  bool IsOpen() const { return file_.IsOpen(); }
  const Descriptor& File() const { return file_; }
  // One more look, for right before a change.
  bool MayBeWritten() const;
  // Empties the file when it may be written. 0, or an errno value.
  int Empty() const;
  // Writes all bytes at the file's place. Right before the first byte of all it looks once more,
  // and while that finds another file nothing is written: EMLINK. Whoever takes the name away later
  // takes what was written, too. 0, or an errno value as of WriteAll (os/descriptor_writer.h).
  int Write(std::string_view bytes);

 private:
  Descriptor folder_;
  std::string name_;
  Descriptor file_;
  bool isBegun_ = false;  // the look before the first byte was good
};

}  // namespace tarvex
