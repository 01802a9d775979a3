// tarvex-history: shows what the logs of earlier runs tell.
#include <cerrno>
#include <cstring>
#include <exception>
#include <string>

#include "companions/history/commands.h"
#include "companions/history/load_command.h"
#include "companions/history/options.h"
#include "os/descriptor_writer.h"
#include "os/process_start.h"
#include "os/replaced_file.h"
#include "system/outside_text.h"

namespace {

constexpr int kOutput = 1;
constexpr int kErrors = 2;

void Tell(const std::string& text) {
  const std::string line = "tarvex-history: " + text + '\n';
  tarvex::WriteAll(kErrors, line.data(), line.size());
}

int Show(const std::string& text, int status) {
  const int error = tarvex::WriteAll(kOutput, text.data(), text.size());
  // A reader that goes away, as head does, has what it wanted.
  if (error == 0 || error == EPIPE) return status;
  Tell("the output can't be written");
  return tarvex::history::kNotThere;
}

int Put(const std::string& path, const std::string& text, int status, bool isForAll) {
  const mode_t mode = isForAll ? 0644 : 0666;
  const int error = tarvex::ReplaceFile(path, text, mode, isForAll);
  if (error == 0) return status;
  Tell(tarvex::WithoutSteering(path) +
       ": can't be written: " + (error == EEXIST ? "it is no regular file" : std::strerror(error)));
  return tarvex::history::kNotThere;
}

int Run(int argc, char** argv) {
  using namespace tarvex::history;
  const ParsedOptions parsed = ParseOptions(argc, argv);
  if (!parsed.fault.empty()) {
    Tell(parsed.fault + "; see tarvex-history --help");
    return kWrongUse;
  }
  if (parsed.options.wantsHelp) return Show(HelpText(), 0);
  if (parsed.options.wantsVersion) return Show("tarvex-history " TARVEX_VERSION "\n", 0);
  if (parsed.options.database) return LoadIntoDatabase(parsed.options, Tell);
  const Answer answer = Execute(parsed.options);
  for (const std::string& note : answer.notes) Tell(note);
  const bool goesToOthers = parsed.options.wantsMetrics && !parsed.options.metricsFile.empty();
  const std::string& file = goesToOthers ? parsed.options.metricsFile : parsed.options.output;
  if (file.empty() || answer.status != 0) return Show(answer.text, answer.status);
  // Who collects metrics is another user.
  return Put(file, answer.text, answer.status, goesToOthers);
}

}  // namespace

int main(int argc, char** argv) {
  tarvex::FillStandardDescriptors();
  tarvex::SurviveFailedWrites();
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    Tell(std::string("an error of its own: ") + error.what());
    return tarvex::history::kNotThere;
  }
}
