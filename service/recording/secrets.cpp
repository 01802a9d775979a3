#include "service/recording/secrets.h"

#include <algorithm>
#include <array>
#include <set>

namespace orvan::recording {
namespace {

// Shorter ones, and digits alone, would be found in numbers and words that are none.
constexpr std::size_t kShortest = 6;
constexpr std::size_t kShortestNumber = 8;
constexpr std::size_t kShortestHost = 4;
constexpr std::size_t kFewestCharacters = 3;  // that differ
constexpr std::size_t kShortestInside = 8;    // shorter ones count only when they stand alone

bool IsNumber(std::string_view core) {
  return core.find_first_not_of("0123456789") == std::string_view::npos;
}

bool CanBeFound(const std::string& core) {
  return core.size() >= (IsNumber(core) ? kShortestNumber : kShortest) &&
         std::set<char>(core.begin(), core.end()).size() >= kFewestCharacters;
}

bool StandsAlone(const std::string& core) {
  return IsNumber(core) || core.size() < kShortestInside;
}

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
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

// Words that stand everywhere, and are names of hosts as well.
bool IsCommonWord(const std::string& core) {
  static constexpr std::array<std::string_view, 16> kWords = {
      "block",  "boot", "data", "devices", "disk", "home", "host",    "linux",
      "mapper", "nvme", "root", "scsi",    "swap", "uuid", "virtual", "system"};
  return std::find(kWords.begin(), kWords.end(), core) != kWords.end();
}

std::string Same(const std::string& text) {
  return text;
}

// The forms in which a value turns up, beside those with other separators.
constexpr std::string (*kForms[])(const std::string&) = {
    Same,
    Hexadecimal,
    [](const std::string& text) { return Swapped(text); },
    [](const std::string& text) { return Swapped(' ' + text); },
};

std::string BytesOf(const std::string& digits) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

// The orders in which the bytes of a number stand in a page.
std::vector<std::string> OrdersOf(const std::string& bytes) {
  std::vector<std::string> orders = {bytes, {bytes.rbegin(), bytes.rend()}};
  if (bytes.size() % 2 == 0) orders.push_back(Swapped(bytes));
  if (bytes.size() != 16) return orders;
  // Source: RFC 9562, 4 (a GUID's first three fields in the order of the machine).
  std::string mixed = bytes;
  std::reverse(mixed.begin(), mixed.begin() + 4);
  std::reverse(mixed.begin() + 4, mixed.begin() + 6);
  std::reverse(mixed.begin() + 6, mixed.begin() + 8);
  orders.push_back(mixed);
  return orders;
}

std::uint16_t HeadOf(char first, char second) {
  return static_cast<std::uint16_t>(static_cast<unsigned char>(first) << 8 |
                                    static_cast<unsigned char>(second));
}

}  // namespace

std::string Secrets::Hide(std::string_view value) {
  const std::lock_guard lock(mutex_);
  std::string secret(value);
  if (IsPlaceholder(secret)) return secret;
  const std::string core = CoreOf(value);
  // Another form of a known one has the stand-in of that form.
  std::vector<std::size_t> characters;
  if (const KnownSecret* known = FindWhole(core)) {
    for (std::size_t i = 0; i < value.size(); ++i) {
      if (!CoreOf(value.substr(i, 1)).empty()) characters.push_back(i);
    }
    known->ReplaceIn(secret, characters);
    return secret;
  }
  const std::string standIn = StandInOf(key_, secret);
  if (CanBeFound(core)) Learn(secret, standIn);
  return standIn;
}

void Secrets::LearnHost(std::string_view name) {
  const std::string label(name.substr(0, name.find('.')));
  if (label.empty() || IsPlaceholder(label) || IsPlaceholder(std::string(name))) return;
  Hide(name);
  Hide(label);
  const std::lock_guard lock(mutex_);
  const std::string core = CoreOf(label);
  if (core.size() < kShortestHost || IsNumber(core) || IsCommonWord(core)) return;
  // Such a short stand-in may be a word of a path, so it is not led back by how it looks.
  if (FindWhole(core) == nullptr) Insert(hidden_, KnownSecret(label, StandInOf(key_, label), true));
}

const KnownSecret* Secrets::FindWhole(const std::string& core) const {
  if (core.size() < 2) return nullptr;
  const auto row = hidden_.find(HeadOf(core[0], core[1]));
  if (row == hidden_.end()) return nullptr;
  const auto found =
      std::find_if(row->second.begin(), row->second.end(),
                   [&core](const KnownSecret& known) { return known.Core() == core; });
  return found == row->second.end() ? nullptr : &*found;
}

void Secrets::Insert(Table& table, KnownSecret known) {
  std::vector<KnownSecret>& row = table[HeadOf(known.Core()[0], known.Core()[1])];
  const auto place = std::find_if(row.begin(), row.end(), [&known](const KnownSecret& one) {
    return one.Core().size() < known.Core().size();
  });
  row.insert(place, std::move(known));
}

void Secrets::Learn(const std::string& secret, const std::string& standIn) {
  for (const auto form : kForms) {
    const std::string from = form(secret);
    const std::string core = CoreOf(from);
    if (!CanBeFound(core) || FindWhole(core) != nullptr) continue;
    const std::string to = form(standIn);
    Insert(hidden_, KnownSecret(from, to, StandsAlone(core)));
    Insert(revealed_, KnownSecret(to, from, StandsAlone(core)));
  }
  constexpr std::size_t kFewestBytes = 6, kMostBytes = 16;
  const std::string digits = CoreOf(secret);
  const bool isBytes = digits.find_first_not_of("0123456789abcdef") == std::string::npos &&
                       digits.size() % 2 == 0 && digits.size() / 2 >= kFewestBytes &&
                       digits.size() / 2 <= kMostBytes;
  if (!isBytes) return;
  const auto from = OrdersOf(BytesOf(digits)), to = OrdersOf(BytesOf(CoreOf(standIn)));
  for (std::size_t i = 0; i < from.size(); ++i) bytes_.emplace_back(from[i], to[i]);
}

// The longest one that stands there.
const KnownSecret* Secrets::FirstAt(std::string_view text, std::size_t at, const Table& table,
                                    std::vector<std::size_t>& characters) {
  constexpr std::size_t kLookAhead = 5;  // behind an escaped blank
  const std::string head = CoreOf(text.substr(at, 1));
  if (head.empty()) return nullptr;
  std::size_t second = at + 1;
  while (second < text.size() && second <= at + kLookAhead) {
    const std::string next = CoreOf(text.substr(second, 1));
    if (next.empty()) {
      ++second;
      continue;
    }
    const auto row = table.find(HeadOf(head[0], next[0]));
    if (row != table.end()) {
      for (const KnownSecret& known : row->second) {
        if (known.IsAt(text, at, characters)) return &known;
      }
    }
    return nullptr;
  }
  return nullptr;
}

Places Secrets::Find(std::string_view text) const {
  const std::lock_guard lock(mutex_);
  Places places;
  std::vector<std::size_t> characters;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (FirstAt(text, at, hidden_, characters) == nullptr) continue;
    places.push_back({at, characters.back() + 1 - at});
    at = characters.back();
  }
  return places;
}

std::string Secrets::Exchanged(std::string_view text, const Table& table) const {
  const std::lock_guard lock(mutex_);
  std::string out(text);
  std::vector<std::size_t> characters;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const KnownSecret* const known = FirstAt(text, at, table, characters);
    if (known == nullptr) continue;
    known->ReplaceIn(out, characters);
    at = characters.back();
  }
  return out;
}

std::string Secrets::HiddenInPage(std::string page) const {
  page = Hidden(page);
  const std::lock_guard lock(mutex_);
  for (const auto& [from, to] : bytes_) {
    for (std::size_t at = page.find(from); at != std::string::npos;
         at = page.find(from, at + from.size())) {
      page.replace(at, from.size(), to);
    }
  }
  return page;
}

}  // namespace orvan::recording
