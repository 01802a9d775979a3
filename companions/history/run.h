#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// A run of the program as its log tells it. Texts hold nothing that steers a terminal. Times are
// UTC as the log has them, 2026-11-21T08:00:00.000Z; empty where there is none.
namespace tarvex::history {

// In the order in which one of several decides, so that the first is the worst. A run that did not
// come to its end is unfinished unless a fault was found before.
enum class Verdict : std::uint8_t {
  kFailed,
  kUnfinished,
  kWarning,
  kCanceled,
  kPassed,
  kInvalid,
  kNotApplicable,
};
inline constexpr std::size_t kVerdicts = 7;
// "failed", "not applicable"
const char* WordOf(Verdict verdict);
std::optional<Verdict> VerdictOfWord(std::string_view word);

enum class RunState : std::uint8_t {
  kComplete,
  kRunning,  // a program holds the log
  kCrashed,  // nobody does, and the end is missing
  kCut,      // the end is missing, and nothing tells why
};
inline constexpr std::size_t kRunStates = 4;
const char* WordOf(RunState state);

struct Module {
  std::string name;
  std::string version;
};

struct RunDevice {
  std::string key;  // the same in each run: what a device is called in the module's records
  std::string name;
  std::string serial;
  std::string place;  // "storage 0, pci-0000:00:17.0"
  std::string module;
};

struct Word {
  const char* severity = "INFO";  // FAIL, PASS, WARNING, ERROR or INFO
  std::string text;
};

struct Limit {
  std::string kind;  // EQUAL, LESS_THAN, ...
  double value = 0;
};

struct Measurement {
  std::string name;
  std::optional<double> value;  // none: what was measured is no finite number
  std::string unit;
  std::vector<Limit> limits;
};

struct Series {
  std::string name;
  std::string kind;  // CURVE, HISTOGRAM, ...; empty when it does not say
  std::string unit;
  std::string axis;
  std::string axisUnit;
  std::vector<std::pair<double, double>> points;  // position and value
};

struct RunTest {
  std::string step;  // its number in the log
  std::string module;
  std::string diagnostic;  // the key, QUICK_TEST
  std::string test;
  std::optional<std::size_t> device;  // in the run's devices
  std::string start;
  std::string end;
  std::optional<double> seconds;
  Verdict verdict = Verdict::kUnfinished;
  std::vector<Word> words;
  std::map<std::string, std::string> parameters;
  std::vector<Measurement> measurements;
  std::vector<Series> series;
};

struct RunError {
  std::string symptom;
  std::string text;
};

struct LoggedRun {
  std::string id;    // the file's name up to its first dot behind the time
  std::string file;  // where the log is
  RunState state = RunState::kCut;
  std::string machine;
  std::string machineId;
  std::string program;
  std::string kernel;
  std::vector<Module> modules;
  std::string start;
  std::string end;
  bool isSimulated = false;
  Verdict verdict = Verdict::kUnfinished;
  std::vector<RunDevice> devices;
  std::vector<RunTest> tests;
  std::vector<RunError> errors;
  std::vector<Word> notes;
  std::vector<std::string> faults;  // what is wrong with the file, a sentence each

  std::array<std::size_t, kVerdicts> Counts() const;
};

// What makes a machine the same in other runs: its number, and where it has none its name.
const std::string& KeyOfMachine(const std::string& id, const std::string& name);

// "READ_TEST" as it is shown: "Read Test".
std::string NameOfKey(const std::string& key);

// The worst of all tests, as the program's exit status has it, and what is left without any.
Verdict VerdictOf(const LoggedRun& run);

}  // namespace tarvex::history
