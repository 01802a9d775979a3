#pragma once

#include <string>
#include <vector>

#include "os/descriptor.h"
#include "service/sdk/machine_files.h"

namespace orvan::machine {

// The files of this machine below `root` ("/" for the machine itself).
class LiveFiles final : public sdk::MachineFiles {
 public:
  explicit LiveFiles(std::string root = "/");

 private:
  std::optional<std::string> DoReadBytes(const std::string& path, std::size_t limit,
                                         int& error) const override;
  std::optional<std::string> DoReadAt(const std::string& path, std::uint64_t offset,
                                      std::size_t size, int& error) const override;
  std::optional<std::string> DoReadLink(const std::string& path, int& error) const override;
  std::vector<std::string> DoList(const std::string& path, int& error) const override;
  bool DoExists(const std::string& path, int& error) const override;
  std::string Below(const std::string& path) const;
  tarvex::Descriptor Open(const std::string& path, int flags, int& error) const;
  std::string root_;               // without a slash at its end
  tarvex::Descriptor rootFolder_;  // none for the machine itself
};

}  // namespace orvan::machine
