#include "tools/smart/st_utils.h"

#include <stdexcept>

#include "tests/fakes/tool_test.h"

namespace {

using Ids = std::vector<std::string>;
using Property = FakeTool::Property;

class STUtilsTest : public ToolTest {
 protected:
  STUtilsTest() : utils(Target()) {
    AddPartition(AddDevice("A", "Disk A", "T"), {{"MOUNT_POINT", "/"}, {"FILE_SYSTEM", "ext4"}});
    AddDevice("B", "Disk B");
  }
  bool WasRun() { return service().CountCalls("RunTool(some_tool,0)") > 0; }

  STUtils utils;
};

TEST_F(STUtilsTest, FilteringSetsTheOperationAndDoesNotRunTheTool) {
  utils.filterDevices(true);
  EXPECT_EQ(tool.Settings(), (std::vector<Property>{{"Operation", {"filterDevices"}}}));
  EXPECT_FALSE(WasRun());
  EXPECT_EQ(module.scans, 1);
  EXPECT_TRUE(utils.filtered());
  utils.filterDevices(false);
  EXPECT_EQ(module.scans, 1);
}

TEST_F(STUtilsTest, RecordsKnowNothingOfPartitions) {
  utils.filterDevices(false);
  const ToolDeviceRecord* record = utils.findDevice("A");
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->displayName, "Disk A");
  EXPECT_TRUE(record->nonRotating);
  EXPECT_TRUE(record->partitions.empty());
  EXPECT_FALSE(record->systemDevice);
}

TEST_F(STUtilsTest, ADeviceThatDoesNotSayWhetherItRotatesIsAnError) {
  module.AddDevice("C", "Disk C");
  EXPECT_THROW(utils.filterDevices(false), std::out_of_range);
}

TEST_F(STUtilsTest, ARunIsOnTheSelection) {
  utils.filterDevices(false);
  const std::set<std::string> selection{"B", "Z"};
  utils.prepareExecution(selection);
  EXPECT_EQ(IdsOf(utils.runDevices()), Ids{"B"});
}

TEST_F(STUtilsTest, WithoutASelectionARunIsOnAllDevices) {
  utils.filterDevices(false);
  const std::set<std::string> selection;
  utils.prepareExecution(selection);
  EXPECT_EQ(IdsOf(utils.runDevices()), (Ids{"A", "B"}));
  EXPECT_EQ(tool.Settings().size(), 1U);  // no partition table
}

TEST_F(STUtilsTest, ApplicableDevicesAreThoseThatTheToolTakes) {
  utils.filterDevices(false);
  tool.refusedDevices = {"B"};
  EXPECT_EQ(IdsOf(utils.applicableDevices()), Ids{"A"});
}

}  // namespace
