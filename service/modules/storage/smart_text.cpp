#include "service/modules/storage/smart_text.h"

#include <initializer_list>
#include <string_view>
#include <utility>

namespace orvan::storage {
namespace {

using Pair = std::pair<std::string_view, std::string_view>;

// What would end the value or its record.
char Harmless(char byte) {
  switch (byte) {
    case '"':
      return '\'';
    case '{':
      return '(';
    case '}':
      return ')';
    default:
      return byte;
  }
}

void AppendRecord(std::string& text, std::initializer_list<Pair> pairs) {
  text += text.empty() ? "[{" : ",{";
  bool isFirst = true;
  for (const auto& [name, value] : pairs) {
    if (!isFirst) text += ',';
    isFirst = false;
    text += '"';
    text += name;
    text += "\":\"";
    for (const char byte : value) text += Harmless(byte);
    text += '"';
  }
  text += '}';
}

std::string Closed(std::string text) {
  return text.empty() ? text : text + ']';
}

}  // namespace

std::string TextOfColumns(const HealthAttributes& attributes) {
  std::string text;
  for (const HealthAttribute& one : attributes) {
    AppendRecord(text, {{"id", std::to_string(one.id)},
                        {"name", one.name},
                        {"threshold", one.threshold},
                        {"value", one.value},
                        {"worst", one.worst},
                        {"data", one.data}});
  }
  return Closed(std::move(text));
}

std::string TextOfData(const HealthAttributes& attributes) {
  std::string text;
  for (const HealthAttribute& one : attributes) {
    AppendRecord(text, {{"id", std::to_string(one.id)}, {"name", one.name}, {"data", one.data}});
  }
  return Closed(std::move(text));
}

std::string TextOf(const DriveInformation& information) {
  std::string text;
  for (const auto& [name, value] : information) {
    AppendRecord(text, {{"name", name}, {"value", value}});
  }
  return Closed(std::move(text));
}

}  // namespace orvan::storage
