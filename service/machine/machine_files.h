#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace orvan::machine {

// A read-only view of the files below one root: the live machine, or one captured from it. Every
// fact from /sys, /proc and /run comes through here, so a capture stands in for the machine.
// Paths are absolute ("/sys/block") and follow symbolic links unless said otherwise. Any thread.
class MachineFiles {
 public:
  virtual ~MachineFiles() = default;

  // The first `limit` bytes of a regular file; none when it cannot be read.
  virtual std::optional<std::string> ReadBytes(const std::string& path,
                                               std::size_t limit) const = 0;
  // The target of a symbolic link as it is stored; none when `path` is no link. Only the last
  // component is not followed.
  virtual std::optional<std::string> ReadLink(const std::string& path) const = 0;
  // The names in a folder, sorted, without "." and ".."; empty when it cannot be listed.
  virtual std::vector<std::string> List(const std::string& path) const = 0;
  virtual bool Exists(const std::string& path) const = 0;

  // The text of a small attribute (at most 4096 bytes) without blanks, line ends and zero bytes at
  // its ends; empty when it cannot be read.
  std::string ReadText(const std::string& path) const;
  // A decimal attribute; none when it is missing or anything but digits that fit.
  std::optional<std::uint64_t> ReadNumber(const std::string& path) const;
  // The path without links, "." and ".."; empty when a link cannot be followed (more than 40).
  // Components that do not exist stay as they are.
  std::string Resolve(const std::string& path) const;
};

// The files of this machine below `root` ("/" for the machine itself).
class LiveFiles final : public MachineFiles {
 public:
  explicit LiveFiles(std::string root = "/");
  std::optional<std::string> ReadBytes(const std::string& path, std::size_t limit) const override;
  std::optional<std::string> ReadLink(const std::string& path) const override;
  std::vector<std::string> List(const std::string& path) const override;
  bool Exists(const std::string& path) const override;

 private:
  std::string Below(const std::string& path) const;
  std::string root_;  // without a slash at its end
};

// A captured machine in memory. The text has one line per entry, fields separated by one blank:
//   f PATH CONTENT    a file
//   l PATH TARGET     a symbolic link
//   d PATH            a folder, or anything of which only the name is known
// Blanks in PATH, and control bytes, bytes past 0x7E and backslashes everywhere, are written as
// \xNN. Empty lines and lines that begin with "#" are skipped. Parents come into being by
// themselves.
class CapturedFiles final : public MachineFiles {
 public:
  // A line that fits no form is skipped, so that a damaged report still shows what it holds.
  explicit CapturedFiles(const std::string& text);
  std::optional<std::string> ReadBytes(const std::string& path, std::size_t limit) const override;
  std::optional<std::string> ReadLink(const std::string& path) const override;
  std::vector<std::string> List(const std::string& path) const override;
  bool Exists(const std::string& path) const override;

 private:
  enum class Kind { kFolder, kFile, kLink };
  struct Entry {
    Kind kind = Kind::kFolder;
    std::string content;
  };
  void Add(const std::string& path, Entry entry);
  const Entry* Find(const std::string& resolvedPath) const;
  std::map<std::string, Entry> entries_;
};

// Passes everything through to `inner` and remembers it; Text() is a capture that answers as
// `inner` did. Not for concurrent use.
class RecordingFiles final : public MachineFiles {
 public:
  explicit RecordingFiles(const MachineFiles& inner);
  std::optional<std::string> ReadBytes(const std::string& path, std::size_t limit) const override;
  std::optional<std::string> ReadLink(const std::string& path) const override;
  std::vector<std::string> List(const std::string& path) const override;
  bool Exists(const std::string& path) const override;
  std::string Text() const;

 private:
  void Note(const std::string& path, char kind, const std::string& content) const;
  const MachineFiles& inner_;
  mutable std::map<std::string, std::pair<char, std::string>> notes_;
};

// Writes a new file that only its owner may read, in place of an older regular file; never through
// a symbolic link. 0, or the errno.
int WriteCapture(const std::string& path, const std::string& text);

}  // namespace orvan::machine
