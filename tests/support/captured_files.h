#pragma once

#include <map>
#include <string>

#include "service/sdk/machine_files.h"

namespace orvan::sdk::testing {

// A captured machine in memory. The text has one line per entry, fields separated by one blank:
//   f PATH CONTENT    a file
//   l PATH TARGET     a symbolic link
//   d PATH            a folder, or anything of which only the name is known
//   e PATH ERRNO      a file that cannot be read, or a folder that cannot be listed
//   b PATH ERRNO      a symbolic link that cannot be followed
// Blanks in PATH, and control bytes, bytes past 0x7E and backslashes everywhere, are written as
// \xNN. Empty lines and lines that begin with "#" are skipped. Parents come into being by
// themselves.
class CapturedFiles final : public MachineFiles {
 public:
  // A line that fits no form is skipped.
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

}  // namespace orvan::sdk::testing
