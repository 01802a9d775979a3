#pragma once

#include <string>
#include <vector>

#include "service/sdk/machine_files.h"

namespace orvan::sdk {

// Something that is there, or may be, and could not be looked at.
struct FileTrouble {
  std::string path;
  int error = 0;  // 0: it was read, and what it says is of no use
  bool operator==(const FileTrouble&) const = default;
};

// Passes everything through to `inner` and remembers what could not be looked at. Not for
// concurrent use.
class WatchedFiles final : public MachineFiles {
 public:
  explicit WatchedFiles(const MachineFiles& inner) : inner_(inner) {}
  // The troubles since the last call, in their order, each path once.
  std::vector<FileTrouble> TakeTroubles() const;

 private:
  std::optional<std::string> DoReadBytes(const std::string& path, std::size_t limit,
                                         int& error) const override;
  std::optional<std::string> DoReadAt(const std::string& path, std::uint64_t offset,
                                      std::size_t size, int& error) const override;
  std::optional<std::string> DoReadLink(const std::string& path, int& error) const override;
  std::vector<std::string> DoList(const std::string& path, int& error) const override;
  bool DoExists(const std::string& path, int& error) const override;
  void Note(const std::string& path, int error) const;

  const MachineFiles& inner_;
  mutable std::vector<FileTrouble> troubles_;
};

}  // namespace orvan::sdk
