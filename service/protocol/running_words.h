#pragma once

#include <cstdint>
#include <string>

#include "service/protocol/fields.h"
#include "service/sdk/measurement.h"
#include "service/sdk/run_state.h"

// What a worker says of a test that runs; a tool has lines for the log, too.
namespace orvan::protocol {

struct Progress {
  std::uint64_t request = 0;
  std::int32_t percent = 0;
  std::string message;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.Value(self.percent);
    fields.Words(self.message);
  }
};

struct Measured {
  std::uint64_t request = 0;
  sdk::Measurement measurement;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.Text(self.measurement.name);
    fields.Value(self.measurement.value);
    fields.Text(self.measurement.unit);
    fields.Elements(self.measurement.limits, [](auto& inner, auto& limit) {
      inner.OneOf(limit.kind, sdk::Limit::Kind::kGreaterThanOrEqual);
      inner.Value(limit.value);
    });
  }
};

struct MeasuredSeries {
  std::uint64_t request = 0;
  sdk::MeasurementSeries series;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.Text(self.series.name);
    fields.OneOf(self.series.kind, sdk::MeasurementSeries::Kind::kRanges);
    fields.Text(self.series.unit);
    fields.Text(self.series.axis);
    fields.Text(self.series.axisUnit);
    fields.Elements(self.series.points, [](auto& inner, auto& point) {
      inner.Value(point.position);
      inner.Value(point.value);
    });
  }
};

struct Logged {
  std::uint64_t request = 0;
  sdk::LogLevel level = sdk::LogLevel::kInfo;
  std::string text;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.OneOf(self.level, sdk::LogLevel::kError);
    fields.Words(self.text);
  }
};

}  // namespace orvan::protocol
