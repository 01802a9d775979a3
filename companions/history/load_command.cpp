#include "companions/history/load_command.h"

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <tuple>
#include <utility>
#include <vector>

#include "companions/history/commands.h"
#include "companions/history/log_source.h"
#include "companions/history/postgresql/load_runs.h"
#include "os/descriptor_writer.h"
#include "system/outside_text.h"

namespace tarvex::history {
namespace {

constexpr char kLibrary[] = "libhistory_postgresql.so";
constexpr int kErrors = 2;

using Tell = std::function<void(const std::string&)>;

// The runs of the logs, the oldest first, so that what stops a load halfway leaves no gap.
class LoggedRuns : public RunSource {
 public:
  LoggedRuns(const std::vector<std::string>& folders, const Tell& tell) : tell_(tell) {
    std::vector<PassedOver> passedOver;
    for (LogPlace& log : LogsIn(folders, passedOver)) {
      std::string id = RunIdOf(log.path);
      logs_.emplace_back(std::move(id), std::move(log));
    }
    std::sort(logs_.begin(), logs_.end(), [](const auto& one, const auto& other) {
      return std::tie(one.first, one.second.path) < std::tie(other.first, other.second.path);
    });
    for (const PassedOver& one : passedOver) tell_(one.file + ": " + one.why);
  }

  std::optional<RunToLoad> Next() override {
    while (next_ < logs_.size()) {
      const LogPlace& log = logs_[next_++].second;
      ReadLog read = ReadLogFile(log.path);
      if (!read.run) {
        tell_(log.path + ": " + read.why);
        continue;
      }
      for (const std::string& fault : read.run->faults) tell_(log.path + ": " + fault);
      return RunToLoad{std::move(*read.run), log.bytes};
    }
    return std::nullopt;
  }

  std::size_t Count() const { return logs_.size(); }

 private:
  const Tell& tell_;
  std::vector<std::pair<std::string, LogPlace>> logs_;
  std::size_t next_ = 0;
};

// Stays once it is loaded. Null where it cannot be, with the reason told.
LoadRuns LibraryIn(const char* name, const Tell& tell) {
  void* const library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
  void* const entry = library != nullptr ? dlsym(library, kLoadRuns) : nullptr;
  if (entry == nullptr) {
    const char* const reason = dlerror();
    tell("no database can be reached from here: " + std::string(reason != nullptr ? reason : name) +
         "; install libpq5");
  }
  return reinterpret_cast<LoadRuns>(entry);
}

std::size_t Done(const LoadCounts& counts) {
  return counts.added + counts.updated + counts.known + counts.refused;
}

std::string Summary(const LoadCounts& counts) {
  std::string text = std::to_string(counts.added) + " runs loaded, " +
                     std::to_string(counts.updated) + " brought up to date, " +
                     std::to_string(counts.known) + " already there";
  if (counts.refused > 0) text += ", " + std::to_string(counts.refused) + " refused";
  return text;
}

// One line that is drawn over, for who looks at it.
class ProgressLine {
 public:
  void Draw(const LoadCounts& counts, std::size_t all) {
    if (isatty(kErrors) == 0) return;
    const std::string line =
        '\r' + std::to_string(Done(counts)) + " of " + std::to_string(all) + " logs";
    WriteAll(kErrors, line.data(), line.size());
    isDrawn_ = true;
  }
  // What is written next begins a line.
  void End() {
    if (std::exchange(isDrawn_, false)) WriteAll(kErrors, "\n", 1);
  }

 private:
  bool isDrawn_ = false;
};

}  // namespace

int LoadIntoDatabase(const Options& options, const Tell& tell) {
  const LoadRuns load = LibraryIn(kLibrary, tell);
  if (load == nullptr) return kNotThere;
  ProgressLine line;
  const Tell tellBelow = [&line, &tell](const std::string& text) {
    line.End();
    tell(WithoutSteering(text));
  };
  LoggedRuns runs(options.logs, tellBelow);
  LoadRequest request{*options.database, &runs, tellBelow};
  request.progress = [&line, &runs](const LoadCounts& counts) { line.Draw(counts, runs.Count()); };
  const bool isDone = load(request);
  tellBelow(Summary(request.counts));
  return isDone ? 0 : kNotThere;
}

}  // namespace tarvex::history
