#include "service/modules/storage/read_run.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <random>
#include <string>

#include "service/modules/storage/disk.h"
#include "service/modules/storage/surface_read.h"
#include "service/modules/storage/words.h"

namespace orvan::storage {
namespace {

using sdk::ParameterSpec;
using sdk::Verdict;

std::optional<std::uint64_t> ParseNumber(const std::string& text) {
  std::uint64_t value = 0;
  const char* end = text.data() + text.size();
  const auto [at, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc() || at != end) return {};
  return value;
}

// The name of the first parameter whose value does not fit; none when all do.
std::optional<std::string> ReadValues(const sdk::ParameterValues& given,
                                      const std::vector<ParameterSpec>& specs,
                                      ReadParameters& parameters) {
  std::uint64_t blockKib = 0;
  std::uint64_t seconds = 0;
  const std::map<std::string, std::uint64_t*> fields = {
      {"blocks", &parameters.blocks},
      {"block_kib", &blockKib},
      {"seconds", &seconds},
      {"first_lba", &parameters.firstLba},
      {"last_lba", &parameters.lastLba},
      {"seed", &parameters.seed},
  };
  for (const ParameterSpec& spec : specs) {
    const auto text = given.find(spec.name);
    const auto value = ParseNumber(text == given.end() ? spec.initialValue : text->second);
    if (!value || *value < spec.least || *value > spec.greatest) return spec.name;
    *fields.at(spec.name) = *value;
  }
  parameters.blockBytes = blockKib * 1024;
  parameters.seconds = std::chrono::seconds(seconds);
  return {};
}

std::uint64_t NewSeed() {
  std::random_device device;
  return (std::uint64_t{device()} & 0x7FFFFFFF) + 1;
}

// Fills the plan's range from the parameters; the name of the one that does not fit the disk.
std::optional<std::string> FitRange(const ReadParameters& parameters,
                                    const machine::BlockGeometry& geometry, SurfacePlan& plan) {
  if (parameters.blockBytes == 0 || parameters.blockBytes % geometry.logicalSectorBytes != 0) {
    return "block_kib";
  }
  const std::uint64_t sectors = geometry.sizeBytes / geometry.logicalSectorBytes;
  plan.firstLba = parameters.firstLba;
  plan.lastLba = parameters.lastLba == 0 ? sectors - 1 : parameters.lastLba;
  if (plan.firstLba >= sectors) return "first_lba";
  if (plan.lastLba >= sectors || plan.lastLba < plan.firstLba) return "last_lba";
  plan.sectorsPerBlock =
      static_cast<std::uint32_t>(parameters.blockBytes / geometry.logicalSectorBytes);
  return {};
}

SurfaceHooks HooksOf(sdk::TestContext& context) {
  SurfaceHooks hooks;
  // A message would stand in the place of its percent, so each is sent with the last one.
  auto last = std::make_shared<int>(0);
  hooks.progress = [&context, last](int percent) {
    *last = percent;
    context.Report(percent);
  };
  hooks.firstBadSector = [&context, last](std::uint64_t lba) {
    context.Report(*last, words::FirstBadSectorKey(lba));
  };
  return hooks;
}

double Seconds(std::chrono::steady_clock::duration time) {
  return std::chrono::duration<double>(time).count();
}

void Measure(sdk::TestContext& context, const SurfaceResult& result) {
  const sdk::Limit none{sdk::Limit::Kind::kEqual, 0};
  const auto bytes = static_cast<double>(result.bytesRead);
  context.Measure({"bytes-read", bytes, "B"});
  if (result.took.count() > 0) {
    context.Measure({"read-rate", bytes / Seconds(result.took), "B/s"});
  }
  context.Measure({"slowest-answer", Seconds(result.slowestAnswer), "s"});
  context.Measure({"unreadable-sectors", static_cast<double>(result.bad.Total()), "", {none}});
  context.Measure({"unreadable-blocks", static_cast<double>(result.unnarrowedBlocks), "", {none}});
}

}  // namespace

Verdict RunReadTest(sdk::TestContext& context, const ReadEnvironment& environment,
                    const ReadStyle& style, const std::vector<ParameterSpec>& specs) {
  const auto* disk = dynamic_cast<const Disk*>(context.TestedDevice());
  if (disk == nullptr) return Verdict::NotApplicable(words::kNoDisk);
  ReadParameters parameters;
  if (const auto wrong = ReadValues(context.Parameters(), specs, parameters)) {
    return Verdict::Invalid(words::InvalidParameterKey(*wrong));
  }
  if (parameters.seed == 0) parameters.seed = NewSeed();

  machine::BlockReaderOptions options;
  options.device = disk->Facts().devicePath;
  options.expectedDevice = disk->Facts().deviceNumber;
  options.largestReadBytes = static_cast<std::uint32_t>(parameters.blockBytes);
  options.depth = static_cast<std::uint32_t>(
      std::clamp<std::uint64_t>(kMostBytesInFlight / parameters.blockBytes, 1, style.mostInFlight));
  options.queued = style.queued;
  options.timeLimit = environment.timeLimit;
  const machine::OpenedReader opened = environment.openReader(options, context.StopToken());
  if (!opened.reader) return words::OpenVerdict(opened, environment.timeLimit);
  const machine::BlockGeometry& geometry = opened.reader->Geometry();
  if (geometry.sizeBytes < geometry.logicalSectorBytes) {
    return Verdict::NotApplicable(words::kNoCapacity);
  }

  SurfacePlan plan;
  if (const auto wrong = FitRange(parameters, geometry, plan)) {
    return Verdict::Invalid(words::InvalidParameterKey(*wrong));
  }
  plan.order =
      style.order(CountBlocks(plan.firstLba, plan.lastLba, plan.sectorsPerBlock), parameters);
  plan.timeCap = parameters.seconds;
  if (style.opening) context.Report(0, style.opening(parameters));
  const SurfaceResult result =
      ReadSurface(*opened.reader, plan, context.StopToken(), HooksOf(context));
  Measure(context, result);
  Verdict verdict =
      words::SurfaceVerdict(result, plan.order.count, environment.timeLimit, style.promisesAll);
  if (style.opening) verdict.found += ", seed " + std::to_string(parameters.seed);
  return verdict;
}

}  // namespace orvan::storage
