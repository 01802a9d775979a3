#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// How a known secret is found again in a text. Any thread.
namespace orvan::recording {

// The letters and digits of a text, in lower case: what tells one secret from another.
std::string CoreOf(std::string_view text);

// A secret by its letters and digits. Between them may stand whatever stands there in the secret,
// other separators, or none.
class KnownSecret {
 public:
  // `standIn` has a letter or digit for each of `secret`.
  KnownSecret(std::string_view secret, std::string_view standIn, bool standsAlone);

  const std::string& Core() const { return core_; }
  // Whether it stands at `at`; `characters` are then the places of its letters and digits.
  bool IsAt(std::string_view text, std::size_t at, std::vector<std::size_t>& characters) const;
  // Puts the stand-in there, in the case that it stands in.
  void ReplaceIn(std::string& text, const std::vector<std::size_t>& characters) const;

 private:
  std::size_t GapAt(std::string_view text, std::size_t at, std::size_t character) const;

  std::string core_;
  std::string standIn_;            // its core
  std::vector<std::string> gaps_;  // in front of each character of the core
  bool isHexNumber_ = false;       // separators may stand anywhere
  bool standsAlone_ = false;  // counts only between characters that are neither letter nor digit
};

}  // namespace orvan::recording
