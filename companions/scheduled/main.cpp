// tarvex-scheduled: a run that nobody watches, for a timer. Tells the journal what it came to.
#include <cstring>
#include <exception>
#include <set>
#include <string>
#include <vector>

#include "companions/scheduled/journal_lines.h"
#include "companions/scheduled/run_log.h"
#include "os/awaited_program.h"
#include "os/descriptor_writer.h"
#include "os/process_start.h"
#include "system/folders.h"

namespace {

constexpr int kErrors = 2;
constexpr int kWrongUse = 2;
constexpr int kOwnFault = 70;
constexpr int kNotStarted = 127;

void Say(const std::string& text) {
  const std::string line = text + '\n';
  tarvex::WriteAll(kErrors, line.data(), line.size());
}

int Run(const std::vector<std::string>& words) {
  using namespace tarvex::scheduled;
  if (words.empty()) {
    Say("usage: tarvex-scheduled PROGRAM [ARGUMENT...]");
    return kWrongUse;
  }
  const std::string logs = tarvex::StateFolder() + "/log";
  const std::set<std::string> before = RunsIn(logs);
  const tarvex::AwaitedEnd done = tarvex::RunToItsEnd(words);
  if (done.error != 0) {
    Say("<3>The scheduled run could not be started: " + words.front() + ": " +
        std::strerror(done.error));
    return kNotStarted;
  }
  const tarvex::history::ReadLog log = LogOfProcess(logs, done.id, before);
  for (const std::string& line : JournalLines(done.end, log.run ? &*log.run : nullptr, log.why)) {
    Say(line);
  }
  return StatusOf(done.end);
}

}  // namespace

int main(int argc, char** argv) {
  tarvex::FillStandardDescriptors();
  tarvex::SurviveFailedWrites();
  tarvex::KeepEndsOfChildren();
  try {
    return Run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    Say(std::string("<3>The scheduled run: an error of its own: ") + error.what());
    return kOwnFault;
  }
}
