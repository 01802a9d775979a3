#include <limits>
#include <optional>
#include <type_traits>
#include <utility>

#include "service/modules/storage/health/attributes.h"
#include "service/modules/storage/units.h"

namespace orvan::storage {
namespace {

using Log = nvme::HealthLog;

struct Told {
  std::string text;
  std::optional<double> number;
  const char* unit = "";
};
using Data = std::optional<Told>;  // none: the drive does not tell it

// Source: NVM Express Base 2.0, 5.16.1.3: a data unit is 1000 times 512 bytes.
constexpr std::uint64_t kUnitBytes = 512000;

// As it is shown, and as it is measured.
struct Unit {
  const char* shown;
  const char* measured;
};
constexpr Unit kNone{"", ""};
constexpr Unit kPercent{" %", "%"};
constexpr Unit kMinutes{" minutes", "min"};
constexpr Unit kSeconds{" seconds", "s"};

double NumberOf(const nvme::WideCount& count) {
  return static_cast<double>(count.high) * 0x1p64 + static_cast<double>(count.low);
}

Data WithUnit(std::uint64_t number, const Unit& unit) {
  return Told{std::to_string(number) + unit.shown, static_cast<double>(number), unit.measured};
}
Data WithUnit(const nvme::WideCount& number, const Unit& unit) {
  return Told{number.Text() + unit.shown, NumberOf(number), unit.measured};
}
template <typename T>
Data WithUnit(const std::optional<T>& number, const Unit& unit) {
  return number ? WithUnit(*number, unit) : std::nullopt;
}
Data Degrees(const std::optional<std::uint16_t>& kelvin) {
  if (!kelvin) return {};
  return Told{KelvinText(*kelvin), static_cast<double>(nvme::Celsius(*kelvin)), "C"};
}

template <auto kField>
Data Plain(const Log& log) {
  return WithUnit(log.*kField, kNone);
}
template <auto kField>
Data Percent(const Log& log) {
  return WithUnit(log.*kField, kPercent);
}
template <auto kField>
Data Minutes(const Log& log) {
  return WithUnit(log.*kField, kMinutes);
}
// A controller that does not count its spare tells 0 of it and of its threshold.
template <auto kField>
Data Spare(const Log& log) {
  Data data = WithUnit(log.*kField, kPercent);
  if (data && !log.TellsSpare()) data->number = std::nullopt;
  return data;
}
template <auto kField>
Data Units(const Log& log) {
  const nvme::WideCount& units = log.*kField;
  Told told{units.Text(), NumberOf(units) * static_cast<double>(kUnitBytes), "B"};
  if (units <= nvme::WideCount{0, std::numeric_limits<std::uint64_t>::max() / kUnitBytes}) {
    told.text += " (" + DecimalSize(units.low * kUnitBytes) + ')';
  }
  return told;
}
Data Hours(const Log& log) {
  return WithUnit(log.powerOnHours, {"", "h"});
}
template <std::size_t kPlace>
Data Sensor(const Log& log) {
  return Degrees(log.sensorKelvin[kPlace]);
}
template <std::size_t kPlace>
Data ThrottleCount(const Log& log) {
  return WithUnit(log.throttleCounts[kPlace], kNone);
}
template <std::size_t kPlace>
Data ThrottleTime(const Log& log) {
  return WithUnit(log.throttleSeconds[kPlace], kSeconds);
}
Data Temperature(const Log& log) {
  return Degrees(log.kelvin);
}

struct Row {
  std::uint8_t id;
  const char* name;
  Data (*data)(const Log&);
  bool isSensor = false;  // a drive that does not have it has no row
};

// In the order of the log.
constexpr Row kRows[] = {
    {1, "Critical warnings", &Plain<&Log::criticalWarning>},
    {2, "Temperature", &Temperature},
    {3, "Available spare", &Spare<&Log::sparePercent>},
    {4, "Available spare threshold", &Spare<&Log::spareThresholdPercent>},
    {5, "Percentage used", &Percent<&Log::usedPercent>},
    {6, "Endurance group warnings", &Plain<&Log::enduranceGroupWarning>},
    {7, "Data units read", &Units<&Log::dataUnitsRead>},
    {8, "Data units written", &Units<&Log::dataUnitsWritten>},
    {9, "Host read commands", &Plain<&Log::hostReads>},
    {10, "Host write commands", &Plain<&Log::hostWrites>},
    {11, "Controller busy time", &Minutes<&Log::busyMinutes>},
    {12, "Power cycles", &Plain<&Log::powerCycles>},
    {13, "Power-on hours", &Hours},
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
    Data data = row.data(health.log);
    if (row.isSensor && !data) continue;
    HealthAttribute& attribute = list.emplace_back();
    attribute.id = row.id;
    attribute.name = row.name;
    if (!data) continue;
    attribute.data = std::move(data->text);
    attribute.number = data->number;
    attribute.unit = data->unit;
  }
  return list;
}

}  // namespace orvan::storage
