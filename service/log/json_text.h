#pragma once

#include <string>
#include <string_view>
#include <utility>

// Writing JSON, one line at a time. Any thread.
namespace orvan::log {

// The text as a JSON string, with its quotes. What steers a terminal is written by its number, so
// that the file can be looked at and a reader gets the same text. Each byte that is no part of
// well-formed UTF-8 becomes U+FFFD.
std::string JsonText(const std::string& text);

// The shortest number that reads back as `value`, a whole one without exponent as far as every
// whole number is exact. What is no JSON number (infinite, not a number) is a string.
std::string JsonNumber(double value);

// An object whose members stand in the order in which they were added.
class JsonObject {
 public:
  JsonObject& Text(std::string_view key, const std::string& text) {
    return Raw(key, JsonText(text));
  }
  JsonObject& Number(std::string_view key, double value) { return Raw(key, JsonNumber(value)); }
  // `json` is a whole value. Keys are plain ASCII.
  JsonObject& Raw(std::string_view key, std::string_view json) {
    text_ += text_.size() > 1 ? ",\"" : "\"";
    text_.append(key).append("\":").append(json);
    return *this;
  }
  // The object, which ends with this.
  std::string Take() { return std::move(text_) + '}'; }

 private:
  std::string text_ = "{";
};

// A list of what `write` makes of each item.
template <typename Items, typename Write>
std::string JsonList(const Items& items, Write write) {
  std::string list = "[";
  for (const auto& item : items) {
    list += list.size() > 1 ? "," : "";
    list += write(item);
  }
  return list + ']';
}

}  // namespace orvan::log
