#pragma once

#include <array>
#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "service/protocol/byte_stores.h"
#include "service/protocol/limits.h"

// How the fields of a message become bytes and come back. A message lists its fields once, in an
// operation that takes either a FieldWriter or a FieldReader, so both sides check the same.
namespace orvan::protocol {

namespace detail {

// The longest beginning of at most `limit` bytes that does not part a UTF-8 sequence.
inline std::size_t CutSize(const std::string& text, std::size_t limit) {
  if (text.size() <= limit) return text.size();
  while (limit > 0 && (static_cast<unsigned char>(text[limit]) & 0xC0U) == 0x80U) --limit;
  return limit;
}

// What the elements of all lists of a message may take in memory, without what they hold.
class Room {
 public:
  bool Take(std::size_t count, std::size_t size) {
    if (count > left_ / size) return false;
    left_ -= count * size;
    return true;
  }
  std::size_t Taken() const { return kMostElementBytes - left_; }

 private:
  std::size_t left_ = kMostElementBytes;
};

}  // namespace detail

// Writes fields one behind the other. What the other side would refuse fails here. One thread.
template <typename Store>
class FieldWriter {
 public:
  explicit FieldWriter(Store& store) : store_(store) {}
  bool IsGood() const { return good_; }
  // What the elements of all lists take in memory, without what they hold.
  std::size_t ElementBytes() const { return room_.Taken(); }

  template <typename Number>
  requires std::is_arithmetic_v<Number>
  void Value(const Number& value) { Put(&value, sizeof(value)); }
  void Flag(const bool& flag) { Value(static_cast<std::uint8_t>(flag)); }
  // One of an enumeration whose last value is `last`.
  template <typename Choice>
  void OneOf(const Choice& choice, Choice last) {
    good_ = good_ && choice <= last;
    Value(static_cast<std::uint32_t>(choice));
  }
  void Text(const std::string& text) {
    good_ = good_ && text.size() <= kLongestText;
    Value(static_cast<std::uint32_t>(text.size()));
    Put(text.data(), text.size());
  }
  // For people alone: one that is too long is cut, and says so at its end.
  void Words(const std::string& text) {
    if (text.size() <= kLongestText) return Text(text);
    Text(text.substr(0, detail::CutSize(text, kLongestText - kCutMark.size())).append(kCutMark));
  }
  template <std::size_t kSize>
  void Bytes(const std::array<char, kSize>& bytes) {
    Put(bytes.data(), bytes.size());
  }
  // `each` is called with this and an element.
  template <typename List, typename Each>
  void Elements(const List& list, Each each) {
    good_ = good_ && list.size() <= kMostElements &&
            room_.Take(list.size(), sizeof(typename List::value_type));
    Value(static_cast<std::uint32_t>(list.size()));
    for (const auto& element : list) each(*this, element);
  }
  template <typename Content, typename Each>
  void Perhaps(const std::optional<Content>& content, Each each) {
    Flag(content.has_value());
    if (content) each(*this, *content);
  }

 private:
  void Put(const void* from, std::size_t size) { good_ = good_ && store_.Append(from, size); }

  Store& store_;
  detail::Room room_;
  bool good_ = true;
};

// Reads what a FieldWriter wrote, from bytes that may be anything. After the first fault all else
// stays as it is. Memory is taken for what can be there, and within bounds. One thread.
class FieldReader {
 public:
  explicit FieldReader(std::span<const std::byte> bytes) : rest_(bytes) {}
  // Every field was there, and nothing is behind them.
  bool IsDone() const { return good_ && rest_.empty(); }

  template <typename Number>
  requires std::is_arithmetic_v<Number>
  void Value(Number& value) { Take(&value, sizeof(value)); }
  void Flag(bool& flag) {
    std::uint8_t value = 0;
    Value(value);
    good_ = good_ && value <= 1;
    if (good_) flag = value == 1;
  }
  template <typename Choice>
  void OneOf(Choice& choice, Choice last) {
    std::uint32_t value = 0;
    Value(value);
    good_ = good_ && value <= static_cast<std::uint32_t>(last);
    if (good_) choice = static_cast<Choice>(value);
  }
  void Text(std::string& text) {
    std::uint32_t size = 0;
    Value(size);
    good_ = good_ && size <= kLongestText && size <= rest_.size();
    if (!good_) return;
    text.assign(reinterpret_cast<const char*>(rest_.data()), size);
    rest_ = rest_.subspan(size);
  }
  void Words(std::string& text) { Text(text); }
  template <std::size_t kSize>
  void Bytes(std::array<char, kSize>& bytes) {
    Take(bytes.data(), bytes.size());
  }
  template <typename Element, typename Each>
  void Elements(std::vector<Element>& list, Each each) {
    std::uint32_t count = 0;
    Value(count);
    // An element has a byte at least, so no count makes us wait for what cannot come.
    good_ = good_ && count <= kMostElements && count <= rest_.size() &&
            room_.Take(count, sizeof(Element));
    if (good_) list.reserve(count);
    for (std::uint32_t i = 0; good_ && i < count; ++i) each(*this, list.emplace_back());
  }
  template <typename Each>
  void Elements(std::map<std::string, std::string>& map, Each each) {
    std::vector<std::pair<std::string, std::string>> pairs;
    Elements(pairs, each);
    for (auto& [key, value] : pairs) {
      // In order and each once, as a map is written.
      good_ = good_ && (map.empty() || map.rbegin()->first < key);
      if (good_) map.emplace_hint(map.end(), std::move(key), std::move(value));
    }
  }
  template <typename Content, typename Each>
  void Perhaps(std::optional<Content>& content, Each each) {
    bool isThere = false;
    Flag(isThere);
    if (good_ && isThere) each(*this, content.emplace());
  }

 private:
  void Take(void* to, std::size_t size) {
    good_ = good_ && size <= rest_.size();
    if (!good_) return;
    std::memcpy(to, rest_.data(), size);
    rest_ = rest_.subspan(size);
  }

  std::span<const std::byte> rest_;
  detail::Room room_;
  bool good_ = true;
};

// For elements that are a text, or a pair of two.
inline constexpr auto kWords = [](auto& fields, auto& text) { fields.Words(text); };
inline constexpr auto kText = [](auto& fields, auto& text) { fields.Text(text); };
inline constexpr auto kTextPair = [](auto& fields, auto& pair) {
  fields.Text(pair.first);
  fields.Text(pair.second);
};
// For elements that list their own fields.
inline constexpr auto kFields = [](auto& fields, auto& element) {
  std::remove_cvref_t<decltype(element)>::Pass(fields, element);
};

}  // namespace orvan::protocol
