#pragma once

#include <chrono>
#include <map>
#include <string>

#include "boundary/orvan_service_status.h"

namespace orvan::core {

inline constexpr char kSpoolName[] = "data-collection.jsonl";
inline constexpr std::size_t kLargestSpool = 1UL << 20;

struct CollectedTest {
  std::string module;
  std::string moduleVersion;
  std::string diagnostic;
  std::string test;
  TestStatus status = kTestInvalid;
  std::chrono::duration<double> took{};
};

// What one run leaves in the caller's cache folder when data collection is on: one line of JSON
// that names nobody and no hardware (docs/data-collection.md). Nothing is sent anywhere. Nothing
// throws, and no fault reaches the run. One thread at a time.
class DataCollection {
 public:
  explicit DataCollection(std::string programVersion)
      : programVersion_(std::move(programVersion)) {}

  // The run's line goes to this folder, in the system's own form. The first call begins the run;
  // later ones change nothing.
  void Begin(const std::string& folder) noexcept;
  void AddTest(const CollectedTest& test) noexcept;
  // Ends the run and adds its line to the spool. False when it had to be left out: where the spool
  // would grow past kLargestSpool, or can't be written. True without a run.
  bool End() noexcept;

  // The line of the run so far, with its line end.
  std::string Line() const;

 private:
  std::string programVersion_;
  std::string folder_;  // empty: no run
  std::map<std::string, std::string> modules_;
  std::string tests_;
  bool complete_ = true;
};

}  // namespace orvan::core
