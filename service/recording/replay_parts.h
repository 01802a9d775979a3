#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "service/recording/replay_source.h"
#include "service/sdk/machine.h"

// What a replay machine hands out.
namespace orvan::recording {

// Whether a row that writes runs; a grant of its own each time.
using WriteGrant = std::shared_ptr<const std::atomic<bool>>;

class ReplayFiles final : public sdk::MachineFiles {
 public:
  explicit ReplayFiles(std::shared_ptr<ReplaySource> source) : source_(std::move(source)) {}

 private:
  std::optional<std::string> DoReadBytes(const std::string& path, std::size_t limit,
                                         int& error) const override;
  std::optional<std::string> DoReadAt(const std::string& path, std::uint64_t offset,
                                      std::size_t size, int& error) const override;
  std::optional<std::string> Content(const FieldWriter& access, std::size_t limit,
                                     int& error) const;
  std::optional<std::string> DoReadLink(const std::string& path, int& error) const override;
  std::vector<std::string> DoList(const std::string& path, int& error) const override;
  bool DoExists(const std::string& path, int& error) const override;

  const std::shared_ptr<ReplaySource> source_;
};

// Files as they were found, until the module writes them itself.
class ReplayState final : public sdk::ModuleState {
 public:
  explicit ReplayState(std::shared_ptr<ReplaySource> source) : source_(std::move(source)) {}
  std::optional<std::string> Read(const std::string& name, int& error) const override;
  int Replace(const std::string& name, const std::string& content) override;
  int Append(const std::string& name, const std::string& content) override;
  int Remove(const std::string& name) override;
  std::vector<std::string> List(int& error) const override;

 private:
  int Do(const char* kind, const std::string& name) const;

  const std::shared_ptr<ReplaySource> source_;
  mutable std::mutex mutex_;  // guards all below
  std::map<std::string, std::string> written_;
};

std::unique_ptr<sdk::BlockReader> ReplayReader(const ReaderAnswer& opened, std::string device,
                                               std::shared_ptr<ReplaySource> source);
std::unique_ptr<sdk::BlockWriter> ReplayWriter(const WriterAnswer& opened, WriteGrant grant,
                                               std::shared_ptr<ReplaySource> source);
std::unique_ptr<sdk::FilesystemProbe> ReplayProbe(std::shared_ptr<ReplaySource> source);
// Bytes in the place of those of which only the hash is known: the same for the same hash.
void FillFrom(const std::string& hash, std::span<std::byte> bytes);

}  // namespace orvan::recording
