#include "service/recording/secrets.h"

#include <algorithm>
#include <array>
#include <set>

namespace orvan::recording {
namespace {

// Shorter ones, and digits alone, would be found in numbers and words that are none.
constexpr std::size_t kShortest = 6;
constexpr std::size_t kShortestNumber = 8;
constexpr std::size_t kFewestCharacters = 3;  // that differ
constexpr std::size_t kShortestInside = 8;    // shorter ones count only when they stand alone

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

bool IsLetterOrDigit(char c) {
  return IsDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool IsNumber(std::string_view value) {
  return std::all_of(value.begin(), value.end(), IsDigit);
}

bool CanBeFound(std::string_view value) {
  std::set<char> different;
  std::size_t count = 0;
  for (const char c : value) {
    if (!IsLetterOrDigit(c)) continue;
    ++count;
    different.insert(c);
  }
  return count >= (IsNumber(value) ? kShortestNumber : kShortest) &&
         different.size() >= kFewestCharacters;
}

template <typename Change>
std::string With(std::string text, Change change) {
  std::transform(text.begin(), text.end(), text.begin(), change);
  return text;
}

std::string Lower(const std::string& text) {
  return With(text, [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
}

std::string Upper(const std::string& text) {
  return With(text, [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
}

std::string Underlined(const std::string& text) {
  return With(text, [](char c) { return c == ' ' ? '_' : c; });
}

std::string WithoutMarks(std::string text) {
  std::erase_if(text, [](char c) { return c == '-' || c == ':'; });
  return text;
}

std::string Hexadecimal(const std::string& text) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string digits;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    digits += {kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return digits;
}

// As an ATA drive stores a text.
std::string Swapped(std::string text) {
  if (text.size() % 2 != 0) text += ' ';
  for (std::size_t i = 0; i < text.size(); i += 2) std::swap(text[i], text[i + 1]);
  return text;
}

// What stands where nobody put a value in.
bool IsPlaceholder(const std::string& value) {
  static constexpr std::array<std::string_view, 10> kWords = {"none",
                                                              "(none)",
                                                              "unknown",
                                                              "n/a",
                                                              "localhost",
                                                              "not specified",
                                                              "default string",
                                                              "to be filled by o.e.m.",
                                                              "system serial number",
                                                              "no asset tag"};
  const bool isOneCharacter = value.find_first_not_of(value.substr(0, 1)) == std::string::npos;
  return isOneCharacter || std::find(kWords.begin(), kWords.end(), Lower(value)) != kWords.end();
}

std::string Same(const std::string& text) {
  return text;
}

std::string UpperHexadecimal(const std::string& text) {
  return Upper(Hexadecimal(text));
}

// The forms in which a value turns up.
constexpr std::string (*kForms[])(const std::string&) = {
    Same,
    [](const std::string& text) { return Lower(text); },
    [](const std::string& text) { return Upper(text); },
    Underlined,
    [](const std::string& text) { return WithoutMarks(text); },
    Hexadecimal,
    UpperHexadecimal,
    [](const std::string& text) { return Swapped(text); },
};

std::uint16_t HeadOf(std::string_view text) {
  return static_cast<std::uint16_t>(static_cast<unsigned char>(text[0]) << 8 |
                                    static_cast<unsigned char>(text[1]));
}

}  // namespace

std::string Secrets::Hide(std::string_view value) {
  const std::lock_guard lock(mutex_);
  // Another form of a known one has the stand-in of that form.
  if (const Pair* known = FindWhole(value)) return known->to;
  const std::string secret(value);
  if (IsPlaceholder(secret)) return secret;
  const std::string standIn = StandInOf(key_, secret);
  if (!CanBeFound(secret)) return standIn;
  for (const auto form : kForms) {
    const std::string one = form(secret);
    if (CanBeFound(one) && FindWhole(one) == nullptr) {
      Add(one, form(standIn));
    }
  }
  return standIn;
}

const Secrets::Pair* Secrets::FindWhole(std::string_view value) const {
  if (value.size() < 2) return nullptr;
  const auto row = hidden_.find(HeadOf(value));
  if (row == hidden_.end()) return nullptr;
  const auto found = std::find_if(row->second.begin(), row->second.end(),
                                  [value](const Pair& pair) { return pair.from == value; });
  return found == row->second.end() ? nullptr : &*found;
}

void Secrets::Add(const std::string& secret, const std::string& standIn) {
  const auto insert = [](Pairs& pairs, const std::string& from, const std::string& to) {
    std::vector<Pair>& row = pairs[HeadOf(from)];
    const auto place = std::find_if(
        row.begin(), row.end(), [&](const Pair& pair) { return pair.from.size() < from.size(); });
    const bool standsAlone = IsNumber(from) || from.size() < kShortestInside;
    row.insert(place, {from, to, standsAlone});
  };
  insert(hidden_, secret, standIn);
  insert(revealed_, standIn, secret);
}

std::string Secrets::Exchanged(std::string_view text, const Pairs& pairs) const {
  const std::lock_guard lock(mutex_);
  std::string out;
  out.reserve(text.size());
  const auto isInside = [&text](std::size_t at) {
    return at < text.size() && IsLetterOrDigit(text[at]);
  };
  std::size_t at = 0;
  while (at < text.size()) {
    const auto row = at + 1 < text.size() ? pairs.find(HeadOf(text.substr(at))) : pairs.end();
    const Pair* found = nullptr;
    if (row != pairs.end()) {
      for (const Pair& pair : row->second) {
        if (!text.substr(at).starts_with(pair.from)) continue;
        const std::size_t end = at + pair.from.size();
        if (pair.standsAlone && ((at > 0 && isInside(at - 1)) || isInside(end))) continue;
        found = &pair;
        break;
      }
    }
    if (found == nullptr) {
      out += text[at++];
    } else {
      out += found->to;
      at += found->from.size();
    }
  }
  return out;
}

}  // namespace orvan::recording
