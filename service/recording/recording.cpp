#include "service/recording/recording.h"

#include <utility>

#include "service/recording/answers.h"
#include "service/recording/fields.h"

namespace orvan::recording {
namespace {

constexpr std::size_t kMostModules = 64;
constexpr std::size_t kLongestModule = 128;
constexpr std::string_view kMark = " = ";
constexpr std::uint64_t kLongestTime = std::uint64_t{1} << 52;  // in microseconds; 142 years

// Takes a field off the front.
std::string_view TakeField(std::string_view& line) {
  const std::size_t end = line.find(' ');
  if (end == std::string_view::npos) throw RecordingFault("a field is missing");
  const std::string_view field = line.substr(0, end);
  line.remove_prefix(end + 1);
  return field;
}

// Takes a line off the front; false when it has no end.
bool TakeLine(std::string_view& text, std::string_view& line) {
  const std::size_t end = text.find('\n');
  if (end == std::string_view::npos) return false;
  line = text.substr(0, end);
  text.remove_prefix(end + 1);
  return true;
}

void CheckFields(std::string_view access) {
  FieldReader fields(access);
  for (std::size_t count = 0; !fields.IsAtEnd(); ++count) {
    if (count == kMostAccessFields) throw RecordingFault("an access has too many fields");
    fields.Text();
  }
}

}  // namespace

Recording Recording::Parse(std::string text) {
  return Recording(std::move(text));
}

Recording::Recording(std::string text) : text_(std::move(text)) {
  if (text_.size() > kMostBytes) throw RecordingFault("it is longer than 128 MiB");
  if (!text_.starts_with(kFirstLine)) {
    throw RecordingFault("line 1: the first line is not \"tarvex-recording 1\"");
  }
  std::string_view rest(text_);
  rest.remove_prefix(kFirstLine.size());
  std::string_view line;
  for (std::size_t number = 2; TakeLine(rest, line); ++number) {
    try {
      if (!line.empty() && line.front() != '#') AddLine(line);
    } catch (const RecordingFault& fault) {
      throw RecordingFault("line " + std::to_string(number) + ": " + fault.what());
    }
  }
}

void Recording::AddLine(std::string_view line) {
  if (++count_ > kMostLines) throw RecordingFault("there are too many lines");
  if (line.size() > kLongestLine) throw RecordingFault("the line is too long");
  Line parsed;
  parsed.time = FieldReader(TakeField(line)).Number(kLongestTime);
  const std::string module = FieldReader(TakeField(line)).Text(kLongestModule);
  const std::size_t mark = line.find(kMark);
  if (mark == std::string_view::npos) throw RecordingFault("there is no answer");
  parsed.access = line.substr(0, mark);
  parsed.answer = line.substr(mark + kMark.size());
  CheckFields(parsed.access);
  CheckAnswer(parsed.access, parsed.answer);
  if (!modules_.contains(module) && modules_.size() == kMostModules) {
    throw RecordingFault("there are too many modules");
  }
  modules_[module].push_back(parsed);
}

const Recording::Lines& Recording::LinesOf(const std::string& module) const {
  static const Lines none;
  const auto found = modules_.find(module);
  return found == modules_.end() ? none : found->second;
}

}  // namespace orvan::recording
