#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "boundary/orvan_service_records.h"
#include "service/protocol/fields.h"
#include "service/sdk/parameter.h"

namespace orvan::protocol {

// What an operation of a module gave: its value, or the text of what it threw.
template <typename Value>
struct Answer {
  Value value{};
  std::optional<std::string> thrown = {};
};

template <typename Fields, typename Given, typename Each>
void PassAnswer(Fields& fields, Given& answer, Each each) {
  fields.Perhaps(answer.thrown, kWords);
  each(fields, answer.value);
}

// A device of a scan. The worker that has made that scan knows it by its place there; any later
// scan, of a worker that has replaced that one for instance, by its unique id alone, as long as
// that still says which one it is.
struct DeviceName {
  std::string uniqueId;  // empty: it has none, and only its own scan knows it
  std::string id;
  std::uint64_t scan = 0;   // the request
  std::uint32_t place = 0;  // in the scan's list
  std::uint32_t alike = 1;  // how many of that scan have the same unique id, this one counted

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Text(self.uniqueId);
    fields.Text(self.id);
    fields.Value(self.scan);
    fields.Value(self.place);
    fields.Value(self.alike);
  }
};

inline constexpr auto kParameterFields = [](auto& fields, auto& parameter) {
  fields.Text(parameter.name);
  fields.Text(parameter.label);
  fields.Text(parameter.detail);
  fields.Text(parameter.initialValue);
  fields.Value(parameter.type);
  fields.Text(parameter.extra);
  fields.Value(parameter.least);
  fields.Value(parameter.greatest);
  fields.Perhaps(parameter.value, kText);
};

// What a test's row says of one device.
struct TestOnDevice {
  Answer<bool> applies{true};
  // Only of a row that asks the device.
  std::optional<Answer<std::vector<sdk::ParameterSpec>>> parameters;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    PassAnswer(fields, self.applies, [](auto& inner, auto& flag) { inner.Flag(flag); });
    fields.Perhaps(self.parameters, [](auto& inner, auto& answer) {
      PassAnswer(inner, answer,
                 [](auto& innermost, auto& list) { innermost.Elements(list, kParameterFields); });
    });
  }
};

struct ToolOnDevice {
  Answer<bool> applies{true};

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    PassAnswer(fields, self.applies, [](auto& inner, auto& flag) { inner.Flag(flag); });
  }
};

// A device as a scan found it, with all that anybody may ask of it later, but for its resources.
struct DeviceRecord {
  bool isNone = false;  // the module's list had no device in this place
  std::string id;
  Answer<std::string> uniqueId;
  std::optional<std::string> whyUntestable;
  Answer<DeviceInformation> information;
  Answer<std::optional<std::string>> resultText;
  // One for each row of the module's tables, in their order; none for an untestable device.
  std::vector<TestOnDevice> tests;
  std::vector<ToolOnDevice> tools;

  template <typename Fields, typename Self>
  static void Pass(Fields& fields, Self& self) {
    fields.Flag(self.isNone);
    fields.Text(self.id);
    PassAnswer(fields, self.uniqueId, kText);
    fields.Perhaps(self.whyUntestable, kText);
    PassAnswer(fields, self.information, [](auto& inner, auto& information) {
      inner.Text(information.name);
      inner.Text(information.reserved);
      inner.Elements(information.entries, kTextPair);
      inner.Elements(information.properties, kTextPair);
    });
    PassAnswer(fields, self.resultText,
               [](auto& inner, auto& text) { inner.Perhaps(text, kText); });
    fields.Elements(self.tests, kFields);
    fields.Elements(self.tools, kFields);
  }
};

using ResourcesAnswer = Answer<std::vector<DiagResource>>;

inline constexpr auto kResourceFields = [](auto& fields, auto& resource) {
  fields.Text(resource.type);
  fields.Elements(resource.pairs, kTextPair);
};

}  // namespace orvan::protocol
