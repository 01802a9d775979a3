#pragma once

#include <simdjson.h>

#include <optional>
#include <string>
#include <string_view>

// What a log's line holds, taken out of it without believing any of it. Any thread.
namespace tarvex::history {

using JsonValue = simdjson::dom::element;
using JsonMembers = simdjson::dom::object;

// The member, when it is there and of that kind.
std::optional<JsonMembers> ObjectIn(const JsonMembers& object, std::string_view key);
std::optional<JsonValue> ListIn(const JsonMembers& object, std::string_view key);
std::optional<std::uint64_t> WholeIn(const JsonMembers& object, std::string_view key);
std::optional<double> NumberIn(const JsonMembers& object, std::string_view key);
// Also "": no such text. What steers a terminal is U+FFFD.
std::string TextIn(const JsonMembers& object, std::string_view key);
// The same as the log has it, valid as long as the line is.
std::string_view RawTextIn(const JsonMembers& object, std::string_view key);

// The text as it may be shown.
std::string Shown(std::string_view text);

// UTC with milliseconds, 2026-11-21T08:00:00.000Z, as milliseconds since the epoch; none for any
// other text.
std::optional<std::int64_t> MillisecondsOf(std::string_view time);

}  // namespace tarvex::history
