#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "service/modules/storage/disk_scan.h"
#include "tests/support/captured_files.h"

namespace orvan::storage {

// Knows nothing of any file system, and counts how often it is asked.
class CountingProbe final : public sdk::FilesystemProbe {
 public:
  std::optional<sdk::FilesystemFacts> Probe(const std::string&, const std::string&,
                                            std::stop_token) override {
    ++asked;
    return sdk::FilesystemFacts();
  }
  int asked = 0;
};

// A captured machine on which these paths answer an errno; ENOENT: they are not there.
class HidingFiles final : public sdk::MachineFiles {
 public:
  HidingFiles(const std::string& capture, std::map<std::string, int> hidden)
      : inner_(capture), hidden_(std::move(hidden)) {}

 private:
  std::optional<std::string> DoReadBytes(const std::string& path, std::size_t limit,
                                         int& error) const override {
    if (IsHidden(path, error)) return {};
    return inner_.ReadBytes(path, limit, &error);
  }
  std::optional<std::string> DoReadLink(const std::string& path, int& error) const override {
    if (IsHidden(path, error)) return {};
    return inner_.ReadLink(path, &error);
  }
  std::vector<std::string> DoList(const std::string& path, int& error) const override {
    if (IsHidden(path, error)) return {};
    return inner_.List(path, &error);
  }
  bool DoExists(const std::string& path, int& error) const override {
    return !IsHidden(path, error) && inner_.Exists(path, &error);
  }
  bool IsHidden(const std::string& path, int& error) const {
    const auto found = hidden_.find(path);
    if (found == hidden_.end()) return false;
    error = found->second == ENOENT ? 0 : found->second;
    return true;
  }

  sdk::testing::CapturedFiles inner_;
  std::map<std::string, int> hidden_;
};

using Disks = std::vector<std::unique_ptr<Disk>>;

inline Disks ScanOf(const sdk::MachineFiles& files) {
  CountingProbe probe;
  return ScanDisks(files, probe, true, {});
}

inline Disks ScanOf(const std::string& capture) {
  return ScanOf(sdk::testing::CapturedFiles(capture));
}

inline std::string CaptureText(const std::string& name) {
  const std::string path =
      TARVEX_SOURCE_DIR "/service/modules/storage/testdata/" + name + ".capture";
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

inline std::vector<std::string> Names(const Disks& disks) {
  std::vector<std::string> names;
  for (const auto& disk : disks) {
    EXPECT_EQ(disk->Id(), std::to_string(names.size()));
    names.push_back(disk->Facts().kernelName);
  }
  return names;
}

inline std::map<std::string, std::string> Entries(const Disk& disk) {
  std::map<std::string, std::string> entries;
  for (const auto& [value, label] : disk.Information().entries) entries[label] = value;
  return entries;
}

}  // namespace orvan::storage
