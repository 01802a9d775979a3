#include "service/library/machine_choice.h"

#include <chrono>
#include <utility>

#include "service/recording/key.h"
#include "service/recording/recording_file.h"
#include "system/folders.h"

namespace orvan::library {
namespace {

using protocol::MachineKind;

std::string Record(const std::string& path, remote::MachinePlan& plan) {
  tarvex::Descriptor file;
  const std::string fault = recording::BeginRecording(path, file);
  if (!fault.empty()) return "cannot record into " + path + ": " + fault;
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  const recording::Key key = recording::Key::Make();
  plan.kind = MachineKind::kRecording;
  plan.recording = std::make_shared<const tarvex::Descriptor>(std::move(file));
  plan.key.assign(key.Bytes().begin(), key.Bytes().end());
  plan.begin = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
  plan.note = "the machine is recorded into " + path;
  return {};
}

std::string Replay(const std::string& path, remote::MachinePlan& plan) {
  tarvex::Descriptor memory;
  const std::string fault = recording::ReadRecording(path, memory);
  if (!fault.empty()) return "cannot replay " + path + ": " + fault;
  plan.kind = MachineKind::kReplay;
  plan.recording = std::make_shared<const tarvex::Descriptor>(std::move(memory));
  plan.note = "this run sees no hardware but the recording " + path;
  return {};
}

}  // namespace

std::string ChooseMachine(remote::MachinePlan& plan) {
  const std::string record = tarvex::RecordFile();
  const std::string replay = tarvex::ReplayFile();
  if (record.empty() && replay.empty()) return {};
  if (!record.empty() && !replay.empty()) {
    return "ORVAN_RECORD and ORVAN_REPLAY exclude each other: " + record + ", " + replay;
  }
  if (!tarvex::ScenarioFile().empty()) {
    return "ORVAN_SCENARIO excludes ORVAN_RECORD and ORVAN_REPLAY: " + record + replay;
  }
  return record.empty() ? Replay(replay, plan) : Record(record, plan);
}

}  // namespace orvan::library
