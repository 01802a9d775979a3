#include "companions/history/run_reader.h"

#include <algorithm>
#include <utility>

#include "companions/history/log_json.h"
#include "companions/history/step_reader.h"

namespace tarvex::history {
namespace {

static_assert(kRoomBehind >= simdjson::SIMDJSON_PADDING);

constexpr std::string_view kProgram = "Tarvex Diagnostics";
constexpr std::uint64_t kMajorVersion = 2;
// A number that is further ahead is no log's: a line is at least 20 bytes long.
constexpr std::uint64_t kMostAhead = 10000000;

std::string Counted(std::size_t count, const char* what) {
  return std::to_string(count) + (count == 1 ? " line " : " lines ") + what;
}

class Reader {
 public:
  // `text` has room behind it that simdjson may look at.
  ReadLog Read(std::string_view text);

 private:
  void Line(std::string_view line);
  void Take(const JsonMembers& line);
  bool TakeNumber(const JsonMembers& line);
  void RunArtifact(const JsonMembers& artifact, std::string_view time);
  void Start(const JsonMembers& start, std::string_view time);
  void Machine(const JsonMembers& machine);
  void Software(const JsonMembers& machine);
  void Hardware(const JsonMembers& machine);
  void TellFaults();
  std::string WhyNoRun() const;

