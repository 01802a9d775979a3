#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "service/protocol/device_record.h"
#include "service/protocol/fields.h"
#include "service/sdk/run_state.h"

// What the program says to a worker. A request has a number; all that the worker says while it
// works on it carries the same.
namespace orvan::protocol {

// Which machine a module gets.
enum class MachineKind : std::uint8_t { kLive, kRecording, kReplay };

// The first message, and sent once. Descriptors come with it in this order: the folder of the
// module and its file; the module's state folder when `hasState` is set; the recording, when the
// machine is one or is recorded.
struct Hello {
  std::uint32_t version = kVersion;
  std::int32_t program = 0;  // its process number, as the worker sees its parent's
  std::string name;          // of the module's file in its folder
  std::string shownFolder;
  std::string capabilities;
  std::uint64_t memoryBytes = 0;  // the worker is ended when it grows past that; 0: never
  MachineKind machine = MachineKind::kLive;
  bool hasState = false;
  // Of a recording: the key of its stand-ins, when it began (in microseconds of the steady clock),
  // and how many workers of this module it has had.
  std::string key;
  std::int64_t recordingBegin = 0;
  std::uint64_t worker = 0;
  std::map<std::string, std::string> settings;
  std::string libraryDirectory;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.version);
    fields.Value(self.program);
    fields.Text(self.name);
    fields.Text(self.shownFolder);
    fields.Text(self.capabilities);
    fields.Value(self.memoryBytes);
    fields.OneOf(self.machine, MachineKind::kReplay);
    fields.Flag(self.hasState);
    fields.Text(self.key);
    fields.Value(self.recordingBegin);
    fields.Value(self.worker);
    fields.Elements(self.settings, kTextPair);
    fields.Text(self.libraryDirectory);
  }
};

struct Scan {
  std::uint64_t request = 0;
  // To find known devices, so nothing is looked at that may hang, and nothing is told of them.
  bool isAgain = false;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.Flag(self.isAgain);
  }
};

// Asks for the resources of these devices, all in one, so that who looks at them shares the time.
struct TellResources {
  std::uint64_t request = 0;
  std::vector<DeviceName> devices;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.Elements(self.devices, kFields);
  }
};

// A row of the module's tables: its place, and the identifier that has to be there.
struct RowName {
  std::uint32_t diagnostic = 0;
  std::uint32_t test = 0;
  std::uint64_t identifier = 0;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.diagnostic);
    fields.Value(self.test);
    fields.Value(self.identifier);
  }
};

struct RunTest {
  std::uint64_t request = 0;
  RowName row;
  std::optional<DeviceName> device;  // none: the pseudo device
  std::map<std::string, std::string> parameters;
  std::uint32_t systemEvents = 0;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    RowName::Pass(fields, self.row);
    fields.Perhaps(self.device, kFields);
    fields.Elements(self.parameters, kTextPair);
    fields.Value(self.systemEvents);
  }
};

struct RunTool {
  std::uint64_t request = 0;
  std::uint32_t tool = 0;  // its place in the module's table
  std::string name;        // that has to be there
  bool reportsCanceled = false;
  bool hasListener = false;
  std::vector<DeviceName> devices;
  std::vector<DeviceName> candidates;
  std::uint32_t systemEvents = 0;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.Value(self.tool);
    fields.Text(self.name);
    fields.Flag(self.reportsCanceled);
    fields.Flag(self.hasListener);
    fields.Elements(self.devices, kFields);
    fields.Elements(self.candidates, kFields);
    fields.Value(self.systemEvents);
  }
};

// The answer to ToolGet and ToolFire.
struct ToolAnswer {
  std::uint64_t request = 0;
  bool isHandled = false;
  std::vector<std::string> values;
  bool isTooLong = false;  // there are values, and no message holds them

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.Flag(self.isHandled);
    fields.Elements(self.values, kText);
    fields.Flag(self.isTooLong);
  }
};

struct Stop {
  std::uint64_t request = 0;
  sdk::StopReason reason = sdk::StopReason::kAborted;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.OneOf(self.reason, sdk::StopReason::kTermination);
  }
};

struct SystemEvents {
  std::uint32_t bits = 0;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.bits);
  }
};

// Asks for a Pong.
struct Ping {
  template <typename Fields, typename Self>
  static void Pass(Fields& /*fields*/, Self& /*self*/) {}
};

using ToWorker = std::variant<Hello, Scan, RunTest, RunTool, ToolAnswer, Stop, SystemEvents, Ping,
                              TellResources>;

}  // namespace orvan::protocol
