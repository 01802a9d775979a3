#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>

// The fields of which a recording's lines are made: printable ASCII without blanks, joined by one
// blank each. Any thread.
namespace orvan::recording {

// What is wrong with a text that should be a recording, in plain words.
class RecordingFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Puts fields together.
class FieldWriter {
 public:
  FieldWriter() = default;
  explicit FieldWriter(std::string_view kind) { Text(kind); }

  // Bytes that are no printable ASCII, blanks and backslashes become "\xNN". An empty text is "-",
  // and the texts "-" and "=" are escaped, so that neither is taken for a mark.
  FieldWriter& Text(std::string_view text);
  FieldWriter& Number(std::uint64_t number);
  FieldWriter& Flag(bool isSet) { return Number(isSet ? 1 : 0); }
  FieldWriter& Error(int error);  // a negative one counts as 0
  const std::string& Line() const { return line_; }

 private:
  std::string line_;
};

// Takes them apart again. Each operation throws RecordingFault when the next field is none of its
// kind, or there is none.
class FieldReader {
 public:
  explicit FieldReader(std::string_view line) : rest_(line) {}

  std::string Text(std::size_t limit = std::numeric_limits<std::size_t>::max());
  std::uint64_t Number(std::uint64_t greatest = std::numeric_limits<std::uint64_t>::max());
  template <typename Small>
  Small NumberAs(std::uint64_t greatest = std::numeric_limits<Small>::max()) {
    return static_cast<Small>(Number(greatest));
  }
  bool Flag() { return Number(1) == 1; }
  // An errno or 0. Source: Linux, include/linux/err.h: no errno is greater than MAX_ERRNO (4095).
  int Error() { return static_cast<int>(Number(4095)); }
  bool IsAtEnd() const { return rest_.empty(); }
  // Throws when anything is left.
  void End() const;

 private:
  std::string_view Next();
  std::string_view rest_;
};

}  // namespace orvan::recording
