#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "service/protocol/device_record.h"
#include "service/protocol/fields.h"
#include "service/protocol/last_words.h"
#include "service/protocol/running_words.h"
#include "service/protocol/tool_words.h"
#include "service/sdk/verdict.h"

// What a worker says to the program. Of what belongs to a request, `request` is its number.
namespace orvan::protocol {

// The module is made, and requests can come.
struct Ready {
  std::uint32_t version = kVersion;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.version);
  }
};

// There is no module: why, for people.
struct Refused {
  std::string reason;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Words(self.reason);
  }
};

// A device of a scan, in its order. Each at once, for nobody knows what the next one costs.
struct Found {
  std::uint64_t request = 0;
  DeviceRecord device;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    DeviceRecord::Pass(fields, self.device);
  }
};

// The end of a scan.
struct Scanned {
  std::uint64_t request = 0;
  std::uint64_t leftBehind = 0;  // calls that hang in the kernel

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.Value(self.leftBehind);
  }
};

// The resources of one device, in the order in which they were asked for. Each at once.
struct Resources {
  std::uint64_t request = 0;
  ResourcesAnswer resources;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    PassAnswer(fields, self.resources,
               [](auto& inner, auto& list) { inner.Elements(list, kResourceFields); });
  }
};

// The end of them.
struct ResourcesTold {
  std::uint64_t request = 0;
  std::uint64_t leftBehind = 0;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.Value(self.leftBehind);
  }
};

// The end of a test.
struct TestEnded {
  std::uint64_t request = 0;
  sdk::Verdict verdict;
  std::uint64_t leftBehind = 0;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.Value(self.verdict.status);
    fields.Words(self.verdict.message);
    fields.Words(self.verdict.expected);
    fields.Words(self.verdict.found);
    fields.Words(self.verdict.where);
    fields.Value(self.leftBehind);
  }
};

// The end of a tool.
struct ToolEnded {
  std::uint64_t request = 0;
  std::uint64_t leftBehind = 0;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.Value(self.leftBehind);
  }
};

// The end of anything by an exception.
struct Threw {
  std::uint64_t request = 0;
  std::string text;
  std::uint64_t leftBehind = 0;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.Words(self.text);
    fields.Value(self.leftBehind);
  }
};

// The end of a test or a tool that did not begin: the device is not among those of the worker's
// last scan.
struct DeviceMissing {
  std::uint64_t request = 0;
  DeviceName device;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    DeviceName::Pass(fields, self.device);
  }
};

// Nothing more is recorded, and the run goes on. Comes at any time.
struct RecordingEnded {
  std::int32_t error = 0;  // an errno

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.error);
  }
};

struct Pong {
  std::uint64_t residentBytes = 0;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.residentBytes);
  }
};

using FromWorker = std::variant<Ready, Refused, Found, Scanned, TestEnded, ToolEnded, Threw,
                                DeviceMissing, Progress, Measured, Logged, ToolSet, ToolGet,
                                ToolFire, ToolWithdraw, ToolFailed, RecordingEnded, Pong, Crashed,
                                OutOfMemory, MeasuredSeries, Resources, ResourcesTold>;

}  // namespace orvan::protocol