  simdjson::dom::parser parser_;
  LoggedRun run_;
  StepReader steps_{run_};
  bool hasStart_ = false;
  bool hasEnd_ = false;
  bool isSecond_ = false;  // another run begins
  std::string foreign_;    // why the log is none of ours
  std::uint64_t nextNumber_ = 0;
  std::size_t line_ = 0;
  std::size_t firstBroken_ = 0;
  std::size_t broken_ = 0;
  std::size_t missing_ = 0;
  std::size_t repeated_ = 0;
  std::size_t misplaced_ = 0;
};

ReadLog Reader::Read(std::string_view text) {
  ReadLog read;
  while (!text.empty() && foreign_.empty() && !isSecond_) {
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos) {
      read.endsInLine = true;
      break;
    }
    ++line_;
    Line(text.substr(0, end));
    text.remove_prefix(end + 1);
  }
  read.hasEnd = hasEnd_;
  if (!hasStart_ || !foreign_.empty()) {
    read.why = WhyNoRun();
    return read;
  }
  TellFaults();
  if (hasEnd_) run_.state = RunState::kComplete;
  read.run = std::move(run_);
  return read;
}

void Reader::Line(std::string_view line) {
  JsonMembers members;
  constexpr bool kHasRoomBehind = false;  // so nothing is copied
  const bool isGood =
      parser_.parse(line.data(), line.size(), kHasRoomBehind).get(members) == simdjson::SUCCESS;
  if (isGood && WholeIn(members, "sequenceNumber")) {
    Take(members);
    return;
  }
  if (broken_++ == 0) firstBroken_ = line_;
}

bool Reader::TakeNumber(const JsonMembers& line) {
  const std::uint64_t number = WholeIn(line, "sequenceNumber").value_or(0);
  if (number < nextNumber_) {
    ++repeated_;
    return false;
  }
  if (number - nextNumber_ > kMostAhead) {
    if (broken_++ == 0) firstBroken_ = line_;
    return false;
  }
  missing_ += number - nextNumber_;
  nextNumber_ = number + 1;
  return true;
}

void Reader::Take(const JsonMembers& line) {
  const auto run = ObjectIn(line, "testRunArtifact");
  const auto version = ObjectIn(line, "schemaVersion");
  if (hasStart_ && (version || (run && ObjectIn(*run, "testRunStart")))) {
    isSecond_ = true;
    return;
  }
  if (!TakeNumber(line)) return;
  const std::string_view time = RawTextIn(line, "timestamp");
  if (version) {
    const auto major = WholeIn(*version, "major");
    if (major && *major != kMajorVersion) {
      foreign_ = "is of version " + std::to_string(*major) + " of the format; this program reads " +
                 std::to_string(kMajorVersion);
    }
  } else if (run) {
    RunArtifact(*run, time);
  } else if (const auto step = ObjectIn(line, "testStepArtifact")) {
    if (!hasStart_ || hasEnd_ || !steps_.Take(*step, time)) ++misplaced_;
  }
}

void Reader::RunArtifact(const JsonMembers& artifact, std::string_view time) {
  if (const auto start = ObjectIn(artifact, "testRunStart")) {
    Start(*start, time);
  } else if (!hasStart_ || hasEnd_) {
    ++misplaced_;
  } else if (ObjectIn(artifact, "testRunEnd")) {
    hasEnd_ = true;
    if (MillisecondsOf(time)) run_.end = time;
  } else if (const auto error = ObjectIn(artifact, "error")) {
    run_.errors.push_back({TextIn(*error, "symptom"), TextIn(*error, "message")});
  } else if (const auto log = ObjectIn(artifact, "log")) {
    run_.notes.push_back({SeverityOf(RawTextIn(*log, "severity")), TextIn(*log, "message")});
  }
}

void Reader::Start(const JsonMembers& start, std::string_view time) {
  if (RawTextIn(start, "name") != kProgram) {
    foreign_ = "is a log of another program: " + TextIn(start, "name");
    return;
  }
  hasStart_ = true;
  run_.program = TextIn(start, "version");
  if (MillisecondsOf(time)) run_.start = time;
  if (const auto parameters = ObjectIn(start, "parameters")) {
    bool isSimulated = false;
    run_.isSimulated =
        parameters->at_key("simulated").get(isSimulated) == simdjson::SUCCESS && isSimulated;
  }
  if (const auto machine = ObjectIn(start, "dutInfo")) Machine(*machine);
}

void Reader::Machine(const JsonMembers& machine) {
  run_.machine = TextIn(machine, "name");
  if (const auto more = ObjectIn(machine, "metadata")) run_.machineId = TextIn(*more, "machineId");
  Software(machine);
  Hardware(machine);
}

void Reader::Software(const JsonMembers& machine) {
  const auto list = ListIn(machine, "softwareInfos");
  if (!list) return;
  for (const JsonValue item : simdjson::dom::array(*list)) {
    JsonMembers software;
    if (item.get(software) != simdjson::SUCCESS) continue;
    if (RawTextIn(software, "softwareType") == "SYSTEM") {
      run_.kernel = TextIn(software, "version");
    } else if (RawTextIn(software, "name") != kProgram) {
      run_.modules.push_back({TextIn(software, "name"), TextIn(software, "version")});
    }
  }
}

void Reader::Hardware(const JsonMembers& machine) {
  const auto list = ListIn(machine, "hardwareInfos");
  if (!list) return;
  const auto more = ObjectIn(machine, "metadata");
  const auto keys = more ? ObjectIn(*more, "deviceKeys") : std::nullopt;
  for (const JsonValue item : simdjson::dom::array(*list)) {
    JsonMembers hardware;
    if (item.get(hardware) != simdjson::SUCCESS) continue;
    const std::string_view id = RawTextIn(hardware, "hardwareInfoId");
    steps_.AddListed(hardware, keys ? RawTextIn(*keys, id) : std::string_view());
  }
}

void Reader::TellFaults() {
  const auto tell = [this](bool is, std::string fault) {
    if (is) run_.faults.push_back(std::move(fault));
  };
  tell(broken_ > 0,
       Counted(broken_, "can't be read, the first is line ") + std::to_string(firstBroken_));
  tell(missing_ > broken_, Counted(missing_ - std::min(missing_, broken_), "missing"));
  tell(repeated_ > 0, Counted(repeated_, "passed over, for the number was there before"));
  tell(misplaced_ > 0, Counted(misplaced_, "out of place"));
  tell(isSecond_,
       "another run begins in line " + std::to_string(line_) + " of the file, which is not read");
  tell(steps_.IsFull(), "it says more than is read, and the rest is left out");
}

std::string Reader::WhyNoRun() const {
  if (!foreign_.empty()) return foreign_;
  if (line_ == broken_) return "is no log";
  return "has no start of a run";
}

}  // namespace

ReadLog ReadLogText(std::string text) {
  if (text.empty()) return {{}, "is empty"};
  const std::size_t size = text.size();
  text.resize(size + kRoomBehind);
  return Reader().Read(std::string_view(text).substr(0, size));
}

}  // namespace tarvex::history
