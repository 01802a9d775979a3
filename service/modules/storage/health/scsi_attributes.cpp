#include <utility>

#include "service/modules/storage/health/attributes.h"
#include "service/modules/storage/scsi/sense_codes.h"

namespace orvan::storage {
namespace {

template <typename T>
void Add(HealthAttributes& list, std::uint8_t id, std::string name, const std::optional<T>& data,
         const std::optional<T>& threshold = {}, const char* unit = "") {
  if (!data) return;
  HealthAttribute& attribute = list.emplace_back();
  attribute.id = id;
  attribute.name = std::move(name);
  if (threshold) attribute.threshold = std::to_string(*threshold) + unit;
  attribute.data = std::to_string(*data) + unit;
  attribute.number = static_cast<double>(*data);
  attribute.unit = unit[0] == ' ' ? unit + 1 : unit;
}

struct CounterRow {
  std::uint8_t id;  // added to that of the page
  const char* name;
  std::optional<std::uint64_t> scsi::ErrorCounters::*field;
};

// "Read errors corrected" and so on.
constexpr CounterRow kCounterRows[] = {
    {0, " errors corrected", &scsi::ErrorCounters::corrected},
    {1, " errors corrected fast", &scsi::ErrorCounters::correctedAtOnce},
    {2, " errors corrected late", &scsi::ErrorCounters::correctedDelayed},
    {3, " repeats", &scsi::ErrorCounters::repeated},
    {4, " correction runs", &scsi::ErrorCounters::correctionRuns},
    {5, " bytes processed", &scsi::ErrorCounters::bytesProcessed},
    {6, " errors not corrected", &scsi::ErrorCounters::uncorrected},
};

void AddCounters(HealthAttributes& list, std::uint8_t firstId, const std::string& what,
                 const std::optional<scsi::ErrorCounters>& counters) {
  if (!counters) return;
  for (const CounterRow& row : kCounterRows) {
    Add(list, static_cast<std::uint8_t>(firstId + row.id), what + row.name,
        (*counters).*(row.field));
  }
}

void AddExceptions(HealthAttributes& list, const scsi::InformationalExceptions& exceptions) {
  HealthAttribute& attribute = list.emplace_back();
  attribute.id = 1;
  attribute.name = "Pending exception";
  attribute.data = exceptions.code == 0
                       ? "none"
                       : HexByte(exceptions.code) + '/' + HexByte(exceptions.qualifier) + ' ' +
                             scsi::SenseCodeWords(exceptions.code, exceptions.qualifier);
}

}  // namespace

// Rows that the drive does not tell are left out, for which of them there are is its maker's
// choice.
HealthAttributes AttributesOf(const ScsiHealth& health) {
  HealthAttributes list;
  std::optional<std::uint8_t> temperature, reference;
  if (health.exceptions) {
    AddExceptions(list, *health.exceptions);
    temperature = health.exceptions->temperature;
  }
  if (health.temperatures) {
    if (health.temperatures->now) temperature = health.temperatures->now;
    reference = health.temperatures->reference;
  }
  Add(list, 2, "Temperature", temperature, reference, " C");
  if (health.starts) {
    Add(list, 3, "Start-stop cycles", health.starts->starts, health.starts->startsExpected);
    Add(list, 4, "Load-unload cycles", health.starts->loads, health.starts->loadsExpected);
  }
  Add(list, 5, "Percentage used", health.usedPercent, {}, " %");
  Add(list, 6, "Errors not of the medium", health.nonMediumErrors);
  AddCounters(list, 11, "Read", health.reads);
  AddCounters(list, 21, "Write", health.writes);
  AddCounters(list, 31, "Verify", health.verifies);
  return list;
}

}  // namespace orvan::storage
