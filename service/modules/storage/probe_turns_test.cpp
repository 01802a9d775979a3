// How the time of a search is shared among its disks.
#include "service/modules/storage/probe_turns.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "service/modules/storage/scan_test_support.h"

namespace orvan::storage {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

// Virtio disks "vda", "vdb", ... with that many partitions each.
std::string DisksWith(const std::vector<int>& partitions) {
  std::string text;
  const auto add = [&text](const std::string& folder, std::size_t minor, const char* more) {
    text += "f " + folder + "/dev 254:" + std::to_string(minor) + "\nf " + folder + "/size 2048\n" +
            more;
  };
  for (std::size_t disk = 0; disk < partitions.size(); ++disk) {
    const std::string name = std::string("vd") + static_cast<char>('a' + disk);
    const std::string folder = "/sys/block/" + name;
    add(folder, disk * 256, "");
    for (int index = 1; index <= partitions[disk]; ++index) {
      const std::string number = std::to_string(index);
      const std::string partition = folder + '/' + name + number;
      add(partition, disk * 256 + static_cast<std::size_t>(index), "");
      text += "f " + partition + "/partition " + number + '\n';
    }
  }
  return text;
}

// Each look at a disk takes its time, and one that would take longer than its limit, or than what
// is left of the budget, is not answered.
class SlowProbe final : public sdk::FilesystemProbe {
 public:
  std::optional<sdk::FilesystemFacts> Probe(const std::string& device, const std::string&,
                                            milliseconds limit, std::stop_token) override {
    const std::string disk = device.substr(0, std::string("/dev/vda").size());
    limits[disk].push_back(limit);
    const milliseconds most = std::min(limit, left);
    const milliseconds took = std::min(takes[disk], most);
    left -= took;
    machine->now += took;
    if (most <= 0ms || took < takes[disk]) return {};
    return sdk::FilesystemFacts{"gpt", "ext4", "", {}};
  }

  std::map<std::string, milliseconds> takes;  // by disk; none: no time
  std::map<std::string, std::vector<milliseconds>> limits;
  milliseconds left = 5s;
  ScannedMachine* machine = nullptr;
};

// How many partitions of each disk have told their file system.
std::vector<std::size_t> Told(const std::vector<int>& partitions, SlowProbe& probe) {
  const sdk::testing::CapturedFiles files(DisksWith(partitions));
  ScannedMachine machine(files, probe);
  probe.machine = &machine;
  std::vector<std::size_t> told;
  for (const auto& disk : ScanDisks(machine, false)) {
    const auto found = disk->Partitions(ContentLook::kAll, {});
    told.push_back(static_cast<std::size_t>(
        std::count_if(found.begin(), found.end(),
                      [](const Partition& part) { return part.fileSystem == "ext4"; })));
  }
  return told;
}

TEST(ProbeTurns, ManyLatePartitionsOfADiskTakeNothingFromTheNext) {
  SlowProbe probe;
  probe.takes = {{"/dev/vda", 200ms}, {"/dev/vdb", 10ms}};
  // The second needs 21 looks, one of them at its table, so 210 ms. Of the 4790 ms that are left
  // the first has 23 whole ones, and one of these was at its table.
  EXPECT_EQ(Told({100, 20}, probe), (std::vector<std::size_t>{22, 20}));
  EXPECT_EQ(probe.left, 0ms);
}

TEST(ProbeTurns, DisksThatDoNotAnswerLeaveTheLastOneItsTurn) {
  SlowProbe probe;
  for (const char* disk : {"/dev/vda", "/dev/vdb", "/dev/vdc", "/dev/vdd"}) {
    probe.takes[disk] = 1h;
  }
  EXPECT_EQ(Told({1, 1, 1, 1, 3}, probe), (std::vector<std::size_t>{0, 0, 0, 0, 3}));
  for (const char* disk : {"/dev/vda", "/dev/vdb", "/dev/vdc", "/dev/vdd"}) {
    EXPECT_EQ(probe.limits[disk], (std::vector<milliseconds>{1000ms})) << disk;
  }
}

TEST(ProbeTurns, WhatAnswersAtOnceLeavesItsShareToTheRest) {
  SlowProbe probe;
  probe.takes["/dev/vdd"] = 1600ms;
  EXPECT_EQ(Told({1, 1, 1, 1}, probe), (std::vector<std::size_t>{1, 1, 1, 1}));
  // 5000 ms for 4, 3, and then never more than 2000.
  EXPECT_EQ(probe.limits["/dev/vda"].front(), 1250ms);
  EXPECT_EQ(probe.limits["/dev/vdb"].front(), 1666ms);
  EXPECT_EQ(probe.limits["/dev/vdc"].front(), 2000ms);
  EXPECT_EQ(probe.limits["/dev/vdd"].front(), 2000ms);
}

TEST(ProbeTurns, HoweverManyDisksThereAreEachLookHasTimeToBeAnswered) {
  SlowProbe probe;
  probe.takes["/dev/vda"] = 500ms;
  const std::vector<std::size_t> told = Told(std::vector<int>(26, 1), probe);
  EXPECT_EQ(told, std::vector<std::size_t>(26, 1));
  EXPECT_EQ(probe.limits["/dev/vda"].front(), 500ms);
}

}  // namespace
}  // namespace orvan::storage
