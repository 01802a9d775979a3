#include "service/modules/storage/ata/device_statistics.h"

#include <algorithm>
#include <array>
#include <functional>

#include "service/modules/storage/ata/page.h"

namespace orvan::storage::ata {
namespace {

struct Row {
  StatisticPlace place;
  std::uint8_t bytes;
  bool isSigned;
  const char* name;
};
constexpr std::array<Row, 39> kRows = {{
    {{0x01, 0x08}, 4, false, "Lifetime Power-On Resets"},
    {{0x01, 0x10}, 4, false, "Power-on Hours"},
    {{0x01, 0x18}, 6, false, "Logical Sectors Written"},
    {{0x01, 0x20}, 6, false, "Number of Write Commands"},
    {{0x01, 0x28}, 6, false, "Logical Sectors Read"},
    {{0x01, 0x30}, 6, false, "Number of Read Commands"},
    {{0x01, 0x38}, 6, false, "Date and Time TimeStamp"},
    {{0x01, 0x40}, 4, false, "Pending Error Count"},
    {{0x01, 0x48}, 2, false, "Workload Utilization"},
    {{0x02, 0x08}, 4, false, "Number of Free-Fall Events Detected"},
    {{0x02, 0x10}, 4, false, "Overlimit Shock Events"},
    {{0x03, 0x08}, 4, false, "Spindle Motor Power-on Hours"},
    {{0x03, 0x10}, 4, false, "Head Flying Hours"},
    {{0x03, 0x18}, 4, false, "Head Load Events"},
    {{0x03, 0x20}, 4, false, "Number of Reallocated Logical Sectors"},
    {{0x03, 0x28}, 4, false, "Read Recovery Attempts"},
    {{0x03, 0x30}, 4, false, "Number of Mechanical Start Failures"},
    {{0x03, 0x38}, 4, false, "Number of Reallocation Candidate Logical Sectors"},
    {{0x03, 0x40}, 4, false, "Number of High Priority Unload Events"},
    {{0x04, 0x08}, 4, false, "Number of Reported Uncorrectable Errors"},
    {{0x04, 0x10}, 4, false, "Number of Resets Between Command Acceptance and Completion"},
    {{0x04, 0x18}, 4, false, "Physical Element Status Changed"},
    {{0x05, 0x08}, 1, true, "Current Temperature"},
    {{0x05, 0x10}, 1, true, "Average Short Term Temperature"},
    {{0x05, 0x18}, 1, true, "Average Long Term Temperature"},
    {{0x05, 0x20}, 1, true, "Highest Temperature"},
    {{0x05, 0x28}, 1, true, "Lowest Temperature"},
    {{0x05, 0x30}, 1, true, "Highest Average Short Term Temperature"},
    {{0x05, 0x38}, 1, true, "Lowest Average Short Term Temperature"},
    {{0x05, 0x40}, 1, true, "Highest Average Long Term Temperature"},
    {{0x05, 0x48}, 1, true, "Lowest Average Long Term Temperature"},
    {{0x05, 0x50}, 4, false, "Time in Over-Temperature"},
    {{0x05, 0x58}, 1, true, "Specified Maximum Operating Temperature"},
    {{0x05, 0x60}, 4, false, "Time in Under-Temperature"},
    {{0x05, 0x68}, 1, true, "Specified Minimum Operating Temperature"},
    {{0x06, 0x08}, 4, false, "Number of Hardware Resets"},
    {{0x06, 0x10}, 4, false, "Number of ASR Events"},
    {{0x06, 0x18}, 4, false, "Number of Interface CRC Errors"},
    {{0x07, 0x08}, 1, false, "Percentage Used Endurance Indicator"},
}};

// Source: ACS-4, 9.5, device statistic flags: the upper byte of each 8.
constexpr std::uint8_t kIsSupported = 0x80;
constexpr std::uint8_t kIsValid = 0x40;
constexpr std::uint8_t kIsNormalized = 0x20;
constexpr std::uint8_t kConditionMet = 0x08;

std::int64_t ValueOf(std::uint64_t number, const Row& row) {
  if (row.isSigned) return static_cast<std::int8_t>(number);
  const std::uint64_t mask = (1ULL << (8U * row.bytes)) - 1U;
  return static_cast<std::int64_t>(number & mask);
}

// Source: ACS-4, 9.5, device statistics information header: revision (0000h: the page is not
// supported), then the page's number.
std::string TroubleOfHeader(Bytes page, std::uint8_t number) {
  if (page.size() < kPageBytes) return ShortAnswer(page.size(), kPageBytes);
  if (IsAll(page, 0xFF)) return "the answer is nothing but ones";
  if (Word(page, 0) != 0 && page[2] != number) return OtherPage(page[2], number);
  if (Word(page, 0) == 0 && !IsAll(page, 0)) return "the page of device statistics has no revision";
  return {};
}

}  // namespace

Decoded<std::vector<std::uint8_t>> DecodeStatisticsPages(Bytes bytes) {
  using Pages = std::vector<std::uint8_t>;
  std::string trouble = TroubleOfHeader(Part(bytes, 0, kPageBytes), 0);
  if (!trouble.empty()) return Distrusted<Pages>(std::move(trouble));
  const std::size_t entries = bytes[8];
  const Bytes listed = Part(Part(bytes, 0, kPageBytes - 1), 9, entries);
  if (std::adjacent_find(listed.begin(), listed.end(), std::greater_equal<>()) != listed.end()) {
    return Distrusted<Pages>("the list of device statistics is in no order");
  }
  return {Pages(listed.begin(), listed.end()), {}};
}

Decoded<std::vector<Statistic>> DecodeStatistics(Bytes bytes, std::uint8_t number) {
  const Bytes page = Part(bytes, 0, kPageBytes);
  std::string trouble = TroubleOfHeader(page, number);
  if (!trouble.empty()) return Distrusted<std::vector<Statistic>>(std::move(trouble));
  std::vector<Statistic> statistics;
  for (const Row& row : kRows) {
    const std::uint8_t flags = page[row.place.at + 7U];
    if (row.place.page != number || (flags & kIsSupported) == 0) continue;
    Statistic statistic;
    statistic.place = row.place;
    statistic.name = row.name;
    if ((flags & kIsValid) != 0) {
      statistic.value = ValueOf(Little<std::uint64_t>(page, row.place.at), row);
    }
    statistic.isNormalized = (flags & kIsNormalized) != 0;
    statistic.isConditionMet = (flags & kConditionMet) != 0;
    statistics.push_back(statistic);
  }
  return {std::move(statistics), {}};
}

std::optional<std::int64_t> ValueAt(const std::vector<Statistic>& statistics,
                                    StatisticPlace place) {
  const auto found =
      std::find_if(statistics.begin(), statistics.end(),
                   [place](const Statistic& statistic) { return statistic.place == place; });
  return found == statistics.end() ? std::nullopt : found->value;
}

}  // namespace orvan::storage::ata
