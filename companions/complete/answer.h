#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarvex::complete {

// A word that can stand in the place of the one in hand.
struct Candidate {
  std::string text;
  std::string summary;  // one line; may be empty

  bool operator==(const Candidate&) const = default;
};

// Whether a name from outside, such as a module's or a device's, is plain enough to be offered:
// letters and digits of ASCII and "_.:+@-", none in front that makes it an option. No shell gives
// any of these a meaning, so nothing that a module or a drive calls itself can become more than a
// word.
bool IsPlainName(std::string_view name);

// The words that may take the place of the one in hand, each once, in the order in which they were
// offered.
class Answer {
 public:
  // `typed` is the word in hand, without its quotes.
  explicit Answer(std::string typed) : typed_(std::move(typed)) {}

  // Takes the word unless it begins otherwise than what was typed, or has a character in it that a
  // plain name has not and that is none of "=(),/". The summary may come from outside.
  void Offer(std::string text, std::string_view summary = {});

  const std::string& typed() const { return typed_; }
  const std::vector<Candidate>& candidates() const { return candidates_; }

 private:
  const std::string typed_;
  std::vector<Candidate> candidates_;
};

}  // namespace tarvex::complete
