#include "service/modules/storage/write_compare.h"

#include <algorithm>
#include <memory>
#include <string>

#include "service/modules/storage/disk.h"
#include "service/modules/storage/drive/drive_lock.h"
#include "service/modules/storage/surface_write.h"
#include "service/modules/storage/unnamed_data.h"
#include "service/modules/storage/words.h"
#include "service/modules/storage/write_words.h"

namespace orvan::storage {
namespace {

using sdk::Verdict;

constexpr std::uint64_t kMostPasses = 16;

constexpr auto kNumbers = sdk::NumbersOf<WriteValues>(
    sdk::Switch("destructive", "DESTRUCTIVE", "|ALL_DATA_ON_THE_DISK_MAY_BE_LOST",
                &WriteValues::destructive),
    sdk::Switch("overwrite", "OVERWRITE", "|DATA_THAT_NO_SIGNATURE_NAMES_MAY_BE_LOST,_TOO",
                &WriteValues::overwrite),
    kBlockKib, kSeconds, kFirstLba, kLastLba,
    sdk::Number{"passes", "PASSES", "|EACH_SECOND_ONE_WRITES_THE_BITS_THE_OTHER_WAY_ROUND", 2,
                kMostPasses, &WriteValues::passes},
    sdk::Number{"seed", "SEED", "|NUMBER_OF_THE_RUN_IN_THE_PATTERN,_0:_ANOTHER_ONE_EACH_TIME", 0,
                kGreatestLba, &WriteValues::seed});

sdk::BlockWriterOptions OptionsFor(const Disk& disk, const WriteValues& values,
                                   std::chrono::seconds limit) {
  sdk::BlockWriterOptions options;
  options.device = disk.Facts().devicePath;
  options.expectedDevice = disk.Facts().deviceNumber;
  options.diskSequence = disk.Facts().diskSequence;
  options.largestTransferBytes =
      std::max(static_cast<std::uint32_t>(values.blockKib * 1024), kLookBytes);
  options.timeLimit = limit;
  options.onlyWithoutSignature = true;
  options.stopEndsTransfers = true;
  return options;
}

WriteHooks HooksOf(sdk::TestContext& context, const ReadEnvironment& environment,
                   const std::string& opening) {
  WriteHooks hooks;
  hooks.now = [machine = environment.machine] { return machine->Now(); };
  hooks.progress = [&context, opening](int percent) {
    context.Report(percent, percent == 0 ? opening : std::string());
  };
  return hooks;
}

void Measure(sdk::TestContext& context, const WritePlan& plan, const WriteResult& result) {
  const auto seconds = [](WriteResult::Duration time) {
    return std::chrono::duration<double>(time).count();
  };
  const auto number = [](std::uint64_t value) { return static_cast<double>(value); };
  const sdk::Limit none{sdk::Limit::Kind::kEqual, 0};
  context.Measure({"first-lba", number(plan.firstLba), ""});
  context.Measure({"last-lba", number(plan.lastLba), ""});
  context.Measure({"bytes-written", number(result.bytesWritten), "B"});
  context.Measure({"bytes-compared", number(result.bytesCompared), "B"});
  if (result.writing.count() > 0) {
    context.Measure({"write-rate", number(result.bytesWritten) / seconds(result.writing), "B/s"});
  }
  if (result.reading.count() > 0) {
    context.Measure({"read-rate", number(result.bytesCompared) / seconds(result.reading), "B/s"});
  }
  context.Measure({"slowest-write", seconds(result.slowestWrite), "s"});
  context.Measure({"slowest-read", seconds(result.slowestRead), "s"});
  context.Measure({"wrong-sectors", number(result.wrong.Total()), "", {none}});
  context.Measure({"unwritable-sectors", number(result.unwritable.Total()), "", {none}});
  context.Measure({"unreadable-sectors", number(result.unreadable.Total()), "", {none}});
  result.wrong.Places().Measure(context, "wrong-ranges");
  result.unwritable.Places().Measure(context, "unwritable-ranges");
  result.unreadable.Places().Measure(context, "unreadable-ranges");
}

WritePlan PlanOf(const WriteValues& values, const SurfacePlan& range, sdk::Machine& machine) {
  WritePlan plan;
  plan.run = values.seed != 0 ? values.seed : machine.Chance() % kGreatestLba + 1;
  plan.firstLba = range.firstLba;
  plan.lastLba = range.lastLba;
  plan.sectorsPerBlock = range.sectorsPerBlock;
  plan.passes = static_cast<std::uint32_t>(values.passes);
  plan.timeCap = range.timeCap;
  return plan;
}

// On a disk that is held and has no signature.
Verdict RunOn(sdk::TestContext& context, sdk::BlockWriter& writer,
              const ReadEnvironment& environment, const WriteValues& values) {
  const sdk::BlockGeometry& geometry = writer.Geometry();
  if (geometry.sizeBytes < geometry.logicalSectorBytes) {
    return Verdict::NotApplicable(words::kNoCapacity);
  }
  SurfacePlan range;
  if (const char* wrong = FitRange(values, geometry, range)) return sdk::InvalidParameter(wrong);
  if (values.overwrite == 0) {
    const DataLook look = LookForData(writer, context.StopToken());
    if (auto refusal = words::LookVerdict(look, environment.timeLimit)) return *refusal;
  }
  const WritePlan plan = PlanOf(values, range, *environment.machine);
  const WriteResult result = WriteSurface(writer, plan, context.StopToken(),
                                          HooksOf(context, environment, words::WritingKey(plan)));
  Measure(context, plan, result);
  const std::string left = words::LeftBehindText(result, plan);
  if (!left.empty()) context.Log(sdk::LogLevel::kInfo, left);
  return words::WriteVerdict(result, plan, environment.timeLimit);
}

// Source: Linux, Documentation/ABI/stable/sysfs-block, queue/zoned.
bool IsWrittenInOrderOnly(const sdk::MachineFiles& files, const DiskFacts& facts) {
  return files.ReadText(facts.folder + "/queue/zoned") == "host-managed";
}

Verdict Run(sdk::TestContext& context, const ReadEnvironment& environment,
            const WriteValues& values) {
  const auto* disk = dynamic_cast<const Disk*>(context.TestedDevice());
  if (disk == nullptr) return Verdict::NotApplicable(words::kNoDisk);
  if (values.destructive == 0) return Verdict::NotApplicable(words::kNotAskedToWrite);
  if (auto refusal =
          words::ContentRefusal(disk->Partitions(ContentLook::kThis, context.StopToken()))) {
    return *refusal;
  }
  if (HasPassword(disk->Facts()) && environment.hung != nullptr &&
      IsLocked({environment.machine, environment.hung}, disk->Facts(), context.StopToken())) {
    return Verdict::Invalid(words::kLocked);
  }
  if (IsWrittenInOrderOnly(environment.machine->Files(), disk->Facts())) {
    return Verdict::NotApplicable(words::kWrittenInOrderOnly);
  }
  const sdk::OpenedWriter opened = environment.machine->OpenWriter(
      OptionsFor(*disk, values, environment.timeLimit), context.StopToken());
  if (!opened.writer) return words::WriterVerdict(opened, environment.timeLimit);
  return RunOn(context, *opened.writer, environment, values);
}

}  // namespace

sdk::TestWork WriteCompare(const ReadEnvironment& environment, const WriteValues& defaults) {
  return sdk::WorkOf(kNumbers, defaults,
                     [environment](sdk::TestContext& context, const WriteValues& values) {
                       return Run(context, environment, values);
                     });
}

}  // namespace orvan::storage
