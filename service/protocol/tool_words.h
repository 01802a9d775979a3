#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "service/protocol/fields.h"

// What a worker says of a tool that runs.
namespace orvan::protocol {

struct ToolSet {
  std::uint64_t request = 0;
  std::string key;
  std::vector<std::string> values;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.Text(self.key);
    fields.Elements(self.values, kText);
  }
};

// Asks for a ToolAnswer with the property's values.
struct ToolGet {
  std::uint64_t request = 0;
  std::string key;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.Text(self.key);
  }
};

// Asks for a ToolAnswer that says whether the event had a handler.
struct ToolFire {
  std::uint64_t request = 0;
  std::string event;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.Text(self.event);
  }
};

struct ToolWithdraw {
  std::uint64_t request = 0;
  std::uint32_t candidate = 0;  // its place in RunTool::candidates

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.Value(self.candidate);
  }
};

struct ToolFailed {
  std::uint64_t request = 0;
  std::string reason;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Value(self.request);
    fields.Words(self.reason);
  }
};

}  // namespace orvan::protocol
