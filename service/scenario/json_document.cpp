#include "service/scenario/json_document.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace orvan::scenario {
namespace {

[[noreturn]] void FailSyntax(std::string_view text, const Json::parse_error& error) {
  // The byte is counted from 1 and may lie one behind the end.
  const std::size_t at = std::min(error.byte > 0 ? error.byte - 1 : 0, text.size());
  const std::string_view before = text.substr(0, at);
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const std::size_t lineStart = before.rfind('\n');
  const std::size_t column = at - (lineStart == std::string_view::npos ? 0 : lineStart + 1) + 1;
  throw ScenarioFault("line " + std::to_string(line) + ", column " + std::to_string(column) +
                      ": is no JSON");
}

// The parser keeps the last of two equal keys in silence; a file that says two things is refused.
// A pass of its own over the text: the parser's callback makes the parse itself quadratic.
class RepeatedKeys : public Json::json_sax_t {
 public:
  bool start_object(std::size_t /*elements*/) override { return Open(false); }
  bool end_object() override { return Close(); }
  bool key(string_t& name) override {
    Level& object = open_.back();
    object.key = name;
    if (!object.keys.insert(name).second) Fail(Place(), "stands twice");
    return true;
  }
  bool null() override { return Count(); }
  bool boolean(bool /*value*/) override { return Count(); }
  bool number_integer(number_integer_t /*value*/) override { return Count(); }
  bool number_unsigned(number_unsigned_t /*value*/) override { return Count(); }
  bool number_float(number_float_t /*value*/, const string_t& /*text*/) override { return Count(); }
  bool string(string_t& /*value*/) override { return Count(); }
  bool binary(binary_t& /*value*/) override { return Count(); }
  bool start_array(std::size_t /*elements*/) override { return Open(true); }
  bool end_array() override { return Close(); }
  // The parse that follows tells the error with its place.
  bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                   const nlohmann::detail::exception& /*error*/) override {
    return false;
  }

 private:
  struct Level {
    bool isList = false;
    std::size_t begun = 0;  // elements of a list, the last of which is being read
    std::set<std::string> keys;
    std::string key;  // the one that is being read
  };

  // A value begins, which counts where a list holds it.
  bool Count() {
    if (!open_.empty()) ++open_.back().begun;
    return true;
  }
  bool Open(bool isList) {
    Count();
    open_.push_back({isList, 0, {}, {}});
    return true;
  }
  bool Close() {
    open_.pop_back();
    return true;
  }
  std::string Place() const {
    std::string place;
    for (const Level& level : open_) {
      if (level.isList) {
        place += '[' + std::to_string(level.begun - 1) + ']';
      } else {
        place += (place.empty() ? "" : ".") + level.key;
      }
    }
    return place;
  }

  std::vector<Level> open_;  // what is being read, from the outside in
};

}  // namespace

Json ParseJson(std::string_view text) {
  RepeatedKeys repeatedKeys;
  try {
    Json::sax_parse(text.begin(), text.end(), &repeatedKeys, nlohmann::json::input_format_t::json,
                    true, true);
    return Json::parse(text.begin(), text.end(), nullptr, true, true);
  } catch (const Json::parse_error& error) {
    FailSyntax(text, error);
  } catch (const Json::exception& error) {
    throw ScenarioFault("the file: is no JSON that can be read");
  }
}

}  // namespace orvan::scenario
