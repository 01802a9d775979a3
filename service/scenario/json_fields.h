#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "service/scenario/scenario_file.h"

// Typed reading of JSON values with the place of each fault. For the readers of a scenario file
// alone: the JSON library is heavy to compile.
namespace orvan::scenario {

using Json = nlohmann::json;

constexpr std::uint64_t kLongestMs = 7ULL * 24 * 60 * 60 * 1000;
constexpr std::uint32_t kMax32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t kMax64 = std::numeric_limits<std::uint64_t>::max();

[[noreturn]] inline void Fail(const std::string& place, const std::string& fault) {
  throw ScenarioFault((place.empty() ? "the file" : place) + ": " + fault);
}

inline std::string Text(const Json& value, const std::string& place) {
  if (!value.is_string()) Fail(place, "must be a text");
  return value.get<std::string>();
}

inline std::uint64_t Number(const Json& value, const std::string& place, std::uint64_t greatest) {
  if (!value.is_number_unsigned() || value.get<std::uint64_t>() > greatest) {
    Fail(place, "must be a whole number from 0 to " + std::to_string(greatest));
  }
  return value.get<std::uint64_t>();
}

// Reads `value` as an array, each element by `read(element, place of the element)`.
template <typename Read>
auto List(const Json& value, const std::string& place, Read read) {
  if (!value.is_array()) Fail(place, "must be a list");
  std::vector<decltype(read(value, place))> items;
  items.reserve(value.size());
  for (const Json& item : value) {
    items.push_back(read(item, place + '[' + std::to_string(items.size()) + ']'));
  }
  return items;
}

// Reads `value` as an object from any key to what `read` gives.
template <typename Read>
auto Map(const Json& value, const std::string& place, Read read) {
  if (!value.is_object()) Fail(place, "must be an object");
  std::map<std::string, decltype(read(value, place))> items;
  for (const auto& [key, item] : value.items()) {
    std::string where = place;
    where.append(".").append(key);
    items.emplace(key, read(item, where));
  }
  return items;
}

inline std::vector<std::string> Texts(const Json& value, const std::string& place) {
  return List(value, place, Text);
}

// One object of the file. Every key that is read counts as known; Finish refuses the others.
class Fields {
 public:
  Fields(const Json& value, std::string place) : value_(value), place_(std::move(place)) {
    if (!value.is_object()) Fail(place_, "must be an object");
  }

  std::string PlaceOf(std::string_view key) const {
    std::string place = place_.empty() ? place_ : place_ + '.';
    return place.append(key);
  }

  const Json* Find(const char* key) {
    known_.insert(key);
    const auto found = value_.find(key);
    return found != value_.end() ? &*found : nullptr;
  }
  const Json& Need(const char* key) {
    const Json* found = Find(key);
    if (found == nullptr) Fail(PlaceOf(key), "is missing");
    return *found;
  }

  std::string NeedText(const char* key) { return Text(Need(key), PlaceOf(key)); }
  std::string GetText(const char* key, std::string fallback = {}) {
    const Json* found = Find(key);
    return found != nullptr ? Text(*found, PlaceOf(key)) : std::move(fallback);
  }
  std::uint64_t GetNumber(const char* key, std::uint64_t greatest) {
    const Json* found = Find(key);
    return found != nullptr ? Number(*found, PlaceOf(key), greatest) : 0;
  }
  std::uint32_t Get32(const char* key) {
    return static_cast<std::uint32_t>(GetNumber(key, kMax32));
  }
  std::int32_t GetSigned(const char* key, std::int32_t fallback) {
    const Json* found = Find(key);
    if (found == nullptr) return fallback;
    const bool fits =
        found->is_number_unsigned()
            ? found->get<std::uint64_t>() <= kMax32 / 2
            : found->is_number_integer() &&
                  found->get<std::int64_t>() >= std::numeric_limits<std::int32_t>::min();
    if (!fits) Fail(PlaceOf(key), "must be a whole number of 32 bits");
    return found->get<std::int32_t>();
  }
  bool GetFlag(const char* key, bool fallback = false) {
    const Json* found = Find(key);
    if (found != nullptr && !found->is_boolean()) Fail(PlaceOf(key), "must be true or false");
    return found != nullptr ? found->get<bool>() : fallback;
  }
  std::chrono::milliseconds GetMs(const char* key) {
    return std::chrono::milliseconds(GetNumber(key, kLongestMs));
  }
  template <typename Read>
  auto GetList(const char* key, Read read) {
    const Json* found = Find(key);
    return found != nullptr ? List(*found, PlaceOf(key), read)
                            : decltype(List(*found, PlaceOf(key), read)){};
  }
  template <typename Read>
  auto GetMap(const char* key, Read read) {
    const Json* found = Find(key);
    return found != nullptr ? Map(*found, PlaceOf(key), read)
                            : decltype(Map(*found, PlaceOf(key), read)){};
  }

  void Finish() const {
    for (const auto& item : value_.items()) {
      if (known_.count(item.key()) == 0) Fail(PlaceOf(item.key()), "is an unknown key");
    }
  }

 private:
  const Json& value_;
  std::string place_;
  std::set<std::string, std::less<>> known_;
};

}  // namespace orvan::scenario
