#pragma once

#include <sys/stat.h>

#include <string>

#include "os/descriptor.h"

// How a process with many rights goes to a folder. Root and its own effective user are no strangers
// to it. Any thread.
namespace tarvex {

// The links that one path may lead over: as many as the kernel follows.
inline constexpr int kMostLinks = 40;

bool IsStrangers(const struct stat& status);

// Why what this describes can't be relied on: a stranger owns it, or others may write it. The bit
// of the group counts whatever the group is, for an access list that names anybody hides behind it.
// Empty when it can be.
std::string WriterFault(const struct stat& status);

// Looks at each place of a path before it goes on from there, so that nobody can slip in a link
// meanwhile. Follows links that are no stranger's.
class FolderWalk {
 public:
  enum class Missing { kIsFault, kLastIsMade, kAreMade };
  // Trusted: no stranger may have written the folder, or renamed one on the way. A folder on the
  // way may be written by others where nobody can rename what is not his own (sticky).
  enum class Folders { kAny, kTrusted };

  // What is made gets the mode `made`.
  FolderWalk(Missing missing, Folders folders, mode_t made = 0755)
      : missing_(missing), folders_(folders), made_(made) {}

  // 0, or an errno value: ELOOP for a stranger's link and for more than kMostLinks, EPERM for a
  // folder that is not trusted. Where a link leads to nothing, nothing is made. What was made
  // stays on failure. Once for each object.
  int Go(const std::string& path);
  // Where the walk ended, as a place for openat only (O_PATH).
  Descriptor& Folder() { return folder_; }
  // Why the folder is not trusted, after EPERM.
  const std::string& Fault() const { return fault_; }

 private:
  int Start(const std::string& path);
  int Enter(const std::string& name);
  int OpenOrMake(const std::string& name, Descriptor& next) const;
  int Follow(const Descriptor& link);
  bool MayMake() const;
  // What the folder reached so far is like, when that counts.
  int CheckOnTheWay();
  int CheckAtTheEnd();
  void NoteEntered(const std::string& name);

  const Missing missing_;
  const Folders folders_;
  const mode_t made_;
  Descriptor folder_;
  std::string where_;  // the folder's own path without links, "" for the root; only when trusted
  std::string rest_;
  std::size_t behindLinks_ = std::string::npos;  // more in the rest is of the links followed so far
  int links_ = 0;
  std::string fault_;
};

// The text of an open link. 0, or an errno value.
int ReadLink(const Descriptor& link, std::string& target);

}  // namespace tarvex
