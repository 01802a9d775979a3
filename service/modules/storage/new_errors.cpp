#include "service/modules/storage/new_errors.h"

#include <algorithm>
#include <utility>

#include "service/modules/storage/drive_memory.h"
#include "service/modules/storage/health/logged_errors.h"
#include "service/modules/storage/said.h"
#include "service/modules/storage/words.h"

namespace orvan::storage {
namespace {

using sdk::Verdict;

std::string Counted(const NewErrors& found, bool isFirst) {
  std::string text = found.isAtLeast ? "at least " : "";
  text += std::to_string(found.count);
  if (!isFirst) text += " new";
  return text + (found.count == 1 ? " error " : " errors ");
}

// The newest of the first `entries` that is the drive's fault; null: there is none.
const LoggedError* NewestFault(const ErrorSource& source, std::size_t entries) {
  const auto end = source.entries.begin() + static_cast<std::ptrdiff_t>(entries);
  const auto found = std::find_if(source.entries.begin(), end,
                                  [](const LoggedError& error) { return !error.isHarmless; });
  return found == end ? nullptr : &*found;
}

// One run on one drive.
class Comparison {
 public:
  Comparison(sdk::TestContext& context, DriveMemory& memory)
      : context_(context), memory_(memory), kept_(memory.Read()) {}

  Verdict Judge(const LoggedErrors& errors);

 private:
  void Judge(const ErrorSource& source);
  void Say(const ErrorSource& source, const NewErrors& found, bool isFirst);
  std::optional<std::uint64_t> Before(const std::string& name) const;

  sdk::TestContext& context_;
  DriveMemory& memory_;
  DriveMemory::Kept kept_;
  DriveMemory::Numbers now_;
  Said said_;
};

std::optional<std::uint64_t> Comparison::Before(const std::string& name) const {
  if (!kept_.numbers) return {};
  const auto found = kept_.numbers->find(name);
  return found == kept_.numbers->end() ? std::nullopt : std::optional(found->second);
}

void Comparison::Say(const ErrorSource& source, const NewErrors& found, bool isFirst) {
  const std::string what = Counted(found, isFirst) + source.name;
  const LoggedError* newest = NewestFault(source, found.entries);
  if (newest != nullptr) {
    said_.Warning(what + (isFirst ? ", which no earlier run has seen" : "") +
                  ", the newest: " + newest->text);
  } else if (source.entries.empty()) {
    said_.Warning(what + (isFirst ? ", which no earlier run has seen" : ""));
  } else if (found.entries > 0) {
    std::string text =
        what + ": none is a fault of the drive, the newest: " + source.entries.front().text;
    const std::uint64_t gone = found.count - std::min<std::uint64_t>(found.count, found.entries);
    if (gone > 0) text += "; of " + std::to_string(gone) + " nothing is kept any more";
    said_.Note(text);
  }
}

void Comparison::Judge(const ErrorSource& source) {
  const auto count = Before(source.key + "-count");
  const auto newest = Before(source.key + "-newest");
  const bool isFirst = !count || !newest;
  const NewErrors found = isFirst ? NewOf(source) : NewSince(source, *count, *newest);
  now_[source.key + "-count"] = source.count;
  now_[source.key + "-newest"] = source.entries.empty() ? 0 : source.entries.front().id;
  context_.Measure({"errors-" + source.key, static_cast<double>(source.count), ""});
  context_.Measure({"new-errors-" + source.key, static_cast<double>(found.count), ""});
  for (std::size_t i = 0; i < found.entries; ++i) {
    const LoggedError& error = source.entries[i];
    context_.Log(error.isHarmless ? sdk::LogLevel::kInfo : sdk::LogLevel::kWarning,
                 "an error " + source.name + ": " + error.text);
  }
  if (found.wasCleared) {
    said_.Note("the errors " + source.name +
               " are fewer than at the last run or others, so all of them count as new");
  }
  if (found.count > 0) Say(source, found, isFirst);
}

Verdict Comparison::Judge(const LoggedErrors& errors) {
  for (const ErrorSource& source : errors.sources) Judge(source);
  for (const DriveTrouble& trouble : errors.troubles) {
    context_.Log(sdk::LogLevel::kWarning, trouble.text);
    said_.NotTold(trouble);
  }
  const std::string unkept = memory_.Keep(now_);
  for (const std::string& trouble : {kept_.trouble, unkept == kept_.trouble ? "" : unkept}) {
    if (!trouble.empty()) said_.Note(trouble);
  }
  return said_.Verdict("no error since the last run");
}

Verdict RunNewErrors(sdk::TestContext& context, const DriveAccess& access) {
  const auto* disk = dynamic_cast<const Disk*>(context.TestedDevice());
  if (disk == nullptr) return Verdict::NotApplicable(words::kNoDisk);
  DriveLink link(access, disk->Facts(), context.StopToken());
  const LoggedErrors errors = ReadLoggedErrors(link);
  if (errors.sources.empty()) {
    return words::NoAnswerVerdict(errors.trouble.kind, errors.trouble.text);
  }
  DriveMemory memory(access.machine->State(), *disk, "errors");
  return Comparison(context, memory).Judge(errors);
}

}  // namespace

sdk::TestWork NewErrorsTest(const DriveAccess& access) {
  return {{}, [access](sdk::TestContext& context) {
            context.Report(0);
            Verdict verdict = RunNewErrors(context, access);
            if (verdict.status != kTestCanceled) context.Report(100);
            return verdict;
          }};
}

}  // namespace orvan::storage
