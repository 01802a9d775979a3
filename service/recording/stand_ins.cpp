#include "service/recording/stand_ins.h"

#include <sodium.h>

#include <algorithm>
#include <cctype>
#include <vector>

namespace orvan::recording {
namespace {

static_assert(Key::kBytes == crypto_generichash_KEYBYTES);

// A Feistel network needs four rounds to be a strong permutation; more for short values.
// Source: Luby and Rackoff, "How to construct pseudorandom permutations" (1988).
constexpr int kRounds = 10;
constexpr std::size_t kHashBytes = 16;
// What tells the two uses of a key apart.
constexpr unsigned char kStandIn = 1;
constexpr unsigned char kContent = 2;

class Hash {
 public:
  Hash(const Key& key, unsigned char use, std::size_t bytes) : size_(bytes) {
    crypto_generichash_init(&state_, key.Bytes().data(), Key::kBytes, size_);
    crypto_generichash_update(&state_, &use, 1);
  }
  void Add(const void* bytes, std::size_t size) {
    crypto_generichash_update(&state_, static_cast<const unsigned char*>(bytes), size);
  }
  void Add(std::uint64_t number) {
    std::array<unsigned char, 8> bytes{};
    for (unsigned char& byte : bytes) {
      byte = static_cast<unsigned char>(number);
      number >>= 8;
    }
    Add(bytes.data(), bytes.size());
  }
  std::vector<unsigned char> Take() {
    std::vector<unsigned char> bytes(size_);
    crypto_generichash_final(&state_, bytes.data(), size_);
    return bytes;
  }

 private:
  crypto_generichash_state state_{};
  std::size_t size_;
};

bool IsLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// One character that is replaced: one of `radix` that may stand in its place.
struct Place {
  std::size_t at = 0;  // in the value
  unsigned radix = 10;
  unsigned value = 0;
};
using Places = std::vector<Place>;

Places PlacesOf(std::string_view value) {
  const bool isHexadecimal = std::all_of(value.begin(), value.end(),
                                         [](char c) { return !IsLetter(c) || Lower(c) <= 'f'; });
  Places places;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (IsDigit(value[i])) {
      places.push_back({i, 10, static_cast<unsigned>(value[i] - '0')});
    } else if (IsLetter(value[i])) {
      places.push_back({i, isHexadecimal ? 6U : 26U, static_cast<unsigned>(Lower(value[i]) - 'a')});
    }
  }
  return places;
}

// Adds to each place of one half what the key, the shape of all and the other half give. With the
// other half known it can be taken off again, so no two values become one.
void Round(const Key& key, int round, Places& places, std::size_t middle) {
  const bool isFirst = round % 2 == 0;
  Hash hash(key, kStandIn, crypto_generichash_BYTES);
  hash.Add(static_cast<std::uint64_t>(round));
  hash.Add(places.size());
  for (std::size_t i = 0; i < places.size(); ++i) {
    const bool isOther = (i < middle) != isFirst;
    hash.Add(std::uint64_t{places[i].radix} << 8 | (isOther ? places[i].value : 0xFF));
  }
  const std::vector<unsigned char> seed = hash.Take();
  for (std::size_t i = isFirst ? 0 : middle; i < (isFirst ? middle : places.size()); ++i) {
    Hash drawn(key, kStandIn, kHashBytes);
    drawn.Add(seed.data(), seed.size());
    drawn.Add(i);
    const std::vector<unsigned char> bytes = drawn.Take();
    std::uint64_t number = 0;
    std::copy_n(bytes.begin(), sizeof number, reinterpret_cast<unsigned char*>(&number));
    places[i].value = static_cast<unsigned>((places[i].value + number) % places[i].radix);
  }
}

}  // namespace

std::string StandInOf(const Key& key, std::string_view value) {
  Places places = PlacesOf(value);
  for (int round = 0; round < kRounds; ++round) Round(key, round, places, places.size() / 2);
  std::string standIn(value);
  for (const Place& place : places) {
    const char first = place.radix == 10                           ? '0'
                       : Lower(value[place.at]) == value[place.at] ? 'a'
                                                                   : 'A';
    standIn[place.at] = static_cast<char>(first + static_cast<char>(place.value));
  }
  return standIn;
}

void ReplaceByStandIn(const Key& key, std::span<std::uint8_t> bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) text += {kDigits[byte >> 4], kDigits[byte & 15]};
  text = StandInOf(key, text);
  const auto digitOf = [](char c) { return IsDigit(c) ? c - '0' : c - 'a' + 10; };
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes[i] = static_cast<std::uint8_t>(digitOf(text[2 * i]) * 16 + digitOf(text[2 * i + 1]));
  }
}

std::string HashOf(const Key& key, std::span<const std::byte> bytes) {
  Hash hash(key, kContent, kHashBytes);
  hash.Add(bytes.size());
  hash.Add(bytes.data(), bytes.size());
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : hash.Take()) text += {kDigits[byte >> 4], kDigits[byte & 15]};
  return text;
}

}  // namespace orvan::recording
