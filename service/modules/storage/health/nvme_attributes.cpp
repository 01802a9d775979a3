#include <limits>
#include <optional>
#include <type_traits>
#include <utility>

#include "service/modules/storage/health/attributes.h"
#include "service/modules/storage/units.h"

namespace orvan::storage {
namespace {

using Log = nvme::HealthLog;
using Text = std::optional<std::string>;  // none: the drive does not tell it

// Source: NVM Express Base 2.0, 5.16.1.3: a data unit is 1000 times 512 bytes.
constexpr std::uint64_t kUnitBytes = 512000;

Text WithUnit(std::uint64_t number, const char* unit) {
  return std::to_string(number) + unit;
}
Text WithUnit(const nvme::WideCount& number, const char* unit) {
  return number.Text() + unit;
}
template <typename T>
Text WithUnit(const std::optional<T>& number, const char* unit) {
  return number ? WithUnit(*number, unit) : std::nullopt;
}

template <auto kField>
Text Plain(const Log& log) {
  return WithUnit(log.*kField, "");
}
template <auto kField>
Text Percent(const Log& log) {
  return WithUnit(log.*kField, " %");
}
template <auto kField>
Text Minutes(const Log& log) {
  return WithUnit(log.*kField, " minutes");
}
template <auto kField>
Text Units(const Log& log) {
  const nvme::WideCount& units = log.*kField;
  std::string text = units.Text();
  if (units <= nvme::WideCount{0, std::numeric_limits<std::uint64_t>::max() / kUnitBytes}) {
    text += " (" + DecimalSize(units.low * kUnitBytes) + ')';
  }
  return text;
}
template <std::size_t kPlace>
Text Sensor(const Log& log) {
  const auto& kelvin = log.sensorKelvin[kPlace];
  return kelvin ? Text(KelvinText(*kelvin)) : std::nullopt;
}
template <std::size_t kPlace>
Text ThrottleCount(const Log& log) {
  return std::to_string(log.throttleCounts[kPlace]);
}
template <std::size_t kPlace>
Text ThrottleTime(const Log& log) {
  return std::to_string(log.throttleSeconds[kPlace]) + " seconds";
}
Text Temperature(const Log& log) {
  return log.kelvin ? Text(KelvinText(*log.kelvin)) : std::nullopt;
}

struct Row {
  std::uint8_t id;
  const char* name;
  Text (*text)(const Log&);
  bool isSensor = false;  // a drive that does not have it has no row
};

// In the order of the log.
constexpr Row kRows[] = {
    {1, "Critical warnings", &Plain<&Log::criticalWarning>},
    {2, "Temperature", &Temperature},
    {3, "Available spare", &Percent<&Log::sparePercent>},
    {4, "Available spare threshold", &Percent<&Log::spareThresholdPercent>},
    {5, "Percentage used", &Percent<&Log::usedPercent>},
    {6, "Endurance group warnings", &Plain<&Log::enduranceGroupWarning>},
    {7, "Data units read", &Units<&Log::dataUnitsRead>},
    {8, "Data units written", &Units<&Log::dataUnitsWritten>},
    {9, "Host read commands", &Plain<&Log::hostReads>},
    {10, "Host write commands", &Plain<&Log::hostWrites>},
    {11, "Controller busy time", &Minutes<&Log::busyMinutes>},
    {12, "Power cycles", &Plain<&Log::powerCycles>},
    {13, "Power-on hours", &Plain<&Log::powerOnHours>},
    {14, "Unsafe shutdowns", &Plain<&Log::unsafeShutdowns>},
    {15, "Media and data integrity errors", &Plain<&Log::mediaErrors>},
    {16, "Error log entries", &Plain<&Log::errorEntries>},
    {17, "Time above warning temperature", &Minutes<&Log::warningMinutes>},
    {18, "Time above critical temperature", &Minutes<&Log::criticalMinutes>},
    {19, "Temperature of sensor 1", &Sensor<0>, true},
    {20, "Temperature of sensor 2", &Sensor<1>, true},
    {21, "Temperature of sensor 3", &Sensor<2>, true},
    {22, "Temperature of sensor 4", &Sensor<3>, true},
    {23, "Temperature of sensor 5", &Sensor<4>, true},
    {24, "Temperature of sensor 6", &Sensor<5>, true},
    {25, "Temperature of sensor 7", &Sensor<6>, true},
    {26, "Temperature of sensor 8", &Sensor<7>, true},
    {27, "Thermal management 1 transitions", &ThrottleCount<0>},
    {28, "Thermal management 2 transitions", &ThrottleCount<1>},
    {29, "Thermal management 1 time", &ThrottleTime<0>},
    {30, "Thermal management 2 time", &ThrottleTime<1>},
};

}  // namespace

HealthAttributes AttributesOf(const NvmeHealth& health) {
  HealthAttributes list;
  for (const Row& row : kRows) {
    Text text = row.text(health.log);
    if (row.isSensor && !text) continue;
    HealthAttribute& attribute = list.emplace_back();
    attribute.id = row.id;
    attribute.name = row.name;
    if (text) attribute.data = *std::move(text);
  }
  return list;
}

}  // namespace orvan::storage
