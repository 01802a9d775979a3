#include "companions/scheduled/run_log.h"

#include <algorithm>
#include <vector>

#include "companions/history/log_source.h"

namespace tarvex::scheduled {

history::ReadLog LogOfProcess(const std::string& folder, int process, std::int64_t sinceNs) {
  const std::string ending = '-' + std::to_string(process);
  std::vector<history::PassedOver> passedOver;
  const std::vector<history::LogPlace> logs = history::LogsIn(folder, passedOver);
  const auto found = std::find_if(logs.rbegin(), logs.rend(), [&](const history::LogPlace& log) {
    return log.changedNs >= sinceNs && history::RunIdOf(log.path).ends_with(ending);
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
