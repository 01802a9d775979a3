#include "system/execution_tracker.h"

#include <gtest/gtest.h>

#include <vector>

#include "boundary/hostlayer.h"
#include "boundary/hostlayer_cim.h"

namespace {

using Texts = std::vector<std::string>;

struct StoredRecord {
  Texts keys;
  Texts values;
  std::string className;
  std::wstring nameSpace;
};

// A record store that keeps what it was told.
class FakeCim : public HostCim {
 public:
  int WriteRecord(const Texts& keys, const Texts& values, const std::string& className,
                  const std::wstring& nameSpace) override {
    records.push_back({keys, values, className, nameSpace});
    return 7;
  }
  int RemoveNamespace(const std::string& root, const std::string& parent,
                      const std::string& name) override {
    removed.push_back(root + "|" + parent + "|" + name);
    return removeResult;
  }

  std::vector<StoredRecord> records;
  Texts removed;
  int removeResult = 0;
};

FakeCim& Store() {
  static FakeCim store;
  return store;
}

class ExecutionTrackerTest : public testing::Test {
 protected:
  void SetUp() override { Store() = FakeCim(); }
  static SystemExecutionRecord Record(std::int32_t status) {
    return {"storage", "udi-1", "Disk 1", "unread", status, "Read Test", "2024-01-02", "00:00:03"};
  }
  static std::string WordOf(std::int32_t status) {
    Store() = FakeCim();
    WindowsSystemExecutionTracker().Track(Record(status));
    return Store().records.size() == 1 ? Store().records[0].values[4] : "(no record)";
  }
};

TEST_F(ExecutionTrackerTest, WritesSevenPropertiesUnderTheModulesClass) {
  WindowsSystemExecutionTracker().Track(Record(0));
  ASSERT_EQ(Store().records.size(), 1U);
  const StoredRecord& record = Store().records[0];
  EXPECT_EQ(record.keys, (Texts{"ModuleName", "DeviceUdi", "DeviceDisplayName", "TestName",
                                "TestStatus", "TestStartTimestamp", "TestDuration"}));
  EXPECT_EQ(record.values,
            (Texts{"storage", "udi-1", "Disk 1", "Read Test", "PASSED", "2024-01-02", "00:00:03"}));
  EXPECT_EQ(record.className, "storage");
  EXPECT_EQ(record.nameSpace, L"ROOT\\Tarvex\\Tarvex_Diagnostics");
}

TEST_F(ExecutionTrackerTest, NotApplicableTestLeavesNoTrace) {
  WindowsSystemExecutionTracker().Track(Record(3));
  EXPECT_TRUE(Store().records.empty());
}

TEST_F(ExecutionTrackerTest, EachStatusHasItsWord) {
  EXPECT_EQ(WordOf(0), "PASSED");
  EXPECT_EQ(WordOf(1), "FAILED");
  EXPECT_EQ(WordOf(2), "UNRECOGNIZED");
  EXPECT_EQ(WordOf(4), "CANCELED");
  EXPECT_EQ(WordOf(5), "WARNING");
  EXPECT_EQ(WordOf(6), "INVALID");
}

TEST_F(ExecutionTrackerTest, UnknownStatusWritesARecordWithAnEmptyWord) {
  EXPECT_EQ(WordOf(7), "");
  EXPECT_EQ(WordOf(-1), "");
}

TEST_F(ExecutionTrackerTest, TwoRecordsOfAModuleAreTwoInstancesOfItsClass) {
  WindowsSystemExecutionTracker tracker;
  tracker.Track(Record(0));
  tracker.Track(Record(1));
  ASSERT_EQ(Store().records.size(), 2U);
  EXPECT_EQ(Store().records[0].className, Store().records[1].className);
}

TEST_F(ExecutionTrackerTest, RemoveErasesTheNamespaceAndPassesTheAnswerOn) {
  EXPECT_EQ(WindowsSystemExecutionTracker().Remove(), 0);
  EXPECT_EQ(Store().removed, (Texts{"ROOT|Tarvex|Tarvex_Diagnostics"}));
  Store().removeResult = 5;
  EXPECT_EQ(WindowsSystemExecutionTracker().Remove(), 5);
}

}  // namespace

HostCim* get_cim() {
  return &Store();
}
