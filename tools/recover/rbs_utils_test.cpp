#include "tools/recover/rbs_utils.h"

#include <stdexcept>

#include "tests/fakes/tool_test.h"
#include "tools/tool_data_error.h"

namespace {

using Ids = std::vector<std::string>;
using Property = FakeTool::Property;

class RbsUtilsTest : public ToolTest {
 protected:
  RbsUtilsTest() : utils(Target()) {}

  // Two partitions of the first disk, one of them the system's; none on the second.
  void AddDisks() {
    FakeDevice& disk = AddDevice("A", "Disk A");
    AddPartition(disk, {{"MOUNT_POINT", "/"}, {"FILE_SYSTEM", "ext4"}});
    AddPartition(disk, {{"MOUNT_POINT", "/home"}, {"FILE_SYSTEM", "xfs"}});
    AddDevice("B", "Disk B");
    utils.filterDevices(false, false);
  }
  const ToolDeviceRecord& Record(const std::string& id) {
    const ToolDeviceRecord* record = utils.findDevice(id);
    if (record == nullptr) throw std::runtime_error("no device " + id);
    return *record;
  }
  // The partitions of one disk that has these.
  const std::vector<ToolPartitionRecord>& Partitions(
      const std::vector<std::vector<std::pair<std::string, std::string>>>& partitions) {
    FakeDevice& disk = AddDevice("D", "Disk");
    for (const auto& pairs : partitions) AddPartition(disk, pairs);
    utils.filterDevices(false, false);
    return Record("D").partitions;
  }

