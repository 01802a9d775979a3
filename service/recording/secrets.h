#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "service/recording/stand_ins.h"

namespace orvan::recording {

// The secrets that are known by now, and their stand-ins. Any thread.
class Secrets {
 public:
  explicit Secrets(const Key& key) : key_(key) {}
  const Key& RecordingKey() const { return key_; }

  // The stand-in of a secret, which is known from now on. One that is too short or too plain to be
  // told from other text ("ab1", "123456") is replaced where it is hidden, and nowhere else. What
  // stands where there is none ("0000", "None") is no secret.
  std::string Hide(std::string_view value);

  // The text with the stand-ins of all known secrets, in whatever form they stand there: in either
  // case, as hexadecimal text, or with each two bytes exchanged.
  std::string Hidden(std::string_view text) const { return Exchanged(text, hidden_); }
  // And back, for what a module gives to the machine.
  std::string Revealed(std::string_view text) const { return Exchanged(text, revealed_); }

 private:
  struct Pair {
    std::string from;
    std::string to;
    bool standsAlone = false;  // counts only between characters that are neither letter nor digit
  };
  // By the first two bytes, the longest in front.
  using Pairs = std::unordered_map<std::uint16_t, std::vector<Pair>>;

  std::string Exchanged(std::string_view text, const Pairs& pairs) const;
  const Pair* FindWhole(std::string_view value) const;
  void Add(const std::string& secret, const std::string& standIn);

  const Key key_;
  mutable std::mutex mutex_;  // guards all below
  Pairs hidden_;
  Pairs revealed_;
};

}  // namespace orvan::recording
