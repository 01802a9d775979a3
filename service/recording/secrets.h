#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "service/recording/known_secret.h"
#include "service/recording/places.h"
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
  // The same of the name of a host, which is told from other text from four characters on, and of
  // its first label.
  void LearnHost(std::string_view name);

  // Where known secrets stand in a text, in whatever form: in either case, with other separators or
  // none, as hexadecimal text, or with each two bytes exchanged.
  Places Find(std::string_view text) const;
  // The text with their stand-ins.
  std::string Hidden(std::string_view text) const { return Exchanged(text, hidden_); }
  // Of bytes, in which numbers may stand as such, too, in any order of their bytes.
  std::string HiddenInPage(std::string page) const;
  // And back, for what a module gives to the machine.
  std::string Revealed(std::string_view text) const { return Exchanged(text, revealed_); }

 private:
  // By the first two characters of the core.
  using Table = std::unordered_map<std::uint16_t, std::vector<KnownSecret>>;

  static void Insert(Table& table, KnownSecret known);
  static const KnownSecret* FirstAt(std::string_view text, std::size_t at, const Table& table,
                                    std::vector<std::size_t>& characters);
  std::string Exchanged(std::string_view text, const Table& table) const;
  const KnownSecret* FindWhole(const std::string& core) const;
  void Learn(const std::string& secret, const std::string& standIn);

  const Key key_;
  mutable std::mutex mutex_;  // guards all below
  Table hidden_;
  Table revealed_;
  std::vector<std::pair<std::string, std::string>>
      bytes_;  // numbers as bytes, and what stands there
};

}  // namespace orvan::recording
