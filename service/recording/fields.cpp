#include "service/recording/fields.h"

#include <algorithm>
#include <charconv>

namespace orvan::recording {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

bool IsPlain(char c) {
  return c > ' ' && c <= '~' && c != '\\';
}

void AppendEscaped(std::string& line, char c) {
  const auto byte = static_cast<unsigned char>(c);
  line += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
}

int DigitOf(char c) {
  const char* const found = std::find(kDigits, kDigits + 16, c);
  if (found == kDigits + 16) throw RecordingFault("an escape is not of the form \\xNN");
  return static_cast<int>(found - kDigits);
}

}  // namespace

FieldWriter& FieldWriter::Text(std::string_view text) {
  if (!line_.empty()) line_ += ' ';
  const bool isMark = text == "-" || text == "=";
  if (text.empty()) line_ += '-';
  for (const char c : text) {
    if (isMark || !IsPlain(c)) {
      AppendEscaped(line_, c);
    } else {
      line_ += c;
    }
  }
  return *this;
}

FieldWriter& FieldWriter::Number(std::uint64_t number) {
  if (!line_.empty()) line_ += ' ';
  line_ += std::to_string(number);
  return *this;
}

FieldWriter& FieldWriter::Error(int error) {
  return Number(error > 0 ? static_cast<std::uint64_t>(error) : 0);
}

std::string_view FieldReader::Next() {
  if (rest_.empty()) throw RecordingFault("a field is missing");
  const std::size_t end = std::min(rest_.find(' '), rest_.size());
  const std::string_view field = rest_.substr(0, end);
  if (field.empty()) throw RecordingFault("a field is empty");
  if (end + 1 == rest_.size()) throw RecordingFault("a blank stands at the end");
  rest_.remove_prefix(std::min(end + 1, rest_.size()));
  return field;
}

std::string FieldReader::Text(std::size_t limit) {
  const std::string_view field = Next();
  if (field == "-") return {};
  std::string text;
  for (std::size_t i = 0; i < field.size(); ++i) {
    if (text.size() == limit) throw RecordingFault("a text is too long");
    if (field[i] != '\\') {
      if (!IsPlain(field[i])) throw RecordingFault("a byte is neither printable nor escaped");
      text += field[i];
      continue;
    }
    if (i + 3 >= field.size() || field[i + 1] != 'x') {
      throw RecordingFault("an escape is not of the form \\xNN");
    }
    text += static_cast<char>(DigitOf(field[i + 2]) * 16 + DigitOf(field[i + 3]));
    i += 3;
  }
  return text;
}

std::uint64_t FieldReader::Number(std::uint64_t greatest) {
  const std::string_view field = Next();
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), number);
  if (error != std::errc() || end != field.data() + field.size() || number > greatest) {
    throw RecordingFault("\"" + std::string(field.substr(0, 40)) + "\" is no number from 0 to " +
                         std::to_string(greatest));
  }
  return number;
}

void FieldReader::End() const {
  if (!rest_.empty()) throw RecordingFault("there is a field too many");
}

}  // namespace orvan::recording
