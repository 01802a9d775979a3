#include "service/recording/known_secret.h"

#include <algorithm>

namespace orvan::recording {
namespace {

constexpr std::size_t kShortestHexNumber = 12;  // a MAC address
constexpr std::string_view kSeparators = "-:_. ";
constexpr std::size_t kWidestGap = 2;  // "--" in names of volumes

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsLetterOrDigit(char c) {
  const char lower = Lower(c);
  return (c >= '0' && c <= '9') || (lower >= 'a' && lower <= 'z');
}

bool IsHexNumber(const std::string& core) {
  return core.size() >= kShortestHexNumber &&
         core.find_first_not_of("0123456789abcdef") == std::string::npos &&
         core.find_first_of("abcdef") != std::string::npos;
}

}  // namespace

std::string CoreOf(std::string_view text) {
  std::string core;
  for (const char c : text) {
    if (IsLetterOrDigit(c)) core += Lower(c);
  }
  return core;
}

KnownSecret::KnownSecret(std::string_view secret, std::string_view standIn, bool standsAlone)
    : core_(CoreOf(secret)),
      standIn_(CoreOf(standIn)),
      isHexNumber_(IsHexNumber(core_)),
      standsAlone_(standsAlone) {
  std::string gap;
  for (const char c : secret) {
    if (!IsLetterOrDigit(c)) {
      gap += c;
      continue;
    }
    gaps_.push_back(gaps_.empty() ? std::string() : gap);
    gap.clear();
  }
}

// The size of what stands between two characters.
std::size_t KnownSecret::GapAt(std::string_view text, std::size_t at, std::size_t character) const {
  const std::string& gap = gaps_[character];
  const std::string_view rest = text.substr(at);
  if (!gap.empty() && rest.starts_with(gap) && !rest.substr(gap.size()).starts_with(gap)) {
    return gap.size();
  }
  if (gap.empty() && !isHexNumber_) return 0;
  // Source: udev(7), string escaping.
  constexpr std::string_view kEscapedBlank = "\\x20";
  if (rest.starts_with(kEscapedBlank)) return kEscapedBlank.size();
  const std::size_t size = std::min(rest.find_first_not_of(kSeparators), rest.size());
  return size <= std::max(kWidestGap, gap.size()) ? size : 0;
}

bool KnownSecret::IsAt(std::string_view text, std::size_t at,
                       std::vector<std::size_t>& characters) const {
  characters.clear();
  if (standsAlone_ && at > 0 && IsLetterOrDigit(text[at - 1])) return false;
  for (std::size_t i = 0; i < core_.size(); ++i) {
    if (i > 0) at += GapAt(text, at, i);
    if (at >= text.size() || Lower(text[at]) != core_[i]) return false;
    characters.push_back(at++);
  }
  return !standsAlone_ || at >= text.size() || !IsLetterOrDigit(text[at]);
}

void KnownSecret::ReplaceIn(std::string& text, const std::vector<std::size_t>& characters) const {
  for (std::size_t i = 0; i < characters.size(); ++i) {
    char& c = text[characters[i]];
    const bool isUpper = c != Lower(c);
    c = isUpper ? static_cast<char>(standIn_[i] - 'a' + 'A') : standIn_[i];
  }
}

}  // namespace orvan::recording
