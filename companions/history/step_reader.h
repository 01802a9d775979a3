#pragma once

#include <map>
#include <string>
#include <string_view>

#include "companions/history/log_json.h"
#include "companions/history/run.h"
#include "companions/history/run_reader.h"

namespace tarvex::history {

// INFO, WARNING or ERROR, whichever the log's word means.
const char* SeverityOf(std::string_view severity);

// Puts what a log says of its steps into a run's tests. One thread at a time.
class StepReader {
 public:
  explicit StepReader(LoggedRun& run) : run_(run) {}

  // A device of the run's start.
  void AddListed(const JsonMembers& hardware, std::string_view key);
  // An artifact of a step. False for one that belongs to no step, or to one that has ended.
  bool Take(const JsonMembers& artifact, std::string_view time);
  // Whether there is room for more; it is used up by what was taken.
  bool IsFull() const { return left_ == 0; }

 private:
  struct Step {
    std::size_t test = 0;
    bool isOpen = true;
    std::string skipped;  // the verdict of a test that was not tried, as the log has it
  };
  using Handler = void (StepReader::*)(Step&, const JsonMembers&);

  static Handler HandlerOf(std::string_view kind);
  bool Start(const std::string& id, const JsonMembers& start, std::string_view time);
  void End(Step& step, const JsonMembers& end, std::string_view time);
  void Diagnosis(Step& step, const JsonMembers& diagnosis);
  void Text(Step& step, const JsonMembers& log);
  void Error(Step& step, const JsonMembers& error);
  void Extension(Step& step, const JsonMembers& extension);
  void OneMeasurement(Step& step, const JsonMembers& measurement);
  void SeriesStart(Step& step, const JsonMembers& start);
  void SeriesElement(Step& step, const JsonMembers& element);

  RunTest& TestOf(const Step& step) { return run_.tests[step.test]; }
  void NoteDevice(Step& step, const JsonMembers& artifact);
  std::size_t DeviceOf(RunDevice device);
  bool TakeRoom();

  LoggedRun& run_;
  std::map<std::string, Step, std::less<>> steps_;
  std::map<std::string, std::size_t, std::less<>> hardware_;  // ids of the run's start to devices
  // Series by their ids: the test's place, and that in its series.
  std::map<std::string, std::pair<std::size_t, std::size_t>, std::less<>> series_;
  std::size_t left_ = kMostItems;
};

}  // namespace tarvex::history
