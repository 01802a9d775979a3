#include "companions/scheduled/run_log.h"

#include <algorithm>
#include <vector>

#include "companions/history/log_source.h"

namespace tarvex::scheduled {

namespace {

std::vector<history::LogPlace> Logs(const std::string& folder) {
  std::vector<history::PassedOver> passedOver;
  return history::LogsIn(folder, passedOver);
}

}  // namespace

std::set<std::string> RunsIn(const std::string& folder) {
  std::set<std::string> runs;
  for (const history::LogPlace& log : Logs(folder)) runs.insert(history::RunIdOf(log.path));
  return runs;
}

history::ReadLog LogOfProcess(const std::string& folder, int process,
                              const std::set<std::string>& before) {
  const std::string ending = '-' + std::to_string(process);
  const std::vector<history::LogPlace> logs = Logs(folder);
  const auto found = std::find_if(logs.rbegin(), logs.rend(), [&](const history::LogPlace& log) {
    const std::string run = history::RunIdOf(log.path);
    return run.ends_with(ending) && !before.contains(run);
  });
  if (found != logs.rend()) {
    history::ReadLog read = history::ReadLogFile(found->path);
    if (!read.run) read.why = "its log " + found->path + " " + read.why;
    return read;
  }
  history::ReadLog none;
  none.why = "it left no log in " + folder;
  return none;
}

}  // namespace tarvex::scheduled