  RbsUtils utils;
};

TEST_F(RbsUtilsTest, FilteringRunsTheToolOnNoDeviceAndWithoutAListener) {
  AddDevice("A", "Disk A");
  bool listened = true;
  tool.body = [&listened](FakeToolRun& run) { listened = run.hasListener; };
  utils.filterDevices(true, false);
  EXPECT_FALSE(listened);
  EXPECT_EQ(tool.Settings(), (std::vector<Property>{{"Operation", {"filterDevices"}}}));
  EXPECT_TRUE(service().Called("RunTool(some_tool,0)"));
  EXPECT_EQ(module.scans, 1);
}

TEST_F(RbsUtilsTest, TheSearchComesFirstAndOnlyWhenAsked) {
  tool.body = [this](FakeToolRun&) { EXPECT_EQ(module.scans, 0); };
  utils.filterDevices(false, true);
  EXPECT_EQ(tool.Settings(), (std::vector<Property>{{"Operation", {"filterDevices", "physical"}}}));
  tool.body = [this](FakeToolRun&) { EXPECT_EQ(module.scans, 1); };
  utils.filterDevices(true, false);
}

TEST_F(RbsUtilsTest, ReadsTheDevicesThatTheToolLeaves) {
  tool.body = [this](FakeToolRun&) { AddDevice("A", "Disk A"); };
  EXPECT_FALSE(utils.filtered());
  utils.filterDevices(false, false);
  EXPECT_TRUE(utils.filtered());
  EXPECT_EQ(Record("A").displayName, "Disk A");
}

TEST_F(RbsUtilsTest, WithoutDevicesNothingIsFiltered) {
  utils.filterDevices(true, false);
  EXPECT_FALSE(utils.filtered());
  EXPECT_TRUE(utils.deviceMap().empty());
  EXPECT_EQ(utils.findDevice(""), nullptr);
}

TEST_F(RbsUtilsTest, NullDevicesArePassedOverAndKeepTheirPlace) {
  AddDevice("A", "Disk A");
  module.deviceList.push_back(nullptr);
  AddDevice("B", "Disk B", "T");
  utils.filterDevices(false, false);
  EXPECT_EQ(IdsOf(utils.applicableDevices()), (Ids{"A", "B"}));
  EXPECT_EQ(Record("B").index, 2U);
  EXPECT_TRUE(Record("B").nonRotating);
  EXPECT_FALSE(Record("A").nonRotating);
}

TEST_F(RbsUtilsTest, OnlyTheOneLetterTMeansNonRotating) {
  AddDevice("A", "Disk A", "TRUE");
  AddDevice("B", "Disk B", "");
  AddDevice("C", "Disk C", "t");
  utils.filterDevices(false, false);
  for (const char* id : {"A", "B", "C"}) EXPECT_FALSE(Record(id).nonRotating) << id;
}

TEST_F(RbsUtilsTest, ADeviceThatDoesNotSayItIsAnError) {
  module.AddDevice("A", "Disk A");
  try {
    utils.filterDevices(false, false);
    FAIL();
  } catch (const ToolDataError& error) {
    EXPECT_STREQ(error.what(), "invalid map<K, T> key");
    EXPECT_STREQ(error.Missing(),
                 "tool some_tool, property NonRotatingMedia of device A: 0 of 1 values");
  }
}

TEST_F(RbsUtilsTest, PartitionsAreReadFieldByField) {
  const auto& partitions = Partitions({{{"LABEL", "root"},
                                        {"MOUNT_POINT", "/boot"},
                                        {"FILE_SYSTEM", "ext4"},
                                        {"PARTITION_TYPE", "PRIMARY"},
                                        {"SIZE", "10 GB"},
                                        {"USED", "4 GB"},
                                        {"FREE", "6 GB"},
                                        {"INDEX", "7"},
                                        {"OTHER", "x"}}});
  ASSERT_EQ(partitions.size(), 1U);
  const ToolPartitionRecord& partition = partitions.front();
  EXPECT_EQ(partition.ordinal, 0U);
  EXPECT_EQ(partition.label, "root");
  EXPECT_EQ(partition.mountPoint, "/boot");
  EXPECT_EQ(partition.fileSystem, "ext4");
  EXPECT_EQ(partition.partitionType, "PRIMARY");
  EXPECT_EQ(partition.size, "10 GB");
  EXPECT_EQ(partition.used, "4 GB");
  EXPECT_EQ(partition.free, "6 GB");
  EXPECT_EQ(partition.index, 7U);
  EXPECT_FALSE(partition.systemPartition);
  EXPECT_FALSE(Record("D").systemDevice);
}

TEST_F(RbsUtilsTest, OtherResourcesAreNoPartitions) {
  FakeDevice& disk = AddDevice("D", "Disk");
  disk.resources.push_back({"CACHE", {{"MOUNT_POINT", "/"}, {"FILE_SYSTEM", "ext4"}}});
  utils.filterDevices(false, false);
  EXPECT_TRUE(Record("D").partitions.empty());
  EXPECT_FALSE(Record("D").systemDevice);
}

TEST_F(RbsUtilsTest, ExtendedAndUnreachablePartitionsAreDroppedOnTheSpot) {
  const auto& partitions = Partitions({
      {{"PARTITION_TYPE", "EXTENDED"}, {"MOUNT_POINT", "/"}, {"FILE_SYSTEM", "x"}, {"INDEX", "3"}},
      {{"INDEX", "5"}, {"MOUNT_POINT", "UNABLE_TO_OBTAIN"}, {"FILE_SYSTEM", "x"}, {"INDEX", "6"}},
      {{"MOUNT_POINT", "/a"}, {"FILE_SYSTEM", "x"}},
  });
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_EQ(partitions[0].mountPoint, "/a");
  EXPECT_EQ(partitions[0].ordinal, 0U);
  // What was read before a partition was dropped counts, what stood behind does not.
  EXPECT_EQ(partitions[0].index, 5U);
  EXPECT_FALSE(Record("D").systemDevice);
}

TEST_F(RbsUtilsTest, PartitionsWithoutFileSystemOrMountPointAreNotKept) {
  const auto& partitions = Partitions({
      {{"MOUNT_POINT", "/"}, {"FILE_SYSTEM", ""}, {"INDEX", "4"}},
      {{"FILE_SYSTEM", "ext4"}},
      {{"MOUNT_POINT", "/b"}, {"FILE_SYSTEM", "ext4"}},
  });
  ASSERT_EQ(partitions.size(), 1U);
  EXPECT_EQ(partitions[0].ordinal, 0U);
  EXPECT_EQ(partitions[0].index, 4U);
  // The device holds the running system all the same.
  EXPECT_TRUE(Record("D").systemDevice);
}

TEST_F(RbsUtilsTest, AnIndexStaysUntilTheNextOneOfTheDevice) {
  const auto& partitions = Partitions({
      {{"MOUNT_POINT", "/a"}, {"FILE_SYSTEM", "x"}, {"INDEX", "2"}},
      {{"MOUNT_POINT", "/b"}, {"FILE_SYSTEM", "x"}},
      {{"MOUNT_POINT", "/c"}, {"FILE_SYSTEM", "x"}, {"INDEX", "no number"}},
  });
  ASSERT_EQ(partitions.size(), 3U);
  EXPECT_EQ(partitions[1].index, 2U);
  EXPECT_EQ(partitions[2].index, 0U);
  EXPECT_EQ(partitions[2].ordinal, 2U);
}

TEST_F(RbsUtilsTest, AnIndexDoesNotReachTheNextDevice) {
  AddPartition(AddDevice("A", "Disk A"),
               {{"MOUNT_POINT", "/a"}, {"FILE_SYSTEM", "x"}, {"INDEX", "2"}});
  AddPartition(AddDevice("B", "Disk B"), {{"MOUNT_POINT", "/b"}, {"FILE_SYSTEM", "x"}});
  utils.filterDevices(false, false);
  EXPECT_EQ(Record("B").partitions.at(0).index, 0U);
}

TEST_F(RbsUtilsTest, TheSystemPartitionIsFoundByItsExactMountPoint) {
  AddDisks();
  EXPECT_TRUE(Record("A").systemDevice);
  EXPECT_TRUE(Record("A").partitions.at(0).systemPartition);
  EXPECT_FALSE(Record("A").partitions.at(1).systemPartition);
  EXPECT_FALSE(Record("B").systemDevice);
}

TEST_F(RbsUtilsTest, OfTwoPartitionsWithOneMountPointTheMapKeepsTheLater) {
  const auto& partitions = Partitions({{{"MOUNT_POINT", "/a"}, {"FILE_SYSTEM", "first"}},
                                       {{"MOUNT_POINT", "/a"}, {"FILE_SYSTEM", "second"}}});
  EXPECT_EQ(utils.partitionMap().at("/a"), &partitions.at(1));
}

TEST_F(RbsUtilsTest, FilteringAgainForgetsWhatIsGone) {
  AddDisks();
  module.deviceList.erase(module.deviceList.begin());
  utils.filterDevices(false, false);
  EXPECT_EQ(utils.findDevice("A"), nullptr);
  EXPECT_TRUE(utils.partitionMap().empty());
}

TEST_F(RbsUtilsTest, ApplicableDevicesAreThoseThatTheToolTakes) {
  AddDisks();
  tool.refusedDevices = {"A"};
  EXPECT_EQ(IdsOf(utils.applicableDevices()), Ids{"B"});
  module.deviceList.clear();
  EXPECT_TRUE(utils.applicableDevices().empty());
}

TEST_F(RbsUtilsTest, ARunIsOnTheSelectionInTheOrderOfTheModule) {
  AddDisks();
  RbsSelection selection{{"B", {}}, {"A", {}}, {"Z", {}}};
  utils.prepareExecution(selection, false);
  EXPECT_EQ(IdsOf(utils.runDevices()), (Ids{"A", "B"}));
  // What is prepared next joins them.
  selection = {{"B", {}}};
  utils.prepareExecution(selection, false);
  EXPECT_EQ(IdsOf(utils.runDevices()), (Ids{"A", "B", "B"}));
}

TEST_F(RbsUtilsTest, WithoutASelectionARunIsOnAllAndNamesThem) {
  AddDisks();
  RbsSelection selection;
  utils.prepareExecution(selection, false);
  EXPECT_EQ(IdsOf(utils.runDevices()), (Ids{"A", "B"}));
  EXPECT_EQ(selection, (RbsSelection{{"A", {}}, {"B", {}}}));
}

TEST_F(RbsUtilsTest, ADeviceThatVanishedIsNotRunOn) {
  AddDisks();
  module.deviceList[0] = nullptr;
  RbsSelection selection;
  utils.prepareExecution(selection, false);
  EXPECT_EQ(IdsOf(utils.runDevices()), Ids{"B"});
}

TEST_F(RbsUtilsTest, PerPartitionAllPartitionsAreTold) {
  AddDisks();
  RbsSelection selection;
  utils.prepareExecution(selection, true);
  EXPECT_EQ(IdsOf(utils.runDevices()), Ids{"A"});
  EXPECT_EQ(selection, (RbsSelection{{"A", {"/", "/home"}}}));
  EXPECT_EQ(tool.GetToolProperty("partition_tableA"),
            (Ids{"/", "ext4", "/", "T", "/home", "xfs", "/home", "F"}));
}

TEST_F(RbsUtilsTest, PerPartitionTheSelectedOnesAreTold) {
  AddDisks();
  RbsSelection selection{{"A", {"/home", "/nowhere"}}, {"B", {"/home"}}};
  utils.prepareExecution(selection, true);
  EXPECT_EQ(IdsOf(utils.runDevices()), Ids{"A"});
  EXPECT_EQ(tool.GetToolProperty("partition_tableA"), (Ids{"/home", "xfs", "/home", "F"}));
  EXPECT_TRUE(tool.GetToolProperty("partition_tableB").empty());
}

TEST_F(RbsUtilsTest, PerPartitionTwoDevicesWithOneMountPointKeepTheirOwn) {
  const auto add = [this](const std::string& id, const std::string& fileSystem) {
    AddPartition(AddDevice(id, "Disk"), {{"MOUNT_POINT", "/mnt"}, {"FILE_SYSTEM", fileSystem}});
  };
  add("A", "ext4");
  add("B", "xfs");
  utils.filterDevices(false, false);
  RbsSelection selection;
  utils.prepareExecution(selection, true);
  EXPECT_EQ(tool.GetToolProperty("partition_tableA"), (Ids{"/mnt", "ext4", "/mnt", "F"}));
  EXPECT_EQ(tool.GetToolProperty("partition_tableB"), (Ids{"/mnt", "xfs", "/mnt", "F"}));
  EXPECT_EQ(selection, (RbsSelection{{"A", {"/mnt"}}, {"B", {"/mnt"}}}));
}

TEST_F(RbsUtilsTest, WhatWasToldOfPartitionsIsTakenBackByTheNextPreparation) {
  AddDisks();
  RbsSelection selection{{"A", {"/home"}}};
  utils.prepareExecution(selection, true);
  EXPECT_FALSE(tool.GetToolProperty("partition_tableA").empty());
  utils.prepareExecution(selection, false);
  EXPECT_TRUE(tool.GetToolProperty("partition_tableA").empty());
}

TEST_F(RbsUtilsTest, DevicesThatTheToolHasWithdrawnAreInNoListAndNoRun) {
  AddDevice("A", "Disk A");
  AddDevice("B", "Disk B");
  tool.body = [this](FakeToolRun&) { module.deviceList[0] = nullptr; };
  utils.filterDevices(false, false);
  EXPECT_EQ(IdsOf(utils.applicableDevices()), Ids{"B"});
  EXPECT_EQ(utils.findDevice("A"), nullptr);
  RbsSelection selection;
  utils.prepareExecution(selection, false);
  EXPECT_EQ(IdsOf(utils.runDevices()), Ids{"B"});
}

TEST_F(RbsUtilsTest, AThousandDevicesWithEightPartitionsAreRead) {
  for (int i = 0; i < 1000; ++i) {
    FakeDevice& disk = AddDevice(std::to_string(i), "Disk");
    for (int part = 0; part < 8; ++part) {
      AddPartition(disk,
                   {{"MOUNT_POINT", "/" + std::to_string(i * 8 + part)}, {"FILE_SYSTEM", "ext4"}});
    }
  }
  utils.filterDevices(true, false);
  EXPECT_EQ(utils.partitionMap().size(), 8000U);
  RbsSelection selection;
  utils.prepareExecution(selection, true);
  EXPECT_EQ(utils.runDevices().size(), 1000U);
  EXPECT_EQ(tool.GetToolProperty("partition_table999").size(), 32U);
}

}  // namespace
