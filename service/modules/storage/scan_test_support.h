#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "service/modules/storage/disk_scan.h"
#include "service/sdk/closed_machine.h"
#include "tests/support/captured_files.h"

namespace orvan::storage {

// Knows nothing of any file system, and counts how often it is asked.
class CountingProbe final : public sdk::FilesystemProbe {
 public:
  std::optional<sdk::FilesystemFacts> Probe(const std::string&, const std::string&,
                                            std::chrono::milliseconds, std::stop_token) override {
    ++asked;
    return sdk::FilesystemFacts();
  }
  int asked = 0;
};

// Answers from a list, and remembers what it was asked.
class ListedProbe final : public sdk::FilesystemProbe {
 public:
  std::optional<sdk::FilesystemFacts> Probe(const std::string& device,
                                            const std::string& mountPoint,
                                            std::chrono::milliseconds, std::stop_token) override {
    asked.push_back(device + '@' + mountPoint);
    if (hangs) return {};
    sdk::FilesystemFacts answer = facts[device];
    if (!mountPoint.empty()) answer.use = {1000, 24};
    return answer;
  }
  std::map<std::string, sdk::FilesystemFacts> facts;
  std::vector<std::string> asked;
  bool hangs = false;
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

// A machine of these files, on which no time passes but what it is told.
class ScannedMachine final : public sdk::ClosedMachine {
 public:
  ScannedMachine(const sdk::MachineFiles& files, sdk::FilesystemProbe& probe)
      : files_(files), probe_(probe) {}
  const sdk::MachineFiles& Files() const override { return files_; }
  std::unique_ptr<sdk::FilesystemProbe> MakeProbe(std::chrono::milliseconds budget) override {
    EXPECT_EQ(budget, std::chrono::seconds(5));
    return std::make_unique<Borrowed>(probe_);
  }
  std::chrono::steady_clock::time_point Now() const override { return now; }
  std::chrono::steady_clock::time_point now{};

 private:
  struct Borrowed final : sdk::FilesystemProbe {
    explicit Borrowed(sdk::FilesystemProbe& probe) : inner(probe) {}
    std::optional<sdk::FilesystemFacts> Probe(const std::string& device,
                                              const std::string& mountPoint,
                                              std::chrono::milliseconds limit,
                                              std::stop_token stop) override {
      return inner.Probe(device, mountPoint, limit, std::move(stop));
    }
    sdk::FilesystemProbe& inner;
  };

  const sdk::MachineFiles& files_;
  sdk::FilesystemProbe& probe_;
};

using Disks = std::vector<std::unique_ptr<Disk>>;

// Disks of which nobody asks what is on them, for that takes the machine.
inline Disks ScanDisks(const sdk::MachineFiles& files, sdk::FilesystemProbe& probe,
                       bool includeLoop) {
  ScannedMachine machine(files, probe);
  return ScanDisks(machine, includeLoop);
}

inline Disks ScanOf(const sdk::MachineFiles& files) {
  CountingProbe probe;
  return ScanDisks(files, probe, true);
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

inline sdk::testing::CapturedFiles Capture(const std::string& name) {
  return sdk::testing::CapturedFiles(CaptureText(name));
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
