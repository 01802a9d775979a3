#include "companions/history/worse.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "companions/history/run_report.h"

namespace tarvex::history {
namespace {

enum class Direction { kMore, kLess };

// A measurement that gets worse in one direction. It counts when it moved by more than `least` and
// by more than `part` of what it was. A name may begin or end with "*".
struct Row {
  std::string_view name;
  Direction direction;
  double least;
  double part;
};

// The first row that a name fits decides. What no row fits is never worse: hours, bytes and counts
// of starts only grow.
constexpr std::array kRows = {
    // Each is lost data, or the sign of a drive, a cable or a port that fails.
    Row{"unreadable-*", Direction::kMore, 0, 0},
    Row{"unwritable-*", Direction::kMore, 0, 0},
    Row{"wrong-sectors", Direction::kMore, 0, 0},
    Row{"slow-answers", Direction::kMore, 0, 0},
    Row{"new-errors-*", Direction::kMore, 0, 0},
    Row{"*-not-corrected", Direction::kMore, 0, 0},
    Row{"reallocated-sectors", Direction::kMore, 0, 0},
    Row{"pending-sectors", Direction::kMore, 0, 0},
    Row{"offline-uncorrectable*", Direction::kMore, 0, 0},
    Row{"reported-uncorrectable*", Direction::kMore, 0, 0},
    Row{"end-to-end-errors", Direction::kMore, 0, 0},
    Row{"interface-crc-errors", Direction::kMore, 0, 0},
    Row{"media-and-data-integrity-errors", Direction::kMore, 0, 0},
    Row{"grown-defects", Direction::kMore, 0, 0},
    // Normalized values move by one now and then.
    Row{"smart-*-value", Direction::kLess, 2, 0},
    // Wear: a step of one percent is how it is told.
    Row{"percentage-used*", Direction::kMore, 0, 0},
    Row{"available-spare", Direction::kLess, 0, 0},
    // Rates and times depend on what else the machine does; a fifth is more than that costs.
    Row{"*-rate", Direction::kLess, 0, 0.2},
    Row{"slowest-*", Direction::kMore, 0.1, 1},
    Row{"random-read-*", Direction::kMore, 0.005, 0.5},
    // The weather is no fault.
    Row{"temperature*", Direction::kMore, 10, 0},
};

bool Fits(std::string_view pattern, std::string_view name) {
  if (pattern.front() == '*') return name.ends_with(pattern.substr(1));
  const std::size_t star = pattern.find('*');
  if (star == std::string_view::npos) return name == pattern;
  const std::string_view end = pattern.substr(star + 1);
  return name.size() >= pattern.size() - 1 && name.starts_with(pattern.substr(0, star)) &&
         name.ends_with(end);
}

// Null for what is never worse.
const Row* RowOf(std::string_view name) {
  const auto* const row = std::find_if(kRows.begin(), kRows.end(),
                                       [name](const Row& one) { return Fits(one.name, name); });
  return row != kRows.end() ? row : nullptr;
}

// How far it moved towards worse.
double Moved(Direction direction, double before, double after) {
  return direction == Direction::kMore ? after - before : before - after;
}

// The verdicts that say something of the hardware, the worse the more.
int Badness(Verdict verdict) {
  if (verdict == Verdict::kFailed) return 2;
  return verdict == Verdict::kWarning ? 1 : verdict == Verdict::kPassed ? 0 : -1;
}

template <typename Find>
auto LastBefore(const std::vector<DeviceRun>& runs, std::size_t at, Find find) {
  decltype(find(runs[0])) found{};
  for (std::size_t back = at; back-- > 0 && !found;) found = find(runs[back]);
  return found;
}

struct Before {
  const TestFacts* test = nullptr;
  const Value* value = nullptr;
  const DeviceRun* run = nullptr;
  explicit operator bool() const { return run != nullptr; }
};

bool IsSameTest(const TestFacts& one, const TestFacts& other) {
  return one.module == other.module && one.test == other.test;
}

Worsening Told(const TestFacts& test, const DeviceRun& now, const Before& before) {
  Worsening found;
  found.device = now.facts.device;
  found.test = test.test;
  found.runBefore = before.run->run.id;
  return found;
}

// The worst that the test said of the hardware in the last run in which it said something.
Before LastJudged(const std::vector<DeviceRun>& runs, std::size_t at, const TestFacts& test) {
  return LastBefore(runs, at, [&test](const DeviceRun& run) {
    Before worst;
    for (const TestFacts& other : run.facts.tests) {
      const int badness = IsSameTest(test, other) ? Badness(other.verdict) : -1;
      if (badness < 0 || (worst && badness <= Badness(worst.test->verdict))) continue;
      worst = Before{&other, {}, &run};
    }
    return worst;
  });
}

// The worst that the test measured under that name in the last run in which it did.
Before LastMeasured(const std::vector<DeviceRun>& runs, std::size_t at, const TestFacts& test,
                    const Value& value, Direction direction) {
  return LastBefore(runs, at, [&](const DeviceRun& run) {
    Before worst;
    for (const TestFacts& other : run.facts.tests) {
      if (!IsSameTest(test, other)) continue;
      for (const Value& old : other.values) {
        if (old.name != value.name || old.unit != value.unit) continue;
        if (worst && Moved(direction, worst.value->value, old.value) <= 0) continue;
        worst = Before{&other, &old, &run};
      }
    }
    return worst;
  });
}

void CompareVerdict(const std::vector<DeviceRun>& runs, std::size_t at, const TestFacts& test,
                    std::vector<Worsening>& all) {
  const Before before = LastJudged(runs, at, test);
  if (!before || Badness(test.verdict) <= Badness(before.test->verdict)) return;
  Worsening& found = all.emplace_back(Told(test, runs[at], before));
  found.what = Worsening::What::kVerdict;
  found.before = WordOf(before.test->verdict);
  found.after = WordOf(test.verdict);
}

void CompareValue(const std::vector<DeviceRun>& runs, std::size_t at, const TestFacts& test,
                  const Value& value, std::vector<Worsening>& all) {
  const Row* const row = RowOf(value.name);
  if (row == nullptr) return;
  const Before before = LastMeasured(runs, at, test, value, row->direction);
  if (!before || !IsWorse(value.name, before.value->value, value.value)) return;
  Worsening& found = all.emplace_back(Told(test, runs[at], before));
  found.name = value.name;
  found.unit = value.unit;
  found.valueBefore = before.value->value;
  found.valueAfter = value.value;
  found.before = ValueForPeople(before.value->value, value.unit);
  found.after = ValueForPeople(value.value, value.unit);
}

bool Holds(const Places& places, double sector) {
  return std::any_of(places.begin(), places.end(), [sector](const auto& place) {
    return place.first <= sector && sector < place.first + std::max(place.second, 1.0);
  });
}

bool IsKnownBad(const DeviceRun& run, double sector) {
  const std::vector<TestFacts>& tests = run.facts.tests;
  return std::any_of(tests.begin(), tests.end(),
                     [sector](const TestFacts& test) { return Holds(test.bad, sector); });
}

// Bad sectors that no earlier run of any test knew, also where their number is the same.
Places NewPlaces(const std::vector<DeviceRun>& runs, std::size_t at, const TestFacts& test) {
  Places fresh;
  for (const auto& place : test.bad) {
    const auto knows = [sector = place.first](const DeviceRun& run) {
      return IsKnownBad(run, sector);
    };
    if (std::none_of(runs.begin(), runs.begin() + static_cast<std::ptrdiff_t>(at), knows)) {
      fresh.push_back(place);
    }
  }
  return fresh;
}

void CompareSectors(const std::vector<DeviceRun>& runs, std::size_t at, const TestFacts& test,
                    std::vector<Worsening>& all) {
  const Before before = LastJudged(runs, at, test);
  const Places fresh = before ? NewPlaces(runs, at, test) : Places();
  if (fresh.empty()) return;
  Worsening& found = all.emplace_back(Told(test, runs[at], before));
  found.what = Worsening::What::kSectors;
  double count = 0;
  for (const auto& place : fresh) count += place.second;
  found.valueAfter = count;
  found.after = ValueForPeople(count, "") + " at new places, from LBA " +
                ValueForPeople(fresh.front().first, "");
}

}  // namespace

bool IsWorse(const std::string& name, double before, double after) {
  const Row* const row = RowOf(name);
  if (row == nullptr) return false;
  const double moved = Moved(row->direction, before, after);
  return moved > row->least && moved > row->part * std::abs(before);
}

std::vector<Worsening> WhatGotWorse(const std::vector<DeviceRun>& runs, std::size_t at) {
  std::vector<Worsening> all;
  for (const TestFacts& test : runs[at].facts.tests) {
    CompareVerdict(runs, at, test, all);
    for (const Value& value : test.values) CompareValue(runs, at, test, value, all);
    CompareSectors(runs, at, test, all);
  }
  return all;
}

}  // namespace tarvex::history
