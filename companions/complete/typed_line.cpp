#include "companions/complete/typed_line.h"

namespace tarvex::complete {
namespace {

constexpr std::string_view kBlanks = " \t\n";
// What a bare word has only behind a backslash.
constexpr std::string_view kEscaped = "()";

// Takes the quotes off, byte by byte.
class QuoteReader {
 public:
  // Whether the byte stands for itself.
  bool IsText(char byte) {
    if (escaped_) {
      escaped_ = false;
      return true;
    }
    if (byte == '\\' && quote_ != '\'') {
      escaped_ = true;
      return false;
    }
    if (byte != '"' && byte != '\'') return true;
    if (quote_ == '\0') {
      quote_ = byte;
    } else if (quote_ == byte) {
      quote_ = '\0';
    } else {
      return true;
    }
    return false;
  }
  // The next byte is outside of all quotes.
  bool IsBare() const { return quote_ == '\0' && !escaped_; }
  char quote() const { return quote_; }
  bool escaped() const { return escaped_; }

 private:
  char quote_ = '\0';
  bool escaped_ = false;
};

}  // namespace

TypedLine SplitLine(std::string_view line) {
  TypedLine typed;
  QuoteReader reader;
  std::string word;
  for (const char byte : line) {
    if (reader.IsBare() && kBlanks.find(byte) != std::string_view::npos) {
      if (!typed.raw.empty()) typed.words.push_back(std::move(word));
      word.clear();
      typed.raw.clear();
      continue;
    }
    typed.raw += byte;
    if (reader.IsText(byte)) word += byte;
  }
  typed.words.push_back(std::move(word));
  typed.quote = reader.quote();
  typed.escaped = reader.escaped();
  return typed;
}

std::string Unquoted(std::string_view raw) {
  QuoteReader reader;
  std::string text;
  for (const char byte : raw) {
    if (reader.IsText(byte)) text += byte;
  }
  return text;
}

std::optional<std::string> ReplyFor(const TypedLine& line, std::string_view replaced,
                                    std::string_view candidate) {
  std::string_view kept = line.raw;
  if (line.escaped || !kept.ends_with(replaced)) return std::nullopt;
  kept.remove_suffix(replaced.size());
  const std::string before = Unquoted(kept);
  if (!candidate.starts_with(before)) return std::nullopt;
  std::string reply;
  for (const char byte : candidate.substr(before.size())) {
    if (line.quote == '\0' && kEscaped.find(byte) != std::string_view::npos) reply += '\\';
    reply += byte;
  }
  return reply;
}

}  // namespace tarvex::complete
