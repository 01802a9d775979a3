#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <vector>

#include "tests/support/faulty_machine.h"

namespace orvan::sdk::testing {

// A drive that tests itself, for tests: it answers the commands of a machine in memory, on whose
// clock its self-tests take their time, and writes down in its log how they ended. It knows
// IDENTIFY, SMART READ DATA, the logs and the starts of self-tests of ATA, and what is like them in
// the other languages; anything else is a command that it does not have. The machine must be there
// as long.
class SelfTestingDrive {
 public:
  enum class Language : std::uint8_t { kAta, kScsi, kNvme };
  enum class Result : std::uint8_t {
    kPassed,
    kAborted,
    kBrokenOff,
    kFailed,
    kMeaningless,
    kRunning
  };

  struct Entry {
    int number = 1;  // 1: short, 2: extended
    Result result = Result::kPassed;
    std::uint16_t hours = 0;
    std::optional<std::uint64_t> lba = {};
  };

  // How this one is.
  struct Habits {
    bool hasSelfTests = true;  // and a log of them
    bool hasSmart = true;      // of ATA, and so are the next three
    bool isSmartEnabled = true;
    bool hasExtendedLog = true;
    bool tellsInIdentify = true;        // that it has self-tests, and not in SMART READ DATA alone
    std::chrono::minutes shortTime{2};  // that it tells, and takes; 0: it does not tell
    std::chrono::minutes extendedTime{60};
    std::optional<std::chrono::seconds> takes = {};  // in place of what it tells
    Result result = Result::kPassed;
    std::optional<std::uint64_t> failingLba = {};
    bool doesNothing = false;         // takes each start, and begins nothing
    bool hidesRunning = false;        // never says that a test runs, nor how far it is
    bool logsRunning = false;         // its log has a test from its begin on
    std::optional<int> stopsAt = {};  // percent, at which a test stands still
    bool ignoresAbort = false;
    bool contradicts = false;           // its status says that the last test failed
    std::function<int(int)> told = {};  // what it says for a percentage
    std::chrono::seconds logsAfter{0};  // from a test's end to its entry
    std::size_t places = 0;             // of its log; 0: as the standard has it
  };

  SelfTestingDrive(FaultyMachine& machine, Language language)
      : SelfTestingDrive(machine, language, {}) {}
  SelfTestingDrive(FaultyMachine& machine, Language language, Habits habits);
  SelfTestingDrive(const SelfTestingDrive&) = delete;
  SelfTestingDrive& operator=(const SelfTestingDrive&) = delete;

  // Begins a self-test on its own: somebody else's.
  void Begin(int number);
  bool IsRunning();
  // What it says to a command, as its habits are.
  CommandAnswer AnswerTo(const DriveCommand& command);

  Habits habits;
  std::deque<Entry> log;  // newest first
  int aborts = 0;         // that it was told
  int starts = 0;
  // Called before each answer; a result takes the place of the drive's.
  std::function<std::optional<CommandAnswer>(const DriveCommand&)> meddle;

 private:
  struct Running {
    int number = 0;
    std::chrono::steady_clock::time_point begin;
  };

  CommandAnswer AnswerAta(const AtaCommand& command);
  CommandAnswer AnswerScsi(const ScsiCommand& command, std::uint32_t bytes);
  CommandAnswer AnswerNvme(const NvmeAdminCommand& command);
  // Of a start, by its code in the language; false: none that it knows.
  bool Order(int code, int abortCode);
  void Advance();
  void End(Result result);
  void Write(Entry entry);
  std::chrono::seconds TimeOf(int number) const;
  int Percent() const;  // what it says
  std::size_t Places() const;

  std::vector<std::uint8_t> Identity() const;
  std::vector<std::uint8_t> SmartData() const;
  std::vector<std::uint8_t> Log(bool isExtended) const;
  std::vector<std::uint8_t> Controller() const;
  std::vector<std::uint8_t> NvmeLog() const;
  std::vector<std::uint8_t> Results() const;
  std::vector<std::uint8_t> SenseNow() const;

  FaultyMachine& machine_;
  const Language language_;
  std::optional<Running> running_;
  std::optional<Entry> pending_;  // over, and not in the log yet
  std::chrono::steady_clock::time_point pendingUntil_;
  std::size_t newest_ = 0;  // place in the ring of ATA
};

}  // namespace orvan::sdk::testing
