#pragma once

#include <mutex>

#include "os/descriptor.h"
#include "service/sdk/module_state.h"

namespace orvan::machine {

// A module's files in one folder. A change that fails leaves what was there before. One
// process at a time; any thread.
class FolderState final : public sdk::ModuleState {
 public:
  // Without a folder every operation is EOPNOTSUPP.
  explicit FolderState(tarvex::Descriptor folder) : folder_(std::move(folder)) {}

  std::optional<std::string> Read(const std::string& name, int& error) const override;
  int Replace(const std::string& name, const std::string& content) override;
  int Append(const std::string& name, const std::string& content) override;
  int Remove(const std::string& name) override;
  std::vector<std::string> List(int& error) const override;

 private:
  int Check(const std::string& name) const;
  int AppendTo(const tarvex::Descriptor& file, const std::string& content) const;
  int Fill(const std::string& temporary, const std::string& content) const;
  int SyncFolder() const;

  const tarvex::Descriptor folder_;
  std::mutex changing_;  // held by who changes a file
};

}  // namespace orvan::machine
