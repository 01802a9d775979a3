#include "companions/history/commands.h"

#include <array>

#include "companions/history/list_report.h"
#include "companions/history/run_report.h"
#include "system/outside_text.h"

namespace tarvex::history {
namespace {

Answer ListRuns(const Options& options, Archive& archive) {
  Answer answer;
  const std::vector<RunSummary> runs = archive.Index().Runs();
  answer.text = ListReport(runs, archive.PassedOverFiles(), options.format);
  return answer;
}

Answer ShowRun(const Options& options, Archive& archive) {
  Answer answer;
  const ReadLog read = archive.Find(options.operand);
  if (!read.run) {
    answer.notes.push_back(options.operand + ": " + read.why);
    answer.status = kNotThere;
    return answer;
  }
  answer.text = RunReport(*read.run, options.format);
  for (const std::string& fault : read.run->faults) {
    answer.notes.push_back(read.run->file + ": " + fault);
  }
  return answer;
}

struct Command {
  const char* word;
  Answer (*execute)(const Options&, Archive&);
};
constexpr std::array kCommands = {Command{"list", ListRuns}, Command{"run", ShowRun}};

Answer ExecuteWith(const Options& options, Archive& archive) {
  for (const Command& command : kCommands) {
    if (options.command == command.word) return command.execute(options, archive);
  }
  return {};
}

// The index is a cache: one that is damaged, held by others for long, or on a full disk costs time
// alone.
Answer ExecuteInAnyCase(const Options& options, Archive& archive) {
  try {
    return ExecuteWith(options, archive);
  } catch (const StoreError& error) {
    archive.DistrustIndex(error.GetKind() == StoreError::Kind::kDamaged);
    return ExecuteWith(options, archive);
  }
}

}  // namespace

Answer Execute(const Options& options) {
  Archive archive(options.state, options.logs);
  Answer answer = ExecuteInAnyCase(options, archive);
  for (const PassedOver& one : archive.PassedOverFiles()) {
    answer.notes.push_back(one.file + ": " + one.why);
  }
  for (std::string& note : answer.notes) note = WithoutSteering(note);
  return answer;
}

}  // namespace tarvex::history
