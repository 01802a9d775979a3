#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "service/sdk/machine_files.h"

namespace orvan::machine {

// The files of this machine below `root` ("/" for the machine itself).
class LiveFiles final : public sdk::MachineFiles {
 public:
  explicit LiveFiles(std::string root = "/");

 private:
  std::optional<std::string> DoReadBytes(const std::string& path, std::size_t limit,
                                         int& error) const override;
  std::optional<std::string> DoReadLink(const std::string& path, int& error) const override;
  std::vector<std::string> DoList(const std::string& path, int& error) const override;
  bool DoExists(const std::string& path, int& error) const override;
  std::string Below(const std::string& path) const;
  std::string root_;  // without a slash at its end
};

// A captured machine in memory. The text has one line per entry, fields separated by one blank:
//   f PATH CONTENT    a file
//   l PATH TARGET     a symbolic link
//   d PATH            a folder, or anything of which only the name is known
//   e PATH ERRNO      a file that cannot be read, or a folder that cannot be listed
//   b PATH ERRNO      a symbolic link that cannot be followed
// Blanks in PATH, and control bytes, bytes past 0x7E and backslashes everywhere, are written as
// \xNN. Empty lines and lines that begin with "#" are skipped. Parents come into being by
// themselves.
class CapturedFiles final : public sdk::MachineFiles {
 public:
  // A line that fits no form is skipped, so that a damaged report still shows what it holds.
  explicit CapturedFiles(const std::string& text);

 private:
  std::optional<std::string> DoReadBytes(const std::string& path, std::size_t limit,
                                         int& error) const override;
  std::optional<std::string> DoReadLink(const std::string& path, int& error) const override;
  std::vector<std::string> DoList(const std::string& path, int& error) const override;
  bool DoExists(const std::string& path, int& error) const override;
  enum class Kind { kFolder, kFile, kLink, kUnreadable, kBlocked };
  struct Entry {
    Kind kind = Kind::kFolder;
    std::string content;
    int error = 0;  // of kUnreadable and kBlocked
  };
  void Add(const std::string& path, Entry entry);
  const Entry* Find(const std::string& resolvedPath) const;
  std::map<std::string, Entry> entries_;
};

// Passes everything through to `inner` and remembers it; Text() is a capture that answers as
// `inner` did. Not for concurrent use.
class RecordingFiles final : public sdk::MachineFiles {
 public:
  explicit RecordingFiles(const sdk::MachineFiles& inner);
  std::string Text() const;

 private:
  std::optional<std::string> DoReadBytes(const std::string& path, std::size_t limit,
                                         int& error) const override;
  std::optional<std::string> DoReadLink(const std::string& path, int& error) const override;
  std::vector<std::string> DoList(const std::string& path, int& error) const override;
  bool DoExists(const std::string& path, int& error) const override;
  void Note(const std::string& path, char kind, const std::string& content) const;
  void NoteError(const std::string& path, char kind, int error) const;
  const sdk::MachineFiles& inner_;
  mutable std::map<std::string, std::pair<char, std::string>> notes_;
};

}  // namespace orvan::machine
