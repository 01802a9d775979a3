#include "service/modules/storage/smart_tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>

#include "service/modules/storage/smart_test_support.h"
#include "service/modules/storage/storage_module.h"

namespace orvan::storage {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Names = std::vector<std::string>;

std::unique_ptr<Disk> DiskOf(const std::string& id, DiskFacts facts) {
  return std::make_unique<Disk>(id, std::move(facts), true);
}

// The drive of a bench as device 0, and what the tool says of it: id, status, type, attributes,
// information.
Names FinishOn(HealthBench& bench, RememberingTool& context) {
  const auto disk = DiskOf("0", bench.facts);
  context.devices = {disk.get()};
  MakeSmartTool({&bench.machine, &bench.hung}).run(context);
  EXPECT_EQ(context.finishes.size(), 1U);
  return context.finishes.empty() ? Names(5) : context.finishes.front();
}

Names FinishOn(HealthBench& bench) {
  RememberingTool context;
  return FinishOn(bench, context);
}

// Of an AtaBench.
constexpr char kAtaAttributes[] =
    R"([{"id":"5","name":"Reallocated sectors","threshold":"36","value":"100","worst":"99",)"
    R"("data":"7"},)"
    R"({"id":"194","name":"Temperature","threshold":"0","value":"36","worst":"45",)"
    R"_("data":"36 (Min/Max 20/41)"}])_";
constexpr char kAtaInformation[] =
    R"([{"name":"Serial number","value":"SN"},{"name":"Transport","value":"SATA"},)"
    R"({"name":"Rotation","value":"7200 rpm"},{"name":"TRIM","value":"no"},)"
    R"({"name":"Security","value":"none"},{"name":"Self-tests","value":"yes"},)"
    R"({"name":"Error log","value":"yes"}])";

TEST(SmartToolTest, AnAtaDriveIsShown) {
  AtaBench bench;
  bench.facts.features = {{"ROTATION_RATE", "7200 rpm"}};  // which it tells itself
  RememberingTool context;
  EXPECT_THAT(FinishOn(bench, context),
              ElementsAre("0", "0", "ata", kAtaAttributes, kAtaInformation));
  EXPECT_THAT(context.events, ElementsAre("OnSmartToolInit", "OnDeviceInit 0", "OnProgress 100",
                                          "OnDeviceFinish", "OnSmartToolFinish"));
  EXPECT_THAT(context.log, IsEmpty());
  EXPECT_EQ(bench.Sent(), (Names{"EC", "B0/D0", "B0/D1"}));
}

TEST(SmartToolTest, AnNvmeDriveIsShown) {
  NvmeBench bench;
  bench.facts.features = {{"QUEUE_DEPTH", "1023"}};
  const Names finish = FinishOn(bench);
  EXPECT_EQ(finish[1], "0");
  EXPECT_EQ(finish[2], "nvme");
  EXPECT_THAT(finish[4], HasSubstr(R"({"name":"Queue depth","value":"1023"})"));
  EXPECT_THAT(finish[3], HasSubstr(R"({"id":"5","name":"Percentage used","data":"103 %"})"));
  EXPECT_THAT(finish[4], HasSubstr(R"({"name":"NVMe version","value":"1.3"})"));
  EXPECT_EQ(bench.Sent(), (Names{"NVMe 02/02", "NVMe 06/01"}));
}

TEST(SmartToolTest, AnNvmeDriveThatDoesNotSayWhatItIsIsShownAllTheSame) {
  for (const sdk::CommandAnswer& answer : {Completion(0x0002), Good(RawBytes(4096, 0))}) {
    NvmeBench bench;
    bench.Answer("NVMe 06/01", answer);
    RememberingTool context;
    const Names finish = FinishOn(bench, context);
    EXPECT_EQ(finish[1], "0");
    EXPECT_EQ(finish[4], R"([{"name":"Serial number","value":"SN"},)"
                         R"({"name":"Transport","value":"NVMe"}])");
    ASSERT_EQ(context.log.size(), 1U);
    EXPECT_TRUE(context.log[0].starts_with("device 0: Identify Controller: ")) << context.log[0];
  }
}

TEST(SmartToolTest, AScsiDriveIsShown) {
  ScsiBench bench;
  const Names finish = FinishOn(bench);
  EXPECT_EQ(finish[1], "0");
  EXPECT_EQ(finish[2], "scsi");
  EXPECT_THAT(finish[3], HasSubstr(R"({"id":"2","name":"Temperature","threshold":"60 C",)"
                                   R"("value":"-","worst":"-","data":"36 C"})"));
  EXPECT_THAT(finish[4], HasSubstr(R"({"name":"Made in","value":"week 34 of 2014"})"));
  EXPECT_EQ(bench.Sent(), (Names{"4D/00", "4D/2F", "4D/0D", "4D/0E", "4D/03"}));
}

// What the drive answers to its first command, what the operator is shown, and the log says.
struct End {
  sdk::CommandAnswer answer;
  const char* status;
  const char* reason;
};

TEST(SmartToolTest, EachEndHasItsStatusAndItsReason) {
  const End ends[] = {
      {OutcomeOf(Outcome::kRefused, EPERM), "3", "IDENTIFY DEVICE"},
      {OutcomeOf(Outcome::kRefused, EACCES), "3", "IDENTIFY DEVICE"},
      {OutcomeOf(Outcome::kRefused, ENOTTY), "1", "IDENTIFY DEVICE"},
      {OutcomeOf(Outcome::kGone), "1", "IDENTIFY DEVICE"},
      {OutcomeOf(Outcome::kTimedOut), "1", "IDENTIFY DEVICE"},
      {Good(RawBytes(512, 0)), "1", "IDENTIFY DEVICE"},
      {Good(BytesOf(HealthyIdentity().PutWord(82, 0).PutWord(85, 0))), "1", "has no SMART"},
      {Good(BytesOf(HealthyIdentity().PutWord(85, 0))), "1", "SMART is switched off"},
      {OutcomeOf(Outcome::kNotTried, ECANCELED), "8", "stopped"},
  };
  for (const End& end : ends) {
    AtaBench bench;
    bench.Answer("EC", end.answer);
    RememberingTool context;
    const Names finish = FinishOn(bench, context);
    const std::string where = end.reason + std::string(" ") + end.status;
    EXPECT_EQ(finish[1], end.status) << where;
    EXPECT_EQ(finish[2], "ata") << where;
    EXPECT_EQ(finish[3], "") << where;
    EXPECT_THAT(finish[4], HasSubstr("Transport")) << where;
    ASSERT_EQ(context.log.size(), 1U) << where;
    EXPECT_THAT(context.log[0], HasSubstr(end.reason));
    const bool isStopped = std::string(end.status) == "8";
    EXPECT_EQ(context.levels[0], isStopped ? sdk::LogLevel::kInfo : sdk::LogLevel::kWarning);
    EXPECT_TRUE(context.log[0].starts_with("device 0: no attributes were read: "));
  }
}

TEST(SmartToolTest, WhatIsLeftOutIsInTheLog) {
  AtaBench bench;
  bench.Answer("B0/D1", Good(RawBytes(512, 0)));
  RememberingTool context;
  EXPECT_EQ(FinishOn(bench, context)[1], "0");
  ASSERT_EQ(context.log.size(), 1U);
  EXPECT_TRUE(context.log[0].starts_with("device 0: SMART READ ATTRIBUTE THRESHOLDS: "));
}

TEST(SmartToolTest, AStopCancelsTheRestAndAsksNobody) {
  AtaBench bench;
  const auto one = DiskOf("0", bench.facts), other = DiskOf("1", FactsOf(Transport::kVirtio));
  RememberingTool context;
  context.devices = {one.get(), other.get()};
  const auto stops = [&context](const sdk::DriveCommand&) {
    context.stop.request_stop();
    return OutcomeOf(Outcome::kNotTried, ECANCELED);
  };
  bench.machine.commands.insert(bench.machine.commands.begin(), {{}, {}, 1, stops});
  MakeSmartTool({&bench.machine, &bench.hung}).run(context);
  EXPECT_EQ(bench.Sent().size(), 1U);
  ASSERT_EQ(context.finishes.size(), 2U);
  EXPECT_EQ(context.finishes[0][1], "8");
  EXPECT_EQ(context.finishes[1][1], "8");
  // With neither attributes nor information it would be shown as not possible.
  EXPECT_NE(context.finishes[1][4], "");
  EXPECT_EQ(context.events.back(), "OnSmartToolFinish");
}

TEST(SmartToolTest, ARunThatMayNotBeginIsCanceledInItsOwnWords) {
  AtaBench bench;
  const auto disk = DiskOf("0", bench.facts);
  RememberingTool context;
  context.devices = {disk.get()};
  MakeSmartTool({&bench.machine, &bench.hung}).reportCanceled(context);
  EXPECT_TRUE(bench.Sent().empty());
  ASSERT_EQ(context.finishes.size(), 1U);
  EXPECT_EQ(context.finishes[0][1], "8");
  EXPECT_EQ(context.finishes[0][2], "ata");
  EXPECT_THAT(context.events, ElementsAre("OnSmartToolInit", "OnDeviceInit 0", "OnProgress 100",
                                          "OnDeviceFinish", "OnSmartToolFinish"));
}

TEST(SmartToolTest, ProgressIsThatOfTheRun) {
  AtaBench bench;
  const auto one = DiskOf("0", bench.facts), other = DiskOf("A", bench.facts);
  RememberingTool context;
  context.devices = {one.get(), other.get()};
  MakeSmartTool({&bench.machine, &bench.hung}).run(context);
  EXPECT_THAT(context.events, ElementsAre("OnSmartToolInit", "OnDeviceInit 0", "OnProgress 50",
                                          "OnDeviceFinish", "OnDeviceInit A", "OnProgress 100",
                                          "OnDeviceFinish", "OnSmartToolFinish"));
}

TEST(SmartToolTest, ItIsNotForWhatAnswersNoCommands) {
  HealthBench bench(Transport::kSata);
  std::vector<std::unique_ptr<Disk>> disks;
  RememberingTool context;
  context.hasListener = false;
  for (const Transport transport :
       {Transport::kUnknown, Transport::kSata, Transport::kScsi, Transport::kSas, Transport::kUsb,
        Transport::kNvme, Transport::kVirtio, Transport::kMmc, Transport::kXen, Transport::kLoop}) {
    disks.push_back(DiskOf(TransportName(transport), FactsOf(transport)));
    context.candidates.push_back(disks.back().get());
  }
  const sdk::ToolRecord tool = MakeSmartTool({&bench.machine, &bench.hung});
  tool.run(context);
  EXPECT_THAT(context.withdrawn, ElementsAre("Unknown", "virtio", "MMC", "Xen", "Loop"));
  Names applicable;
  for (const auto& disk : disks) {
    if (tool.appliesTo(*disk)) applicable.push_back(disk->Id());
  }
  EXPECT_THAT(applicable, ElementsAre("SATA", "SCSI", "SAS", "USB", "NVMe"));
  EXPECT_TRUE(bench.Sent().empty());
  EXPECT_THAT(context.events, IsEmpty());
}

TEST(SmartToolTest, TheModuleOffersItByTheNameThatTheProgramKnows) {
  const StorageModule module{sdk::ModuleEnvironment{}};
  ASSERT_FALSE(module.Tools().empty());
  const sdk::ToolRecord& tool = module.Tools().back();
  EXPECT_EQ(tool.name, "smart_tool");
  EXPECT_EQ(tool.hint, "smart");
  EXPECT_EQ(tool.description, "SHOWS_|S|M|A|R|T_ATTRIBUTES");
  EXPECT_FALSE(tool.mayWrite);
}

}  // namespace
}  // namespace orvan::storage
