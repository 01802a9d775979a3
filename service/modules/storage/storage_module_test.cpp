#include "service/modules/storage/storage_module.h"

#include <gtest/gtest.h>

#include "service/modules/storage/read_test_support.h"
#include "service/modules/storage/scan_test_support.h"

namespace orvan::storage {
namespace {

using namespace std::chrono_literals;
using sdk::testing::FindTest;
using sdk::testing::RememberingContext;

TEST(StorageModule, TellsNameAndVersion) {
  const StorageModule module({});
  EXPECT_EQ(module.Name(), "Storage");
  EXPECT_EQ(module.Version().Major(), 5U);
  EXPECT_EQ(module.Version().Build(), 0U);
  EXPECT_EQ(module.Diagnostics().size(), 2U);
}

// A captured machine on which nothing else is to be had.
class CapturedMachine final : public sdk::ClosedMachine {
 public:
  const sdk::MachineFiles& Files() const override { return files_; }
  std::unique_ptr<sdk::FilesystemProbe> MakeProbe(std::chrono::milliseconds budget) override {
    EXPECT_EQ(budget, 5s);
    return std::make_unique<CountingProbe>();
  }
  std::chrono::steady_clock::time_point Now() const override { return {}; }

 private:
  sdk::testing::CapturedFiles files_{CaptureText("desktop")};
};

std::vector<std::unique_ptr<sdk::Device>> Found(const sdk::ModuleEnvironment& environment) {
  StorageModule module(environment);
  return sdk::testing::DevicesOf(module);
}

TEST(StorageModule, FindsTheDisksOfTheMachineThatItWasGiven) {
  CapturedMachine machine;
  sdk::ModuleEnvironment environment;
  environment.machine = &machine;
  EXPECT_EQ(Found(environment).size(), 4U);
  environment.settings = {{"storage/include_loop", "1"}};
  EXPECT_EQ(Found(environment).size(), 6U);  // two of three have a file
}

TEST(StorageModule, IsMadeWithoutAnyAccess) {
  sdk::ClosedMachine closed;
  sdk::ModuleEnvironment environment;
  environment.machine = &closed;
  StorageModule module(environment);
  EXPECT_EQ(module.Diagnostics().size(), 2U);
  EXPECT_EQ(module.Help().summary,
            "reads disks, asks drives about their health, and writes to an empty one when it is "
            "asked to.");
  EXPECT_THROW(sdk::testing::DevicesOf(module), std::logic_error);
  Disk disk = MakeDisk();
  RememberingContext context(&disk);
  EXPECT_THROW(FindTest(module.Diagnostics(), "Q", "f").run(context), std::logic_error);
}

TEST(StorageModule, TheTimeLimitComesFromTheSettings) {
  const auto limit = [](const char* value) {
    return TimeLimitOf({{"storage/timeout_seconds", value}}).count();
  };
  EXPECT_EQ(TimeLimitOf({}).count(), 30);
  EXPECT_EQ(limit("1"), 1);
  EXPECT_EQ(limit("600"), 600);
  for (const char* wrong : {"0", "601", "-1", "", "ten", "5s", "99999999999"}) {
    EXPECT_EQ(limit(wrong), 30) << wrong;
  }
}

}  // namespace
}  // namespace orvan::storage
