#include "service/modules/storage/read_run.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "service/modules/storage/disk.h"
#include "service/modules/storage/drive/drive_lock.h"
#include "service/modules/storage/surface_words.h"
#include "service/modules/storage/words.h"

namespace orvan::storage {
namespace {

using sdk::Verdict;

std::uint64_t BlockBytes(const RangeValues& values) {
  return values.blockKib * 1024;
}

sdk::BlockReaderOptions OptionsFor(const Disk& disk, const RangeValues& values,
                                   const ReadStyle::Pace& pace, std::chrono::seconds limit) {
  sdk::BlockReaderOptions options;
  options.device = disk.Facts().devicePath;
  options.expectedDevice = disk.Facts().deviceNumber;
  options.diskSequence = disk.Facts().diskSequence;
  options.largestReadBytes = static_cast<std::uint32_t>(BlockBytes(values));
  options.depth = static_cast<std::uint32_t>(
      std::clamp<std::uint64_t>(kMostBytesInFlight / BlockBytes(values), 1, pace.mostInFlight));
  options.queued = pace.queued;
  options.timeLimit = limit;
  return options;
}

SurfaceHooks HooksOf(sdk::TestContext& context, const ReadEnvironment& environment,
                     ReadStyle& style) {
  SurfaceHooks hooks;
  hooks.now = [machine = environment.machine] { return machine->Now(); };
  // A message would stand in the place of its percent, so each is sent with the last one.
  auto last = std::make_shared<int>(0);
  hooks.progress = [&context, last](int percent) {
    *last = percent;
    context.Report(percent);
  };
  hooks.firstBadSector = [&context, last](std::uint64_t lba) {
    context.Report(*last, words::FirstBadSectorKey(lba));
  };
  hooks.answer = [&style](const BlockAnswer& answer) { style.OnAnswer(answer); };
  return hooks;
}

double Seconds(std::chrono::nanoseconds time) {
  return std::chrono::duration<double>(time).count();
}

void Measure(sdk::TestContext& context, const SurfacePlan& plan, const SurfaceResult& result) {
  const sdk::Limit none{sdk::Limit::Kind::kEqual, 0};
  context.Measure({"first-lba", static_cast<double>(plan.firstLba), ""});
  context.Measure({"last-lba", static_cast<double>(plan.lastLba), ""});
  const auto bytes = static_cast<double>(result.bytesRead);
  context.Measure({"bytes-read", bytes, "B"});
  if (result.took.count() > 0) {
    context.Measure({"read-rate", bytes / Seconds(result.took), "B/s"});
  }
  context.Measure({"slowest-answer", Seconds(result.slowestAnswer), "s"});
  context.Measure({"slow-answers", static_cast<double>(result.slow.count), "", {none}});
  context.Measure({"unreadable-sectors", static_cast<double>(result.bad.Total()), "", {none}});
  context.Measure({"unreadable-blocks", static_cast<double>(result.unnarrowedBlocks), "", {none}});
  result.slow.places.Measure(context, "slow-answers-at");
  result.bad.Places().Measure(context, "unreadable-ranges");
  result.unnarrowedPlaces.Measure(context, "unreadable-block-ranges");
}

bool IsLocked(const ReadEnvironment& environment, const Disk& disk, std::stop_token stop) {
  return environment.hung != nullptr &&
         IsLocked({environment.machine, environment.hung}, disk.Facts(), std::move(stop));
}

// A drive that is locked refuses to read what may be sound.
void ForgiveIfLocked(const ReadEnvironment& environment, const Disk& disk, std::stop_token stop,
                     const SurfaceResult& result, Verdict& verdict) {
  const bool isUnreadable = !result.bad.IsEmpty() || result.unnarrowedBlocks > 0;
  const bool isThere = result.end != SurfaceEnd::kVanished && result.end != SurfaceEnd::kHung;
  if (verdict.status != kTestFailed || !isUnreadable || !isThere) return;
  if (!MayBeLocked(disk.Facts()) || !IsLocked(environment, disk, std::move(stop))) return;
  verdict.status = kTestInvalid;
  verdict.message = std::string(words::kLocked) + "._" + verdict.message;
}

}  // namespace

const char* FitRange(const RangeValues& values, const sdk::BlockGeometry& geometry,
                     SurfacePlan& plan) {
  const std::uint64_t blockBytes = BlockBytes(values);
  if (blockBytes % geometry.logicalSectorBytes != 0) return kBlockKib.name;
  const std::uint64_t sectors = geometry.sizeBytes / geometry.logicalSectorBytes;
  plan.firstLba = values.firstLba;
  plan.lastLba = values.lastLba == 0 ? sectors - 1 : values.lastLba;
  if (plan.firstLba >= sectors) return kFirstLba.name;
  if (plan.lastLba >= sectors || plan.lastLba < plan.firstLba) return kLastLba.name;
  plan.sectorsPerBlock = static_cast<std::uint32_t>(blockBytes / geometry.logicalSectorBytes);
  plan.timeCap = std::chrono::seconds(values.seconds);
  return nullptr;
}

Verdict RunReadTest(sdk::TestContext& context, const ReadEnvironment& environment,
                    const ReadValues& values, ReadStyle& style) {
  const auto* disk = dynamic_cast<const Disk*>(context.TestedDevice());
  if (disk == nullptr) return Verdict::NotApplicable(words::kNoDisk);
  if (HasPassword(disk->Facts()) && IsLocked(environment, *disk, context.StopToken())) {
    return Verdict::Invalid(words::kLocked);
  }
  const sdk::OpenedReader opened = environment.machine->OpenReader(
      OptionsFor(*disk, values, style.PaceOfReads(), environment.timeLimit), context.StopToken());
  if (!opened.reader) return words::OpenVerdict(opened, environment.timeLimit);
  const sdk::BlockGeometry& geometry = opened.reader->Geometry();
  if (geometry.sizeBytes < geometry.logicalSectorBytes) {
    return Verdict::NotApplicable(words::kNoCapacity);
  }
  SurfacePlan plan;
  if (const char* wrong = FitRange(values, geometry, plan)) return sdk::InvalidParameter(wrong);
  plan.slowAfter = std::chrono::milliseconds(values.slowMs);
  plan.order = style.Order(CountBlocks(plan.firstLba, plan.lastLba, plan.sectorsPerBlock));
  if (const std::string opening = style.Opening(); !opening.empty()) context.Report(0, opening);
  const SurfaceResult result =
      ReadSurface(*opened.reader, plan, context.StopToken(), HooksOf(context, environment, style));
  Measure(context, plan, result);
  Verdict verdict =
      words::SurfaceVerdict(result, plan.order.count, environment.timeLimit, style.PromisesAll());
  style.Conclude(context, result, verdict);
  ForgiveIfLocked(environment, *disk, context.StopToken(), result, verdict);
  return verdict;
}

}  // namespace orvan::storage
